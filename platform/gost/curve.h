// The curves of GOST R 34.10-2001 and 34.10-2012 (RFC 5832, RFC 7091): keys, signatures and
// key agreement on every parameter set of RFC 4357 (11.4), RFC 7836 (A) and RFC 9215.
// Numbers are octet strings, lowest octet first, of the curve's size; a public key is x and
// then y (RFC 4491, 2.3.2). Multiplication by a secret takes the same steps for every secret.
#pragma once

#include <string_view>

#include "platform/base/bytes.h"

namespace platform::gost {

class Curve {
  public:
    // Made on first use and kept to the process's end; null when the set is unknown.
    static const Curve* Find(std::string_view oid);

    virtual ~Curve() = default;

    [[nodiscard]] std::size_t Size() const { return size_; }  // 32 or 64
    [[nodiscard]] virtual bool IsPrivate(ByteView key) const = 0;
    // On the curve, not at infinity, and in the group of the curve's prime order: whoever reads
    // a key asks this once, and Verify leaves it out.
    [[nodiscard]] virtual bool IsPublic(ByteView key) const = 0;

    // What takes a private key throws NTE_BAD_KEY for one out of range.
    [[nodiscard]] virtual Secret NewPrivate() const = 0;
    [[nodiscard]] virtual Bytes PublicOf(ByteView privateKey) const = 0;
    // s and then r, highest octet first (RFC 4491, 2.2.2). The digest is as long as the curve.
    [[nodiscard]] virtual Bytes Sign(ByteView privateKey, ByteView digest) const = 0;
    [[nodiscard]] virtual bool Verify(ByteView publicKey, ByteView digest,
                                      ByteView signature) const = 0;
    // The point of VKO before it is hashed (RFC 7836, 4.3): cofactor, keying material of up
    // to the curve's size, and both keys. Throws NTE_BAD_DATA for a public key that is no point of
    // the curve and when the result is at infinity.
    [[nodiscard]] virtual Secret Agree(ByteView privateKey, ByteView publicKey,
                                       ByteView ukm) const = 0;
    // The key in a masked form of several parts: the product of all (RFC 9548, 4). Each part is
    // of the curve's size. Throws NTE_BAD_KEY for a product of zero, a single part out of range,
    // and more than 16 parts.
    [[nodiscard]] virtual Secret Unmask(ByteView parts) const = 0;

  protected:
    explicit Curve(std::size_t size) : size_(size) {}

  private:
    std::size_t size_;
};

}  // namespace platform::gost
