// Decodes BOOLEAN, INTEGER, ENUMERATED, NULL and object identifiers.
#include <limits>

#include "asn1/rtbersrc/contents.h"
#include "asn1/rtbersrc/tags.h"
#include "asn1/rtsrc/big_integer.h"

namespace asn1rt {
namespace {

// A number of up to `most` bytes, sign-extended from the first.
int ReadNumber(ASN1Context& context, std::int64_t& value, int tagging, std::uint8_t tag, int length,
               int most) {
    if (const int status = OpenElement(context, tagging, tag, length); status < 0) return status;
    if (length == 0) return Fail(context, ASN_E_INVLEN);
    if (length > most) return Fail(context, ASN_E_TOOBIG);
    const std::uint8_t* bytes = nullptr;
    if (const int status = TakeContents(context, length, bytes); status < 0) return status;
    value = static_cast<std::int8_t>(bytes[0]);
    for (int i = 1; i < length; ++i) value = value * 256 + bytes[i];
    return ASN_OK;
}

// One byte more than the target has may be the zero in front of a top bit.
template <class T>
int ReadUnsigned(ASN1Context& context, T& value, int tagging, int length) {
    std::int64_t number = 0;
    const int status =
        ReadNumber(context, number, tagging, kInteger, length, static_cast<int>(sizeof(T)) + 1);
    if (status < 0) return status;
    if (number < 0 || number > std::numeric_limits<T>::max()) return Fail(context, ASN_E_TOOBIG);
    value = static_cast<T>(number);
    return ASN_OK;
}

int ReadSigned(ASN1Context& context, std::int32_t& value, int tagging, std::uint8_t tag,
               int length) {
    std::int64_t number = 0;
    const int status = ReadNumber(context, number, tagging, tag, length, sizeof(value));
    if (status == ASN_OK) value = static_cast<std::int32_t>(number);
    return status;
}

// One group of base 128, whose last byte is known to be there. X.690 8.19.2 wants the fewest
// bytes.
int ReadArc(const std::uint8_t*& at, std::uint64_t& value) {
    if (*at == 0x80) return ASN_E_INVOBJID;
    value = 0;
    do {
        if (value > std::numeric_limits<std::uint32_t>::max()) return ASN_E_TOOBIG;
        value = value << 7 | (*at & 0x7FU);
    } while (*at++ >= 0x80);
    return ASN_OK;
}

int ReadArcs(const std::uint8_t* at, const std::uint8_t* end, ASN1OBJID& value) {
    std::uint64_t arc = 0;
    if (const int status = ReadArc(at, arc); status < 0) return status;
    const std::uint32_t first = arc < 80 ? static_cast<std::uint32_t>(arc) / 40 : 2;
    value.subid[0] = first;
    arc -= first * 40;
    std::uint32_t count = 1;
    for (;;) {
        if (arc > std::numeric_limits<std::uint32_t>::max()) return ASN_E_TOOBIG;
        value.subid[count++] = static_cast<std::uint32_t>(arc);
        if (at == end) break;
        if (count == ASN_K_MAXSUBIDS) return ASN_E_INVOBJID;
        if (const int status = ReadArc(at, arc); status < 0) return status;
    }
    value.numids = count;
    return ASN_OK;
}

}  // namespace

int xd_integer(ASN1Context& context, ASN1INT& value, int tagging, int length) {
    return ReadSigned(context, value, tagging, kInteger, length);
}

int xd_enum(ASN1Context& context, ASN1ENUM& value, int tagging, int length) {
    return ReadSigned(context, value, tagging, kEnumerated, length);
}

int xd_unsigned(ASN1Context& context, ASN1UINT& value, int tagging, int length) {
    return ReadUnsigned(context, value, tagging, length);
}

int xd_uint16(ASN1Context& context, std::uint16_t& value, int tagging, int length) {
    return ReadUnsigned(context, value, tagging, length);
}

int xd_bigint(ASN1Context& context, ASN1BigInt& value, int tagging, int length) {
    if (const int status = OpenElement(context, tagging, kInteger, length); status < 0) {
        return status;
    }
    const std::uint8_t* bytes = nullptr;
    if (const int status = TakeContents(context, length, bytes); status < 0) return status;
    const auto size = static_cast<std::size_t>(length);
    auto* text = static_cast<char*>(Allocate(context, BigIntegerTextSize(size)));
    if (text == nullptr) return Fail(context, ASN_E_NOMEM);
    BigIntegerToText(bytes, size, text);
    value.text = text;
    return ASN_OK;
}

int xd_boolean(ASN1Context& context, ASN1BOOL& value, int tagging, int length) {
    if (const int status = OpenElement(context, tagging, kBoolean, length); status < 0) {
        return status;
    }
    if (length != 1) return Fail(context, ASN_E_INVLEN);
    const std::uint8_t* bytes = nullptr;
    if (const int status = TakeContents(context, length, bytes); status < 0) return status;
    value = bytes[0];
    return ASN_OK;
}

int xd_objid(ASN1Context& context, ASN1OBJID& value, int tagging, int length) {
    if (const int status = OpenElement(context, tagging, kObjectIdentifier, length); status < 0) {
        return status;
    }
    if (length <= 0) return Fail(context, ASN_E_INVLEN);
    const std::uint8_t* bytes = nullptr;
    if (const int status = TakeContents(context, length, bytes); status < 0) return status;
    const std::uint8_t* end = bytes + length;
    // Every group ends within the contents when the last one does.
    if (end[-1] >= 0x80) return Fail(context, ASN_E_INVLEN);
    value.numids = 0;
    if (const int status = ReadArcs(bytes, end, value); status < 0) return Fail(context, status);
    return ASN_OK;
}

}  // namespace asn1rt
