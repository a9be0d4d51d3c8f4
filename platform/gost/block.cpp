// Magma, Kuznyechik and what runs over either.
#include "platform/gost/block.h"

#include <algorithm>
#include <array>

#include "platform/base/error.h"
#include "platform/gost/nonlinear.h"
#include "platform/gost/stack.h"
#include "platform/gost/words.h"

namespace platform::gost {
namespace {

void CheckKey(ByteView key) {
    if (key.size() != BlockCipher::kKeySize) throw Error(NTE_BAD_LEN);
}

// ---- Magma ----------------------------------------------------------------------

// GOST 28147-89 with its fixed substitution and words and blocks turned round.
class Magma : public BlockCipher {
  public:
    explicit Magma(ByteView key) : BlockCipher(8), key_(Turned(key)) {}

    [[nodiscard]] std::unique_ptr<BlockCipher> WithKey(ByteView key) const override {
        return std::make_unique<Magma>(key);
    }
    void Encrypt(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks) const override {
        if (in != out) std::copy_n(in, 8 * blocks, out);
        for (std::size_t i = 0; i < 8 * blocks; i += 8) std::reverse(out + i, out + i + 8);
        key_.EncryptBlocks(out, out, blocks);
        for (std::size_t i = 0; i < 8 * blocks; i += 8) std::reverse(out + i, out + i + 8);
    }

  private:
    static Key89 Turned(ByteView key) {
        CheckKey(key);
        Bytes words = Copy(key);
        for (auto at = words.begin(); at != words.end(); at += 4) std::reverse(at, at + 4);
        Key89 turned(*FindSubstitution(kCipherSetZ), words);
        Wipe(words);
        return turned;
    }
    Key89 key_;
};

// ---- Kuznyechik -----------------------------------------------------------------

struct Half {
    std::uint64_t low = 0;   // octets 0 to 7 as they stand in memory
    std::uint64_t high = 0;  // octets 8 to 15
};

Half operator^(const Half& a, const Half& b) { return {a.low ^ b.low, a.high ^ b.high}; }
Half LoadHalf(const std::uint8_t* from) { return {Load64(from), Load64(from + 8)}; }
void StoreHalf(std::uint8_t* to, const Half& value) {
    Store64(to, value.low);
    Store64(to + 8, value.high);
}

// Multiplication modulo x^8 + x^7 + x^6 + x + 1 (RFC 7801, 2.2).
std::uint8_t Times(unsigned a, unsigned b) {
    unsigned product = 0;
    for (; b != 0; b >>= 1) {
        if ((b & 1) != 0) product ^= a;
        a = a << 1 ^ ((a & 0x80) != 0 ? 0x1C3 : 0);
    }
    return static_cast<std::uint8_t>(product);
}

// The transformation L (RFC 7801, 4.2).
void Linear(std::uint8_t* block) {
    static constexpr std::uint8_t kFactors[16] = {148, 32,  133, 16, 194, 192, 1,   251,
                                                  1,   192, 194, 16, 133, 32,  148, 1};
    for (int step = 0; step < 16; ++step) {
        std::uint8_t sum = 0;
        for (int i = 0; i < 16; ++i) sum ^= Times(block[i], kFactors[i]);
        std::copy_backward(block, block + 15, block + 16);
        block[0] = sum;
    }
}

// What each octet of a block becomes by the substitution and L.
using RoundTables = std::array<std::array<Half, 256>, 16>;

RoundTables MakeRoundTables() {
    RoundTables tables;
    for (unsigned place = 0; place < 16; ++place) {
        Half bits[8];
        for (unsigned bit = 0; bit < 8; ++bit) {
            std::uint8_t block[16]{};
            block[place] = static_cast<std::uint8_t>(1U << bit);
            Linear(block);
            bits[bit] = LoadHalf(block);
        }
        for (unsigned octet = 0; octet < 256; ++octet) {
            for (unsigned bit = 0; bit < 8; ++bit) {
                if ((kNonlinear[octet] >> bit & 1) != 0) {
                    tables[place][octet] = tables[place][octet] ^ bits[bit];
                }
            }
        }
    }
    return tables;
}

const RoundTables& TheRoundTables() {
    static const auto tables = std::make_unique<RoundTables>(MakeRoundTables());
    return *tables;
}

Half Round(const RoundTables& t, const Half& in) {
    Half out;
    for (unsigned i = 0; i < 8; ++i) {
        out = out ^ t[i][in.low >> (8 * i) & 0xFF] ^ t[i + 8][in.high >> (8 * i) & 0xFF];
    }
    return out;
}

class Kuznyechik : public BlockCipher {
  public:
    explicit Kuznyechik(ByteView key) : BlockCipher(16) {
        CheckKey(key);
        OnWipedStack([&] { Schedule(key); });
    }
    ~Kuznyechik() override { Wipe(keys_.data(), sizeof keys_); }

