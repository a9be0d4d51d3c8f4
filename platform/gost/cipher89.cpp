// The block cipher of GOST 28147-89.
#include "platform/gost/cipher89.h"

#include "platform/base/error.h"
#include "platform/gost/lanes.h"
#include "platform/gost/words.h"

namespace platform::gost {
namespace {

using KeyWords = std::array<std::uint32_t, 8>;

// `count` blocks side by side: a processor does several while one waits for its tables.
template <unsigned count>
struct Halves {
    std::uint32_t n1[count];
    std::uint32_t n2[count];

    void Pair(const Substitution& f, std::uint32_t first, std::uint32_t second) {
        for (unsigned i = 0; i < count; ++i) n2[i] ^= f(n1[i] + first);
        for (unsigned i = 0; i < count; ++i) n1[i] ^= f(n2[i] + second);
    }
    void Up(const Substitution& f, const KeyWords& key) {
        for (unsigned k = 0; k < 8; k += 2) Pair(f, key[k], key[k + 1]);
    }
    void Down(const Substitution& f, const KeyWords& key) {
        for (unsigned k = 8; k > 0; k -= 2) Pair(f, key[k - 1], key[k - 2]);
    }
};

Halves<1> Split(std::uint64_t block) {
    return {{static_cast<std::uint32_t>(block)}, {static_cast<std::uint32_t>(block >> 32)}};
}

std::uint64_t Join(std::uint32_t low, std::uint32_t high) {
    return low | std::uint64_t{high} << 32;
}

constexpr unsigned kTogether = 4;

void EncryptTogether(const Substitution& f, const KeyWords& key, const std::uint8_t* in,
                     std::uint8_t* out) {
    Halves<kTogether> halves;
    for (unsigned i = 0; i < kTogether; ++i) {
        halves.n1[i] = Load32(in + 8 * i);
        halves.n2[i] = Load32(in + 8 * i + 4);
    }
    for (unsigned pass = 0; pass < 3; ++pass) halves.Up(f, key);
    halves.Down(f, key);
    for (unsigned i = 0; i < kTogether; ++i) {
        Store32(out + 8 * i, halves.n2[i]);
        Store32(out + 8 * i + 4, halves.n1[i]);
    }
}

}  // namespace

Key89::Key89(const Substitution& substitution, ByteView key) : substitution_(&substitution) {
    if (key.size() != kSize) throw Error(NTE_BAD_LEN);
    for (std::size_t i = 0; i < words_.size(); ++i) words_[i] = Load32(&key[4 * i]);
}

std::uint64_t Key89::Encrypt(std::uint64_t block) const {
    Halves<1> halves = Split(block);
    for (unsigned pass = 0; pass < 3; ++pass) halves.Up(*substitution_, words_);
    halves.Down(*substitution_, words_);
    return Join(halves.n2[0], halves.n1[0]);
}

std::uint64_t Key89::Decrypt(std::uint64_t block) const {
    Halves<1> halves = Split(block);
    halves.Up(*substitution_, words_);
    for (unsigned pass = 0; pass < 3; ++pass) halves.Down(*substitution_, words_);
    return Join(halves.n2[0], halves.n1[0]);
}

std::uint64_t Key89::MacRounds(std::uint64_t block) const {
    Halves<1> halves = Split(block);
    halves.Up(*substitution_, words_);
    halves.Up(*substitution_, words_);
    return Join(halves.n1[0], halves.n2[0]);
}

void Key89::EncryptBlocks(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks) const {
    std::size_t done = 0;
    if (HasLanes()) {
        for (; blocks - done >= kLaneBlocks; done += kLaneBlocks) {
            EncryptLanes(*substitution_, words_, in + kBlock * done, out + kBlock * done);
        }
    }
    for (; blocks - done >= kTogether; done += kTogether) {
        EncryptTogether(*substitution_, words_, in + kBlock * done, out + kBlock * done);
    }
    for (; done < blocks; ++done) Store64(out + kBlock * done, Encrypt(Load64(in + kBlock * done)));
}

void Key89::Mesh() {
    static constexpr std::uint8_t kNext[kSize] = {0x69, 0x00, 0x72, 0x22, 0x64, 0xC9, 0x04, 0x23,
                                                  0x8D, 0x3A, 0xDB, 0x96, 0x46, 0xE9, 0x2A, 0xC4,
                                                  0x18, 0xFE, 0xAC, 0x94, 0x00, 0xED, 0x07, 0x12,
                                                  0xC0, 0x86, 0xDC, 0xC2, 0xEF, 0x4C, 0xA9, 0x2B};
    KeyWords next;
    for (std::size_t i = 0; i < 4; ++i) {
        const std::uint64_t part = Decrypt(Load64(kNext + 8 * i));
        next[2 * i] = static_cast<std::uint32_t>(part);
        next[2 * i + 1] = static_cast<std::uint32_t>(part >> 32);
    }
    words_ = next;
    Wipe(next.data(), sizeof next);
}

}  // namespace platform::gost
