// Writing and reading of small DER values. The streaming BER reader is ber_reader.h.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include "platform/base/bytes.h"

namespace platform::der {

// Tags, with class and constructed bits.
inline constexpr std::uint8_t kBoolean = 0x01;
inline constexpr std::uint8_t kInteger = 0x02;
inline constexpr std::uint8_t kBitString = 0x03;
inline constexpr std::uint8_t kOctetString = 0x04;
inline constexpr std::uint8_t kNull = 0x05;
inline constexpr std::uint8_t kOid = 0x06;
inline constexpr std::uint8_t kUtcTime = 0x17;
inline constexpr std::uint8_t kGeneralizedTime = 0x18;
inline constexpr std::uint8_t kSequence = 0x30;
inline constexpr std::uint8_t kSet = 0x31;
inline constexpr std::uint8_t kConstructed = 0x20;  // the bit of a first octet (X.690 8.1.2.5)
constexpr std::uint8_t Context(unsigned number) { return static_cast<std::uint8_t>(0x80 | number); }
constexpr std::uint8_t ContextConstructed(unsigned number) {
    return static_cast<std::uint8_t>(0xA0 | number);
}

// Tag, definite length and contents.
Bytes Element(std::uint8_t tag, ByteView contents);
Bytes Element(std::uint8_t tag, std::initializer_list<ByteView> parts);
void AppendHeader(Bytes& out, std::uint8_t tag, std::size_t length);
// Octets of tag and length before `length` octets of contents.
std::size_t HeaderSize(std::size_t length);
void Append(Bytes& out, ByteView part);

Bytes Integer(long value);
// OBJECT IDENTIFIER from dotted text. Throws CRYPT_E_OID_FORMAT.
Bytes Oid(std::string_view dotted);
// Dotted text from contents octets. Throws CRYPT_E_ASN1_CORRUPT.
std::string DottedOid(ByteView contents);

// One element at the start of a span.
struct Item {
    std::uint8_t tag = 0;
    ByteView whole;
    ByteView contents;
};

// A cursor over consecutive DER elements. Low tag numbers only; lengths minimal or not,
// always definite and inside the span. Throws CRYPT_E_ASN1_EOD at a missing element,
// CRYPT_E_ASN1_BADTAG at an unexpected tag, CRYPT_E_ASN1_LARGE for a length field past 8
// octets, CRYPT_E_ASN1_CORRUPT otherwise.
class Cursor {
  public:
    explicit Cursor(ByteView span) : rest_(span) {}
    [[nodiscard]] bool AtEnd() const { return rest_.empty(); }
    // The next tag without taking it; 0 at the end.
    [[nodiscard]] std::uint8_t Peek() const { return rest_.empty() ? std::uint8_t{0} : rest_[0]; }
    Item Next();
    Item Expect(std::uint8_t tag);
    bool NextIs(std::uint8_t tag) const { return Peek() == tag && !rest_.empty(); }
    long SmallInteger();
    std::string OidText();
    void ExpectEnd() const;

  private:
    ByteView rest_;
};

// The elements inside the one element with `tag` that fills `element`. Throws as Cursor does.
Cursor Inside(ByteView element, std::uint8_t tag);

}  // namespace platform::der
