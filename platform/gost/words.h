// Words from memory, in memory order, and their sums: GOST algorithms are little-endian where
// nothing else is said.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

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

__extension__ using Wide = unsigned __int128;

// a + b + carry and a - b - borrow; both leave the next carry or borrow. The compiler makes
// one instruction of a processor's own form only.
inline std::uint64_t AddWord(std::uint64_t a, std::uint64_t b, unsigned char& carry) {
#if defined(__x86_64__)
    unsigned long long sum;
    carry = _addcarry_u64(carry, a, b, &sum);
    return sum;
#else
    const Wide sum = Wide{a} + b + carry;
    carry = static_cast<unsigned char>(sum >> 64);
    return static_cast<std::uint64_t>(sum);
#endif
}

inline std::uint64_t SubWord(std::uint64_t a, std::uint64_t b, unsigned char& borrow) {
#if defined(__x86_64__)
    unsigned long long difference;
    borrow = _subborrow_u64(borrow, a, b, &difference);
    return difference;
#else
    const Wide difference = Wide{a} - b - borrow;
    borrow = static_cast<unsigned char>(difference >> 64) & 1;
    return static_cast<std::uint64_t>(difference);
#endif
}

// Numbers of n words, lowest first; what goes over the top is lost.
template <std::size_t n>
void AddTo(std::array<std::uint64_t, n>& sum, const std::array<std::uint64_t, n>& other) {
    unsigned char carry = 0;
    for (std::size_t i = 0; i < n; ++i) sum[i] = AddWord(sum[i], other[i], carry);
}

}  // namespace platform::gost
