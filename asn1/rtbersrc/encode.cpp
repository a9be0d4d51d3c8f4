// Encodes headers, numbers and object identifiers.
#include "asn1/rtbersrc/encode.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "asn1/rtsrc/big_integer.h"

namespace asn1rt {
namespace {

// A few bytes filled from their end, as the message is.
template <std::size_t kSize>
class Backwards {
  public:
    void Put(std::uint64_t byte) { *--at_ = static_cast<std::uint8_t>(byte); }
    // Base 128, the last group first.
    void PutGroups(std::uint64_t value) {
        Put(value & 0x7F);
        while ((value >>= 7) != 0) Put((value & 0x7F) | 0x80);
    }
    [[nodiscard]] std::uint32_t Size() const {
        return static_cast<std::uint32_t>(bytes_ + kSize - at_);
    }
    int Write(ASN1Context& context) const { return xe_memcpy(context, at_, Size()); }

  private:
    std::uint8_t bytes_[kSize];
    std::uint8_t* at_ = bytes_ + kSize;
};

// The fewest bytes with the value's sign in the top bit (X.690 8.3.2).
int EncodeNumber(ASN1Context& context, std::int64_t value, ASN1TAG tag, int tagging) {
    Backwards<sizeof(value) + 1> bytes;
    std::int64_t rest = value;
    std::int64_t last = 0;
    do {
        last = rest & 0xFF;
        bytes.Put(static_cast<std::uint64_t>(last));
        rest >>= 8;
    } while (rest != 0 && rest != -1);
    if ((rest == 0) != (last < 0x80)) bytes.Put(static_cast<std::uint64_t>(rest & 0xFF));
    return Finish(context, tag, bytes.Write(context), tagging);
}

int EncodeBigInteger(ASN1Context& context, const char* text, std::size_t length) {
    if (length > INT32_MAX) return Fail(context, ASN_E_TOOBIG);
    auto* octets = static_cast<std::uint8_t*>(Allocate(context, BigIntegerOctets(length)));
    if (octets == nullptr) return Fail(context, ASN_E_NOMEM);
    int count = BigIntegerFromText(text, length, octets);
    count = count < 0 ? Fail(context, count)
                      : xe_memcpy(context, octets, static_cast<std::uint32_t>(count));
    GiveBack(context, octets);
    return count;
}

}  // namespace

// ---- the buffer --------------------------------------------------------------

int GrowBuffer(ASN1Context& context, std::uint32_t length) {
    if (!context.dynamic) return Fail(context, ASN_E_BUFOVFLW);
    const std::uint64_t growth = std::max(length, kBufferStep);
    const std::uint64_t size = context.size + growth;
    if (size > INT32_MAX) return Fail(context, ASN_E_NOMEM);
    auto* buffer = static_cast<std::uint8_t*>(std::malloc(size));
    if (buffer == nullptr) return Fail(context, ASN_E_NOMEM);
    std::memcpy(buffer + growth + context.byteIndex, context.buffer + context.byteIndex,
                context.size - context.byteIndex);
    std::free(context.buffer);
    context.buffer = buffer;
    context.size = static_cast<std::uint32_t>(size);
    context.byteIndex += static_cast<std::uint32_t>(growth);
    return ASN_OK;
}

// ---- headers -----------------------------------------------------------------

int xe_tag(ASN1Context& context, ASN1TAG tag) {
    Backwards<6> bytes;
    const ASN1TAG number = tag & kNumberMask;
    const ASN1TAG identifier = tag >> 24 & 0xE0;
    if (number < 0x1F) {
        bytes.Put(identifier | number);
    } else {
        bytes.PutGroups(number);
        bytes.Put(identifier | 0x1F);
    }
    return bytes.Write(context);
}

int xe_len(ASN1Context& context, int length) {
    Backwards<5> bytes;
    if (length == ASN_K_INDEFLEN) {
        bytes.Put(0x80);
    } else if (length < 0) {
        return Fail(context, ASN_E_INVLEN);
    } else if (length < 0x80) {
        bytes.Put(static_cast<unsigned>(length));
    } else {
        for (auto rest = static_cast<unsigned>(length); rest != 0; rest >>= 8) bytes.Put(rest);
        bytes.Put(0x80 | bytes.Size());
    }
    return bytes.Write(context);
}

int EncodeTagLen(ASN1Context& context, ASN1TAG tag, int length) {
    if (length < 0 && length != ASN_K_INDEFLEN) return length;
    const int lengthBytes = xe_len(context, length);
    if (lengthBytes < 0) return lengthBytes;
    const int tagBytes = xe_tag(context, tag);
    if (tagBytes < 0) return tagBytes;
    const int header = lengthBytes + tagBytes;
    if (length == ASN_K_INDEFLEN) return header;
    return length > INT32_MAX - header ? Fail(context, ASN_E_INVLEN) : length + header;
}

// ---- numbers -----------------------------------------------------------------

int xe_integer(ASN1Context& context, ASN1INT value, int tagging) {
    return EncodeNumber(context, value, kInteger, tagging);
}

int xe_unsigned(ASN1Context& context, ASN1UINT value, int tagging) {
    return EncodeNumber(context, value, kInteger, tagging);
}

int xe_enum(ASN1Context& context, ASN1ENUM value, int tagging) {
    return EncodeNumber(context, value, kEnumerated, tagging);
}

int xe_bigint(ASN1Context& context, const ASN1BigInt& value, int tagging) {
    if (value.text == nullptr) return Fail(context, ASN_E_BADVALUE);
    const int length = EncodeBigInteger(context, value.text, std::strlen(value.text));
    return Finish(context, kInteger, length, tagging);
}

int xe_boolean(ASN1Context& context, ASN1BOOL value, int tagging) {
    const std::uint8_t byte = value != 0 ? 0xFF : 0;
    return Finish(context, kBoolean, xe_memcpy(context, &byte, 1), tagging);
}

int xe_null(ASN1Context& context, int tagging) { return Finish(context, kNull, 0, tagging); }

int xe_objid(ASN1Context& context, const ASN1OBJID& value, int tagging) {
    const std::uint32_t* arcs = value.subid;
    if (value.numids < 2 || value.numids > ASN_K_MAXSUBIDS || arcs[0] > 2 ||
        (arcs[1] > 39 && arcs[0] != 2)) {
        return Fail(context, ASN_E_INVOBJID);
    }
    Backwards<ASN_K_MAXSUBIDS * 5> bytes;
    for (std::uint32_t i = value.numids; i > 2; --i) bytes.PutGroups(arcs[i - 1]);
    bytes.PutGroups(std::uint64_t{arcs[0]} * 40 + arcs[1]);
    return Finish(context, kObjectIdentifier, bytes.Write(context), tagging);
}

}  // namespace asn1rt