    [[nodiscard]] std::unique_ptr<BlockCipher> WithKey(ByteView key) const override {
        return std::make_unique<Kuznyechik>(key);
    }
    void Encrypt(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks) const override {
        const RoundTables& tables = TheRoundTables();
        for (std::size_t i = 0; i < 16 * blocks; i += 16) {
            Half state = LoadHalf(in + i) ^ keys_[0];
            for (unsigned round = 1; round < 10; ++round)
                state = Round(tables, state) ^ keys_[round];
            StoreHalf(out + i, state);
        }
    }

  private:
    void Schedule(ByteView key) {
        const RoundTables& tables = TheRoundTables();
        Half one = LoadHalf(key.data());
        Half two = LoadHalf(key.data() + 16);
        keys_[0] = one;
        keys_[1] = two;
        for (std::uint8_t i = 1; i <= 32; ++i) {
            std::uint8_t constant[16]{};
            constant[15] = i;
            Linear(constant);
            const Half next = Round(tables, one ^ LoadHalf(constant)) ^ two;
            two = one;
            one = next;
            if (i % 8 != 0) continue;
            keys_[i / 4] = one;
            keys_[i / 4 + 1] = two;
        }
    }

    std::array<Half, 10> keys_;
};

// The next key of ACPKM: the octets 0x80 to 0x9F encrypted.
std::unique_ptr<BlockCipher> NextKey(const BlockCipher& cipher) {
    std::uint8_t key[BlockCipher::kKeySize];
    for (std::size_t i = 0; i < sizeof key; ++i) key[i] = static_cast<std::uint8_t>(0x80 + i);
    cipher.Encrypt(key, key, sizeof key / cipher.Size());
    auto next = cipher.WithKey(key);
    Wipe(key, sizeof key);
    return next;
}

// The subkeys of OMAC: a block times x. No step is chosen by a bit of it.
void TimesX(Bytes& block) {
    const unsigned fold = (0U - (block[0] >> 7)) & (block.size() == 16 ? 0x87U : 0x1BU);
    for (std::size_t i = 0; i < block.size(); ++i) {
        const unsigned next = i + 1 < block.size() ? block[i + 1] >> 7 : 0;
        block[i] = static_cast<std::uint8_t>(unsigned{block[i]} << 1 | next);
    }
    block.back() = static_cast<std::uint8_t>(block.back() ^ fold);
}

Bytes CodeOf(const BlockCipher& cipher, ByteView macKey, ByteView iv, ByteView key) {
    Omac mac(cipher.WithKey(macKey));
    mac.Update(iv);
    mac.Update(key);
    return mac.Value();
}

constexpr std::size_t kStreamSize = 1024;

}  // namespace

std::unique_ptr<BlockCipher> NewMagma(ByteView key) { return std::make_unique<Magma>(key); }
std::unique_ptr<BlockCipher> NewKuznyechik(ByteView key) {
    return std::make_unique<Kuznyechik>(key);
}

CounterAcpkm::CounterAcpkm(std::unique_ptr<BlockCipher> cipher, ByteView iv, std::size_t section)
    : cipher_(std::move(cipher)), section_(section), counter_(Copy(iv)), stream_(kStreamSize) {
    const std::size_t block = cipher_->Size();
    if (iv.size() != block / 2 || section % block != 0) throw Error(NTE_BAD_LEN);
    counter_.resize(block);
}

std::size_t CounterAcpkm::NextRun() {
    if (section_ != 0 && sectionUsed_ == section_) {
        cipher_ = NextKey(*cipher_);
        sectionUsed_ = 0;
    }
    const std::size_t filled =
        section_ == 0 ? stream_.size() : std::min(stream_.size(), section_ - sectionUsed_);
    for (std::size_t i = 0; i < filled; i += counter_.size()) {
        std::copy(counter_.begin(), counter_.end(),
                  stream_.begin() + static_cast<std::ptrdiff_t>(i));
        for (auto octet = counter_.rbegin(); octet != counter_.rend() && ++*octet == 0;) ++octet;
    }
    cipher_->Encrypt(stream_.data(), stream_.data(), filled / counter_.size());
    sectionUsed_ += filled;
    return filled;
}

void CounterAcpkm::Turn(const std::uint8_t* in, std::uint8_t* out, std::size_t size) {
    while (size > 0) {
        if (used_ == filled_) {
            filled_ = NextRun();
            used_ = 0;
        }
        const std::size_t part = std::min(size, filled_ - used_);
        for (std::size_t i = 0; i < part; ++i) out[i] = in[i] ^ stream_[used_ + i];
        used_ += part;
        in += part;
        out += part;
        size -= part;
    }
}

Omac::Omac(std::unique_ptr<BlockCipher> cipher)
    : cipher_(std::move(cipher)), state_(cipher_->Size()) {
    last_.reserve(state_.size());  // what grows leaves its octets behind
}

Omac::~Omac() {
    Wipe(state_);
    Wipe(last_);
}

void Omac::Update(ByteView data) {
    const std::size_t block = cipher_->Size();
    // The last block waits: it is treated in a way of its own.
    for (const std::uint8_t octet : data) {
        if (last_.size() == block) {
            for (std::size_t i = 0; i < block; ++i) state_[i] ^= last_[i];
            cipher_->Encrypt(state_.data(), state_.data(), 1);
            last_.clear();
        }
        last_.push_back(octet);
    }
}

Bytes Omac::Value() const {
    const std::size_t block = cipher_->Size();
    Bytes subkey(block);
    cipher_->Encrypt(subkey.data(), subkey.data(), 1);
    TimesX(subkey);
    Bytes value(block);
    std::copy(last_.begin(), last_.end(), value.begin());
    if (last_.size() < block) {
        TimesX(subkey);
        value[last_.size()] = 0x80;
    }
    for (std::size_t i = 0; i < block; ++i) {
        value[i] = static_cast<std::uint8_t>(value[i] ^ state_[i] ^ subkey[i]);
    }
    cipher_->Encrypt(value.data(), value.data(), 1);
    Wipe(subkey);
    return value;
}

Bytes WrapKey15(const BlockCipher& cipher, ByteView macKey, ByteView cipherKey, ByteView iv,
                ByteView key) {
    return OnWipedStack([&] {
        Bytes wrapped(key.size() + cipher.Size());
        const auto end = std::copy(key.begin(), key.end(), wrapped.begin());
        std::ranges::copy(CodeOf(cipher, macKey, iv, key), end);
        CounterAcpkm(cipher.WithKey(cipherKey), iv, 0)
            .Turn(wrapped.data(), wrapped.data(), wrapped.size());
        return wrapped;
    });
}

std::optional<Secret> UnwrapKey15(const BlockCipher& cipher, ByteView macKey, ByteView cipherKey,
                                  ByteView iv, ByteView wrapped) {
    if (wrapped.size() < cipher.Size()) throw Error(NTE_BAD_LEN);
    return OnWipedStack([&] {
        Bytes opened = Copy(wrapped);
        CounterAcpkm(cipher.WithKey(cipherKey), iv, 0)
            .Turn(opened.data(), opened.data(), opened.size());
        const ByteView key = ByteView(opened).first(opened.size() - cipher.Size());
        const Bytes code = CodeOf(cipher, macKey, iv, key);
        std::optional<Secret> secret;
        if (SameCode(code, ByteView(opened).last(cipher.Size()))) secret.emplace(key);
        Wipe(opened);
        return secret;
    });
}

}  // namespace platform::gost
