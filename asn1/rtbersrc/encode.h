// Encoding primitives (X.690, DER lengths). The buffer is filled from its end towards its
// start: contents first, then the header, so that every length is known when it is written.
//
// Each returns the count of bytes that it wrote, or a negative status; `tagging` 1 writes
// the header with the universal tag too.
#pragma once

#include <cstdint>

#include "asn1/rtbersrc/decode.h"
#include "asn1/rtbersrc/tags.h"
#include "asn1/rtsrc/context.h"

namespace asn1rt {

// The only place that writes. ASN_E_BADVALUE for a null source, ASN_E_BUFOVFLW where the
// buffer cannot grow.
inline int xe_memcpy(ASN1Context& context, const void* bytes, std::uint32_t length);
int xe_tag(ASN1Context& context, ASN1TAG tag);
int xe_len(ASN1Context& context, int length);
// Header for contents of `length` bytes that stand already (ASN_K_INDEFLEN: 0x80); the sum
// of header and length, for ASN_K_INDEFLEN that of the header alone. Another negative length
// is a status and comes back as it is.
inline int xe_tag_len(ASN1Context& context, ASN1TAG tag, int length);

int xe_integer(ASN1Context& context, ASN1INT value, int tagging);
int xe_unsigned(ASN1Context& context, ASN1UINT value, int tagging);
int xe_bigint(ASN1Context& context, const ASN1BigInt& value, int tagging);
int xe_enum(ASN1Context& context, ASN1ENUM value, int tagging);
int xe_boolean(ASN1Context& context, ASN1BOOL value, int tagging);
int xe_null(ASN1Context& context, int tagging);
int xe_objid(ASN1Context& context, const ASN1OBJID& value, int tagging);
int xe_octstr(ASN1Context& context, const ASN1DynOctStr& value, int tagging);
int xe_bitstr(ASN1Context& context, const ASN1DynBitStr& value, int tagging);
int xe_charstr(ASN1Context& context, const ASN1CharStr& value, int tagging, std::uint8_t tag);
int xe_16BitCharStr(ASN1Context& context, const ASN116BitCharStr& value, int tagging,
                    std::uint8_t tag);
int xe_32BitCharStr(ASN1Context& context, const ASN132BitCharStr& value, int tagging,
                    std::uint8_t tag);
int xe_open_type(ASN1Context& context, const ASN1OpenType& value);

// An element of a SET OF that stands in the buffer.
struct ASN1Written {
    std::uint32_t fromEnd;  // distance of its first byte from the end of the buffer
    std::uint32_t length;
};
// Sorts the `count` elements written last, which stand side by side, by their encodings
// (X.690 11.6), and `elements` with them. Nothing allocated remains. ASN_OK, ASN_E_NOMEM,
// ASN_E_BADVALUE when they are not those elements.
int xe_derCanonicalSort(ASN1Context& context, ASN1Written* elements, std::uint32_t count);

// ---- definitions -------------------------------------------------------------

// Makes room in front of what is written: the distance of every byte from the end stays.
int GrowBuffer(ASN1Context& context, std::uint32_t length);
// Headers of more than two bytes.
int EncodeTagLen(ASN1Context& context, ASN1TAG tag, int length);

inline int xe_memcpy(ASN1Context& context, const void* bytes, std::uint32_t length) {
    if (bytes == nullptr) return Fail(context, ASN_E_BADVALUE);
    if (length > context.byteIndex) {
        if (const int status = GrowBuffer(context, length); status < 0) return status;
    }
    context.byteIndex -= length;
    std::uint8_t* target = context.buffer + context.byteIndex;
    if (length == 1) {
        *target = *static_cast<const std::uint8_t*>(bytes);
    } else if (length != 0) {
        std::memcpy(target, bytes, length);
    }
    return static_cast<int>(length);
}

inline int xe_tag_len(ASN1Context& context, ASN1TAG tag, int length) {
    if ((tag & kNumberMask) < 0x1F && length >= 0 && length < 0x80) {
        const std::uint8_t header[] = {
            static_cast<std::uint8_t>((tag >> 24 & 0xE0U) | (tag & 0x1FU)),
            static_cast<std::uint8_t>(length)};
        const int status = xe_memcpy(context, header, sizeof(header));
        return status < 0 ? status : length + status;
    }
    return EncodeTagLen(context, tag, length);
}

// The universal header in front of `length` bytes of contents where `tagging` asks for it.
inline int Finish(ASN1Context& context, ASN1TAG tag, int length, int tagging) {
    return tagging == kExplicit ? xe_tag_len(context, tag, length) : length;
}

}  // namespace asn1rt
