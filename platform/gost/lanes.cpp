// The vector form of GOST 28147-89 for x86-64 with AVX2.
#include "platform/gost/lanes.h"

#if defined(__x86_64__)

#include <immintrin.h>

#define KESTREL_LANES __attribute__((target("avx2"), always_inline)) inline
#define KESTREL_LANES_CALL __attribute__((target("avx2")))

namespace platform::gost {
namespace {

// An index with its highest bit set looks up 0, so each row sees the octets of its own place
// and the sum of all eight is the whole word.
struct Rows {
    __m256i row[8];
    __m256i others[4];
    __m256i nibbles;

    KESTREL_LANES explicit Rows(const Substitution& substitution) {
        for (unsigned i = 0; i < 8; ++i) {
            const auto* from = reinterpret_cast<const __m128i*>(substitution.rows[i].data());
            row[i] = _mm256_broadcastsi128_si256(_mm_load_si128(from));
        }
        for (unsigned i = 0; i < 4; ++i) others[i] = All(0x80808080U ^ 0x80U << (8 * i));
        nibbles = All(0x0F0F0F0FU);
    }

    KESTREL_LANES static __m256i All(std::uint32_t word) {
        return _mm256_set1_epi32(static_cast<int>(word));
    }

    KESTREL_LANES __m256i operator()(__m256i sum) const {
        const __m256i low = _mm256_and_si256(sum, nibbles);
        const __m256i high = _mm256_and_si256(_mm256_srli_epi32(sum, 4), nibbles);
        __m256i word = _mm256_setzero_si256();
        for (unsigned i = 0; i < 4; ++i) {
            const __m256i a = _mm256_shuffle_epi8(row[2 * i], _mm256_or_si256(low, others[i]));
            const __m256i b = _mm256_shuffle_epi8(row[2 * i + 1], _mm256_or_si256(high, others[i]));
            word = _mm256_xor_si256(word, _mm256_xor_si256(a, b));
        }
        return _mm256_or_si256(_mm256_slli_epi32(word, 11), _mm256_srli_epi32(word, 21));
    }
};

}  // namespace

bool HasLanes() {
    static const bool has = __builtin_cpu_supports("avx2") != 0;
    return has;
}

KESTREL_LANES_CALL void EncryptLanes(const Substitution& substitution,
                                     const std::array<std::uint32_t, 8>& key,
                                     const std::uint8_t* in, std::uint8_t* out) {
    const Rows f(substitution);
    __m256i n1[2];
    __m256i n2[2];
    for (unsigned i = 0; i < 2; ++i) {
        const auto* from = reinterpret_cast<const __m256i*>(in + 64 * i);
        const __m256 low = _mm256_castsi256_ps(_mm256_loadu_si256(from));
        const __m256 high = _mm256_castsi256_ps(_mm256_loadu_si256(from + 1));
        n1[i] = _mm256_castps_si256(_mm256_shuffle_ps(low, high, 0x88));
        n2[i] = _mm256_castps_si256(_mm256_shuffle_ps(low, high, 0xDD));
    }
    for (unsigned round = 0; round < 32; round += 2) {
        const bool forward = round < 24;
        const __m256i even = Rows::All(key[forward ? round % 8 : 31 - round]);
        const __m256i odd = Rows::All(key[forward ? round % 8 + 1 : 30 - round]);
        for (unsigned i = 0; i < 2; ++i)
            n2[i] = _mm256_xor_si256(n2[i], f(_mm256_add_epi32(n1[i], even)));
        for (unsigned i = 0; i < 2; ++i)
            n1[i] = _mm256_xor_si256(n1[i], f(_mm256_add_epi32(n2[i], odd)));
    }
    for (unsigned i = 0; i < 2; ++i) {
        auto* to = reinterpret_cast<__m256i*>(out + 64 * i);
        _mm256_storeu_si256(to, _mm256_unpacklo_epi32(n2[i], n1[i]));
        _mm256_storeu_si256(to + 1, _mm256_unpackhi_epi32(n2[i], n1[i]));
    }
}

}  // namespace platform::gost

#else

namespace platform::gost {

bool HasLanes() { return false; }

void EncryptLanes(const Substitution&, const std::array<std::uint32_t, 8>&, const std::uint8_t*,
                  std::uint8_t*) {}

}  // namespace platform::gost

#endif
