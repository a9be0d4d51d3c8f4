// Overwriting what must not stay in memory.
#pragma once

#include <cstddef>
#include <cstring>

namespace kestrel {

// Through a volatile pointer, so that the compiler keeps the writes.
inline void Wipe(char* text, std::size_t size) {
    for (volatile char* byte = text; size != 0; --size) *byte++ = '\0';
}

inline void WipeText(char* text) { Wipe(text, std::strlen(text)); }

}  // namespace kestrel
