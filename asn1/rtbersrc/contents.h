// Contents of primitive elements, for the decoders of values.
#pragma once

#include "asn1/rtbersrc/decode.h"

namespace asn1rt {

// Matches the header when there is one.
inline int OpenElement(ASN1Context& context, int tagging, std::uint8_t tag, int& length) {
    return tagging == kExplicit ? xd_match1(context, tag, length) : ASN_OK;
}

// Steps over `length` bytes of contents and tells where they are. ASN_E_INVLEN for an
// indefinite length, ASN_E_ENDOFBUF where the bytes are missing.
inline int TakeContents(ASN1Context& context, int length, const std::uint8_t*& bytes) {
    if (length < 0) return Fail(context, ASN_E_INVLEN);
    if (context.byteIndex > context.size ||
        static_cast<std::uint32_t>(length) > context.size - context.byteIndex) {
        return Fail(context, ASN_E_ENDOFBUF);
    }
    bytes = context.buffer + context.byteIndex;
    context.byteIndex += static_cast<std::uint32_t>(length);
    return ASN_OK;
}

}  // namespace asn1rt
