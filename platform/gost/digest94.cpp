// GOST R 34.11-94: four encryptions run side by side, and the mixing goes four 16-bit
// words at a time.
#include "platform/gost/digest94.h"

#include <algorithm>

#include "platform/gost/lanes.h"
#include "platform/gost/words.h"

namespace platform::gost {
namespace {

using FourWords = std::array<std::uint64_t, 4>;
using KeyWords = std::array<std::uint32_t, 8>;

FourWords LoadWords(const std::uint8_t* from) {
    return {Load64(from), Load64(from + 8), Load64(from + 16), Load64(from + 24)};
}

FourWords Xor(const FourWords& a, const FourWords& b) {
    return {a[0] ^ b[0], a[1] ^ b[1], a[2] ^ b[2], a[3] ^ b[3]};
}

// The transformation A of RFC 5831, 5.1.
void Shift(FourWords& y) { y = {y[1], y[2], y[3], y[0] ^ y[1]}; }

// The transformation P: octet k of each 64-bit word goes to word k of the key. Pairs of
// octets are spread over even and odd ones first, eight at a time.
KeyWords Transpose(const FourWords& w) {
    constexpr std::uint64_t kEven = 0x00FF00FF00FF00FF;
    const std::uint64_t low0 = (w[0] & kEven) | (w[1] & kEven) << 8;
    const std::uint64_t low1 = (w[0] >> 8 & kEven) | (w[1] & ~kEven);
    const std::uint64_t high0 = (w[2] & kEven) | (w[3] & kEven) << 8;
    const std::uint64_t high1 = (w[2] >> 8 & kEven) | (w[3] & ~kEven);
    KeyWords key;
    for (unsigned i = 0; i < 4; ++i) {
        key[2 * i] = static_cast<std::uint32_t>((low0 >> (16 * i) & 0xFFFF) |
                                                (high0 >> (16 * i) & 0xFFFF) << 16);
        key[2 * i + 1] = static_cast<std::uint32_t>((low1 >> (16 * i) & 0xFFFF) |
                                                    (high1 >> (16 * i) & 0xFFFF) << 16);
    }
    return key;
}

// What the four keys of a step are made of (RFC 5831, 5.1).
std::array<FourWords, 4> SeedsOf(const FourWords& state, const FourWords& block) {
    constexpr FourWords kThird = {0xFF00FF00FF00FF00, 0x00FF00FF00FF00FF, 0xFF0000FF00FFFF00,
                                  0xFF00FFFF000000FF};
    FourWords u = state;
    FourWords v = block;
    std::array<FourWords, 4> seeds;
    seeds[0] = Xor(u, v);
    for (unsigned i = 1; i < 4; ++i) {
        Shift(u);
        if (i == 2) u = Xor(u, kThird);
        Shift(v);
        Shift(v);
        seeds[i] = Xor(u, v);
    }
    return seeds;
}

// Four GOST 28147-89 encryptions, each step of all four before the next one: their table
// reads wait for nothing but their own.
FourWords EncryptFour(const Substitution& f, const std::array<FourWords, 4>& seeds,
                      const FourWords& state) {
    const KeyWords keys[4] = {Transpose(seeds[0]), Transpose(seeds[1]), Transpose(seeds[2]),
                              Transpose(seeds[3])};
    std::uint32_t n1[4];
    std::uint32_t n2[4];
    for (unsigned i = 0; i < 4; ++i) {
        n1[i] = static_cast<std::uint32_t>(state[i]);
        n2[i] = static_cast<std::uint32_t>(state[i] >> 32);
    }
    const auto pair = [&](unsigned first, unsigned second) {
        for (unsigned i = 0; i < 4; ++i) n2[i] ^= f(n1[i] + keys[i][first]);
        for (unsigned i = 0; i < 4; ++i) n1[i] ^= f(n2[i] + keys[i][second]);
    };
    for (unsigned pass = 0; pass < 3; ++pass) {
        for (unsigned k = 0; k < 8; k += 2) pair(k, k + 1);
    }
    for (unsigned k = 8; k > 0; k -= 2) pair(k - 1, k - 2);
    FourWords result;
    for (unsigned i = 0; i < 4; ++i) result[i] = n2[i] | std::uint64_t{n1[i]} << 32;
    return result;
}

constexpr std::uint64_t Join(std::uint64_t low, std::uint64_t high, int bits) {
    return low >> bits | high << (64 - bits);
}

// The mixing of RFC 5831, 5.3: a shift register of sixteen words of 16 bits whose next word
// is the sum of words 1, 2, 3, 4, 13 and 16.
FourWords MixOnce(const FourWords& w) {
    const std::uint64_t halves = w[0] ^ w[0] >> 32;
    const std::uint64_t next = halves ^ halves >> 16 ^ w[3] ^ w[3] >> 48;
    return {Join(w[0], w[1], 16), Join(w[1], w[2], 16), Join(w[2], w[3], 16),
            w[3] >> 16 | next << 48};
}

// Four times `rounds` mixings. The sum of all taps but the last is known for four of them
// ahead, and the last tap makes running sums of it.
FourWords MixFour(FourWords w, int rounds) {
    const auto pairs = [](std::uint64_t low, std::uint64_t high) {
        return low ^ Join(low, high, 16);
    };
    std::uint64_t p0 = pairs(w[0], w[1]);
    std::uint64_t p1 = pairs(w[1], w[2]);
    std::uint64_t p2 = pairs(w[2], w[3]);
    for (int i = 0; i < rounds; ++i) {
        std::uint64_t next = p0 ^ Join(p0, p1, 32) ^ w[3];
        next ^= next << 16;
        next ^= next << 32;
        next ^= (w[3] >> 48) * 0x0001000100010001;
        p0 = p1;
        p1 = p2;
        p2 = pairs(w[3], next);
        w = {w[1], w[2], w[3], next};
    }
    return w;
}

}  // namespace

Digest94::~Digest94() {
    Wipe(state_.data(), sizeof state_);
    Wipe(sum_.data(), sizeof sum_);
    Wipe(rest_.data(), sizeof rest_);
}

void Digest94::Step(const FourWords& block) {
    const FourWords sealed = EncryptFour(*substitution_, SeedsOf(state_, block), state_);
    const FourWords inner = MixOnce(Xor(block, MixFour(sealed, 3)));
    state_ = MixOnce(MixFour(Xor(state_, inner), 15));
}

void Digest94::Take(const std::uint8_t* block) {
    const FourWords words = LoadWords(block);
    Step(words);
    AddTo(sum_, words);
}

void Digest94::Update(ByteView data) {
    const std::size_t filled = size_ % kBlock;
    size_ += data.size();
    if (filled != 0) {
        const std::size_t part = std::min(data.size(), kBlock - filled);
        std::copy_n(data.begin(), part, rest_.begin() + static_cast<std::ptrdiff_t>(filled));
        if (filled + part < kBlock) return;
        Take(rest_.data());
        data = data.subspan(part);
    }
    for (; data.size() >= kBlock; data = data.subspan(kBlock)) Take(data.data());
    std::copy(data.begin(), data.end(), rest_.begin());
}

Bytes Digest94::Value() const {
    Digest94 last = *this;
    const std::size_t filled = size_ % kBlock;
    if (filled != 0) {
        std::fill(last.rest_.begin() + static_cast<std::ptrdiff_t>(filled), last.rest_.end(),
                  std::uint8_t{0});
        last.Take(last.rest_.data());
    }
    last.Step({size_ << 3, size_ >> 61, 0, 0});
    last.Step(last.sum_);
    Bytes value(kSize);
    for (std::size_t i = 0; i < last.state_.size(); ++i) Store64(&value[8 * i], last.state_[i]);
    return value;
}

}  // namespace platform::gost
