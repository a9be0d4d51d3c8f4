// GOST 28147-89 (RFC 5830) and what RFC 4357 makes of it: cipher feedback with key meshing, the
// authentication code and the key wraps.
// The block cipher reads tables at places that depend on the key, as every implementation does.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "platform/base/bytes.h"
#include "platform/gost/substitution.h"

namespace platform::gost {

// A key of 32 octets with its substitution block; wiped when it goes.
class Key89 {
  public:
    static constexpr std::size_t kSize = 32;
    static constexpr std::size_t kBlock = 8;

    // Throws NTE_BAD_LEN for a key of another length.
    Key89(const Substitution& substitution, ByteView key);
    ~Key89() { Wipe(words_.data(), sizeof words_); }
    Key89(const Key89&) = default;
    Key89& operator=(const Key89&) = default;

    // One block as a little-endian number.
    [[nodiscard]] std::uint64_t Encrypt(std::uint64_t block) const;
    [[nodiscard]] std::uint64_t Decrypt(std::uint64_t block) const;
    // The 16 rounds of the authentication code.
    [[nodiscard]] std::uint64_t MacRounds(std::uint64_t block) const;
    // Independent blocks, as many as there are; `in` and `out` are the same or apart.
    void EncryptBlocks(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks) const;
    // The next key of RFC 4357 2.3.2.
    void Mesh();

  private:
    const Substitution* substitution_;
    std::array<std::uint32_t, 8> words_;
};

// A cipher that turns as many octets as it gets, piece by piece. `in` and `out` may be the
// same memory.
class StreamCipher {
  public:
    virtual ~StreamCipher() = default;
    virtual void Turn(const std::uint8_t* in, std::uint8_t* out, std::size_t size) = 0;
};

// Cipher feedback, with a new key after each 1024 octets where it meshes.
class Feedback89 : public StreamCipher {
  public:
    // Throws NTE_BAD_LEN for an IV that is not 8 octets.
    Feedback89(Key89 key, ByteView iv, bool meshes, bool encrypts);
    ~Feedback89() override;
    void Turn(const std::uint8_t* in, std::uint8_t* out, std::size_t size) override;

  private:
    // Changes key and register when a section has ended.
    void MeshWhenDue();
    void TurnOctets(const std::uint8_t* in, std::uint8_t* out, std::size_t size);
    void EncryptWhole(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks);
    void DecryptWhole(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks);

    Key89 key_;
    std::uint64_t register_;
    bool meshes_;
    bool encrypts_;
    std::size_t sectionUsed_ = 0;
    std::array<std::uint8_t, Key89::kBlock> stream_{};
    std::array<std::uint8_t, Key89::kBlock> text_{};
    std::size_t used_ = Key89::kBlock;
};

// Four octets over `data`, zeros added to its last block, starting from `iv`.
std::array<std::uint8_t, 4> Mac89(const Key89& key, std::uint64_t iv, ByteView data);

// The key wraps of RFC 4357: 6.1 and 6.2 with the key itself, 6.3 and 6.4 with one that is
// diversified by the 8 octets of user keying material first (6.5).
struct WrappedKey {
    Bytes encrypted;                  // 32 octets
    std::array<std::uint8_t, 4> mac;  // check value
};
enum class Wrap89 { Plain, Diversified };
WrappedKey WrapKey89(Wrap89 form, const Substitution& substitution, ByteView kek, ByteView ukm,
                     ByteView key);
// Empty when the check value does not fit. Throws NTE_BAD_LEN for parts of wrong lengths.
std::optional<Secret> UnwrapKey89(Wrap89 form, const Substitution& substitution, ByteView kek,
                                  ByteView ukm, ByteView encrypted, ByteView mac);
Secret Diversify89(const Substitution& substitution, ByteView kek, ByteView ukm);

}  // namespace platform::gost
