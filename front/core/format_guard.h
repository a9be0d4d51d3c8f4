// The test before a text that others may have written is used as a format.
#pragma once

#include <string_view>

namespace kestrel {

// True if the C formatter can work through `text` without harm. `arguments` has one
// letter for each argument on hand: s a text, d a 32-bit number. A conversion must find
// its argument, %s must find a text; %n, %*, floating point, wide texts and huge widths
// never pass. A number conversion may meet a text: it prints a part of the address.
bool FitsFormatter(const char* text, std::string_view arguments);

}  // namespace kestrel
