// Words in memory order: GOST algorithms are little-endian where nothing else is said.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace platform::gost {

template <class Word>
Word LoadWord(const void* from) {
    Word word;
    std::memcpy(&word, from, sizeof word);
    if constexpr (std::endian::native == std::endian::big) {
        Word turned = 0;
        for (unsigned i = 0; i < sizeof word; ++i) {
            turned = static_cast<Word>(turned << 8 | ((word >> (8 * i)) & 0xFF));
        }
        return turned;
    }
    return word;
}

template <class Word>
void StoreWord(void* to, Word word) {
    if constexpr (std::endian::native == std::endian::big) word = LoadWord<Word>(&word);
    std::memcpy(to, &word, sizeof word);
}

inline std::uint32_t Load32(const void* from) { return LoadWord<std::uint32_t>(from); }
inline std::uint64_t Load64(const void* from) { return LoadWord<std::uint64_t>(from); }
inline void Store32(void* to, std::uint32_t word) { StoreWord(to, word); }
inline void Store64(void* to, std::uint64_t word) { StoreWord(to, word); }

}  // namespace platform::gost
