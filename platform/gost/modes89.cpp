// Cipher feedback, authentication code and key wraps of GOST 28147-89 (RFC 4357).
#include <algorithm>

#include "platform/base/error.h"
#include "platform/gost/cipher89.h"
#include "platform/gost/stack.h"
#include "platform/gost/words.h"

namespace platform::gost {
namespace {

constexpr std::size_t kBlock = Key89::kBlock;
constexpr std::size_t kSection = 1024;

void XorBlock(const std::uint8_t* in, const std::uint8_t* stream, std::uint8_t* out) {
    Store64(out, Load64(in) ^ Load64(stream));
}

}  // namespace

// ---- cipher feedback ------------------------------------------------------------

Feedback89::Feedback89(Key89 key, ByteView iv, bool meshes, bool encrypts)
    : key_(key), meshes_(meshes), encrypts_(encrypts) {
    if (iv.size() != kBlock) throw Error(NTE_BAD_LEN);
    register_ = Load64(iv.data());
}

Feedback89::~Feedback89() {
    Wipe(&register_, sizeof register_);
    Wipe(stream_.data(), stream_.size());
}

void Feedback89::MeshWhenDue() {
    if (sectionUsed_ < kSection) return;
    sectionUsed_ = 0;
    if (!meshes_) return;
    key_.Mesh();
    register_ = key_.Encrypt(register_);
}

void Feedback89::TurnOctets(const std::uint8_t* in, std::uint8_t* out, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i, ++used_) {
        const std::uint8_t octet = in[i];
        out[i] = octet ^ stream_[used_];
        text_[used_] = encrypts_ ? out[i] : octet;
    }
    if (used_ == kBlock) register_ = Load64(text_.data());
}

void Feedback89::EncryptWhole(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks) {
    for (std::size_t i = 0; i < blocks; ++i) {
        register_ = key_.Encrypt(register_) ^ Load64(in + kBlock * i);
        Store64(out + kBlock * i, register_);
    }
}

// The stream of each block depends on received text alone, so that all of them are known.
void Feedback89::DecryptWhole(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks) {
    std::uint8_t stream[kSection];
    Store64(stream, register_);
    std::copy_n(in, kBlock * (blocks - 1), stream + kBlock);
    register_ = Load64(in + kBlock * (blocks - 1));
    key_.EncryptBlocks(stream, stream, blocks);
    for (std::size_t i = 0; i < kBlock * blocks; i += kBlock) XorBlock(in + i, stream + i, out + i);
    Wipe(stream, kBlock * blocks);
}

void Feedback89::Turn(const std::uint8_t* in, std::uint8_t* out, std::size_t size) {
    while (size > 0) {
        std::size_t part = std::min(size, kBlock - used_);
        if (part > 0) {
            TurnOctets(in, out, part);
        } else {
            MeshWhenDue();
            part = std::min(size, kSection - sectionUsed_) / kBlock * kBlock;
            if (part > 0) {
                sectionUsed_ += part;
                encrypts_ ? EncryptWhole(in, out, part / kBlock)
                          : DecryptWhole(in, out, part / kBlock);
            } else {
                sectionUsed_ += kBlock;
                Store64(stream_.data(), key_.Encrypt(register_));
                used_ = 0;
            }
        }
        in += part;
        out += part;
        size -= part;
    }
}

// ---- authentication code and key wraps ------------------------------------------

std::array<std::uint8_t, 4> Mac89(const Key89& key, std::uint64_t iv, ByteView data) {
    std::uint64_t state = iv;
    for (; !data.empty(); data = data.subspan(std::min(kBlock, data.size()))) {
        std::uint8_t block[kBlock]{};
        std::copy_n(data.begin(), std::min(kBlock, data.size()), block);
        state = key.MacRounds(state ^ Load64(block));
    }
    std::array<std::uint8_t, 4> mac;
    Store32(mac.data(), static_cast<std::uint32_t>(state));
    return mac;
}

Secret Diversify89(const Substitution& substitution, ByteView kek, ByteView ukm) {
    if (kek.size() != Key89::kSize || ukm.size() != kBlock) throw Error(NTE_BAD_LEN);
    Bytes key = Copy(kek);
    for (const std::uint8_t choice : ukm) {
        std::uint32_t sums[2]{};
        for (unsigned i = 0; i < 8; ++i) sums[choice >> i & 1 ? 0 : 1] += Load32(&key[4 * i]);
        std::uint8_t iv[kBlock];
        Store32(iv, sums[0]);
        Store32(iv + 4, sums[1]);
        Feedback89 cipher(Key89(substitution, key), ByteView(iv, kBlock), false, true);
        cipher.Turn(key.data(), key.data(), key.size());
    }
    Secret diversified{ByteView(key)};
    Wipe(key);
    return diversified;
}

namespace {

Key89 WrappingKey(Wrap89 form, const Substitution& substitution, ByteView kek, ByteView ukm) {
    if (form == Wrap89::Plain) return {substitution, kek};
    return {substitution, Diversify89(substitution, kek, ukm).View()};
}

}  // namespace

WrappedKey WrapKey89(Wrap89 form, const Substitution& substitution, ByteView kek, ByteView ukm,
                     ByteView key) {
    if (ukm.size() != kBlock || key.size() != Key89::kSize) throw Error(NTE_BAD_LEN);
    return OnWipedStack([&] {
        const Key89 wrapping = WrappingKey(form, substitution, kek, ukm);
        WrappedKey wrapped{Bytes(Key89::kSize), Mac89(wrapping, Load64(ukm.data()), key)};
        wrapping.EncryptBlocks(key.data(), wrapped.encrypted.data(), Key89::kSize / kBlock);
        return wrapped;
    });
}

std::optional<Secret> UnwrapKey89(Wrap89 form, const Substitution& substitution, ByteView kek,
                                  ByteView ukm, ByteView encrypted, ByteView mac) {
    if (ukm.size() != kBlock || encrypted.size() != Key89::kSize || mac.size() != 4) {
        throw Error(NTE_BAD_LEN);
    }
    return OnWipedStack([&] {
        const Key89 wrapping = WrappingKey(form, substitution, kek, ukm);
        Bytes key(Key89::kSize);
        for (std::size_t i = 0; i < key.size(); i += kBlock) {
            Store64(&key[i], wrapping.Decrypt(Load64(&encrypted[i])));
        }
        std::optional<Secret> secret(ByteView{key});
        Wipe(key);
        if (!SameCode(Mac89(wrapping, Load64(ukm.data()), secret->View()), mac)) secret.reset();
        return secret;
    });
}

}  // namespace platform::gost
