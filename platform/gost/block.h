// The block ciphers of GOST R 34.12-2015, Magma (RFC 8891) and Kuznyechik (RFC 7801), for the
// modes that only encrypt blocks, with the change of keys by ACPKM (RFC 8645, 6.2), the
// authentication code OMAC (GOST R 34.13) and the key wrap KExp15 (RFC 9189, 8.2.1).
#pragma once

#include <memory>
#include <optional>

#include "platform/base/bytes.h"
#include "platform/gost/cipher89.h"

namespace platform::gost {

class BlockCipher {
  public:
    static constexpr std::size_t kKeySize = 32;

    virtual ~BlockCipher() = default;
    [[nodiscard]] std::size_t Size() const { return size_; }
    // The same cipher under another key of 32 octets; throws NTE_BAD_LEN for other lengths.
    [[nodiscard]] virtual std::unique_ptr<BlockCipher> WithKey(ByteView key) const = 0;
    // Independent blocks; `in` and `out` are the same or apart.
    virtual void Encrypt(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks) const = 0;

  protected:
    explicit BlockCipher(std::size_t size) : size_(size) {}

  private:
    std::size_t size_;
};

std::unique_ptr<BlockCipher> NewMagma(ByteView key);
std::unique_ptr<BlockCipher> NewKuznyechik(ByteView key);

// CTR-ACPKM. The IV has half a block; a section of 0 keeps the key. Throws NTE_BAD_LEN.
class CounterAcpkm : public StreamCipher {
  public:
    CounterAcpkm(std::unique_ptr<BlockCipher> cipher, ByteView iv, std::size_t section);
    ~CounterAcpkm() override { Wipe(stream_); }
    void Turn(const std::uint8_t* in, std::uint8_t* out, std::size_t size) override;

  private:
    // Makes more of the stream, and tells how much: at least one octet.
    std::size_t NextRun();

    std::unique_ptr<BlockCipher> cipher_;
    std::size_t section_;
    std::size_t sectionUsed_ = 0;
    Bytes counter_;
    Bytes stream_;
    std::size_t filled_ = 0;
    std::size_t used_ = 0;
};

// OMAC of a whole block, piece by piece.
class Omac {
  public:
    explicit Omac(std::unique_ptr<BlockCipher> cipher);
    ~Omac();
    void Update(ByteView data);
    [[nodiscard]] Bytes Value() const;

  private:
    std::unique_ptr<BlockCipher> cipher_;
    Bytes state_;
    Bytes last_;
};

// The keys of one wrap: one for the authentication code, one for the cipher. The IV has half a
// block. What comes out is the key and the code together, encrypted.
Bytes WrapKey15(const BlockCipher& cipher, ByteView macKey, ByteView cipherKey, ByteView iv,
                ByteView key);
// Empty when the code does not fit.
std::optional<Secret> UnwrapKey15(const BlockCipher& cipher, ByteView macKey, ByteView cipherKey,
                                  ByteView iv, ByteView wrapped);

}  // namespace platform::gost
