// Encodes octet, bit and character strings.
#include <cstring>

#include "asn1/rtbersrc/encode.h"

namespace asn1rt {
namespace {

constexpr std::uint32_t kLongest = INT32_MAX / 2;  // room for headers in a sum of lengths

// Nothing is written of nothing, wherever it points.
int WriteBytes(ASN1Context& context, const void* bytes, std::size_t length) {
    if (length == 0) return 0;
    if (length > kLongest) return Fail(context, ASN_E_TOOBIG);
    return xe_memcpy(context, bytes, static_cast<std::uint32_t>(length));
}

// Bits of the last byte that are not used are zero in DER (X.690 11.2.1).
int WriteBits(ASN1Context& context, const std::uint8_t* data, std::uint32_t bits) {
    const unsigned inLast = bits % 8;
    if (inLast == 0) return WriteBytes(context, data, bits / 8);
    if (data == nullptr) return Fail(context, ASN_E_BADVALUE);
    const auto last = static_cast<std::uint8_t>(data[bits / 8] & 0xFF00U >> inLast);
    if (const int status = xe_memcpy(context, &last, 1); status < 0) return status;
    const int length = WriteBytes(context, data, bits / 8);
    return length < 0 ? length : length + 1;
}

template <class Value>
int EncodeWide(ASN1Context& context, const Value& value, int tagging, std::uint8_t tag) {
    constexpr unsigned kSize = sizeof(*value.data);
    if (value.nchars > kLongest / kSize) return Fail(context, ASN_E_TOOBIG);
    if (value.nchars != 0 && value.data == nullptr) return Fail(context, ASN_E_BADVALUE);
    for (std::uint32_t i = value.nchars; i > 0; --i) {
        std::uint32_t character = value.data[i - 1];
        std::uint8_t bytes[kSize];
        for (unsigned j = kSize; j > 0; --j, character >>= 8) {
            bytes[j - 1] = static_cast<std::uint8_t>(character);
        }
        if (const int status = xe_memcpy(context, bytes, kSize); status < 0) return status;
    }
    return Finish(context, tag, static_cast<int>(value.nchars * kSize), tagging);
}

}  // namespace

int xe_octstr(ASN1Context& context, const ASN1DynOctStr& value, int tagging) {
    return Finish(context, kOctetString, WriteBytes(context, value.data, value.numocts), tagging);
}

int xe_bitstr(ASN1Context& context, const ASN1DynBitStr& value, int tagging) {
    const int length = WriteBits(context, value.data, value.numbits);
    if (length < 0) return length;
    const auto unused = static_cast<std::uint8_t>(-value.numbits % 8);
    const int status = xe_memcpy(context, &unused, 1);
    return Finish(context, kBitString, status < 0 ? status : length + status, tagging);
}

int xe_charstr(ASN1Context& context, const ASN1CharStr& value, int tagging, std::uint8_t tag) {
    if (value.text == nullptr) return Fail(context, ASN_E_BADVALUE);
    const int length = WriteBytes(context, value.text, std::strlen(value.text));
    return Finish(context, tag, length, tagging);
}

int xe_16BitCharStr(ASN1Context& context, const ASN116BitCharStr& value, int tagging,
                    std::uint8_t tag) {
    return EncodeWide(context, value, tagging, tag);
}

int xe_32BitCharStr(ASN1Context& context, const ASN132BitCharStr& value, int tagging,
                    std::uint8_t tag) {
    return EncodeWide(context, value, tagging, tag);
}

int xe_open_type(ASN1Context& context, const ASN1OpenType& value) {
    // The shortest element is a header of two bytes.
    if (value.data == nullptr || value.numocts < 2) return Fail(context, ASN_E_BADVALUE);
    return WriteBytes(context, value.data, value.numocts);
}

}  // namespace asn1rt
