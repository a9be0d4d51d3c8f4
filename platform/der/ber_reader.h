// A push reader over BER (X.690): octets come in pieces of any size, events go out. It
// keeps a stack of open elements and one header, never any contents.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "platform/base/bytes.h"

namespace platform {

struct BerHeader {
    // Identifier of up to 6 octets, length of up to 9.
    std::array<std::uint8_t, 16> raw{};
    std::uint8_t size = 0;
    std::uint8_t identifierSize = 0;
    bool indefinite = false;
    std::uint64_t length = 0;  // 0 where it is indefinite

    // Class, constructed bit and low tag number.
    [[nodiscard]] std::uint8_t First() const { return raw[0]; }
    [[nodiscard]] bool Constructed() const { return (raw[0] & 0x20) != 0; }
    [[nodiscard]] bool HighTagNumber() const { return (raw[0] & 0x1F) == 0x1F; }
    [[nodiscard]] bool EndOfContents() const { return raw[0] == 0; }
    [[nodiscard]] ByteView Octets() const { return {raw.data(), size}; }
    [[nodiscard]] ByteView Identifier() const { return {raw.data(), identifierSize}; }
};

// The one place where identifier and length octets are understood. Throws
// CRYPT_E_ASN1_CORRUPT for octets that no header has, CRYPT_E_ASN1_LARGE for a tag
// number past 35 bits or a length field past 8 octets.
class BerHeaderParser {
  public:
    // The header once `octet` completes it; the parser is then ready for the next one.
    std::optional<BerHeader> Take(std::uint8_t octet);

  private:
    enum class Stage { Identifier, TagNumber, Length, LongLength };
    bool Advance(std::uint8_t octet);
    bool TakeLength(std::uint8_t octet);

    BerHeader header_;
    Stage stage_ = Stage::Identifier;
    unsigned lengthOctets_ = 0;
};

class BerVisitor {
  public:
    virtual ~BerVisitor() = default;
    // Asked in front of OnHeader. The elements in one that is not entered are its contents,
    // whatever they are; only a definite length tells their end.
    [[nodiscard]] virtual bool Enters(const BerHeader& /*header*/) const { return true; }
    virtual void OnHeader(const BerHeader& header) = 0;
    // A piece of the contents of an element that is primitive or not entered: a view into the fed
    // octets.
    virtual void OnContents(ByteView piece) = 0;
    // The innermost open element ended; `endOctets` are its end-of-contents octets,
    // empty for a definite length.
    virtual void OnEnd(ByteView endOctets) = 0;
};

// Reads exactly one element with everything inside it. Throws CRYPT_E_ASN1_CORRUPT where
// lengths contradict each other or octets follow the element, CRYPT_E_ASN1_CONSTRAINT
// past the depth limit, CRYPT_E_ASN1_LARGE for a length past 64 bits of input. What the
// visitor throws passes through; the reader is of no use after either.
class BerReader {
  public:
    static constexpr std::size_t kDefaultDepth = 64;
    explicit BerReader(std::size_t maxDepth = kDefaultDepth) : maxDepth_(maxDepth) {}

    void Feed(ByteView input, BerVisitor& visitor);
    [[nodiscard]] bool Done() const { return done_; }

  private:
    struct Open {
        std::uint64_t limit;  // where it ends; for an indefinite one, where it must have ended
        bool indefinite;
        bool entered;
    };

    [[nodiscard]] std::uint64_t Limit() const;
    [[nodiscard]] bool InContents() const { return !open_.empty() && !open_.back().entered; }
    std::size_t TakeHeader(ByteView input, BerVisitor& visitor);
    std::size_t TakeContents(ByteView input, BerVisitor& visitor);
    void OpenElement(const BerHeader& header, BerVisitor& visitor);
    void CloseIndefinite(const BerHeader& header, BerVisitor& visitor);
    void CloseFinished(BerVisitor& visitor);

    std::size_t maxDepth_;
    BerHeaderParser parser_;
    std::vector<Open> open_;
    std::uint64_t position_ = 0;
    bool done_ = false;
};

// The header of the element at the start of `rest`. Throws CRYPT_E_ASN1_EOD when there is
// none, CRYPT_E_ASN1_CORRUPT when the element is not whole or not of definite length.
BerHeader HeaderOfElement(ByteView rest);
// Cuts that element off. Throws the same.
ByteView TakeElement(ByteView& rest);

}  // namespace platform
