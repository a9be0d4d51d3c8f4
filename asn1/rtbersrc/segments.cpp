// Walks a string that may stand in segments.
#include "asn1/rtbersrc/segments.h"

#include <cstring>

#include "asn1/rtbersrc/contents.h"
#include "asn1/rtbersrc/tags.h"

namespace asn1rt {
template <class Visit>
int ASN1StringReader::VisitPiece(int length, const Visit& visit) {
    const std::uint8_t* bytes = nullptr;
    if (const int status = TakeContents(context_, length, bytes); status < 0) return status;
    if (!bits_) {
        visit(bytes, static_cast<std::size_t>(length));
        return ASN_OK;
    }
    // X.690 8.6.2: 0 to 7, 0 for no bits; 8.6.4: 0 in all segments but the last.
    if (unused_ != 0 || length == 0) return Fail(context_, ASN_E_INVLEN);
    unused_ = bytes[0];
    if (unused_ > 7 || (length == 1 && unused_ != 0)) return Fail(context_, ASN_E_INVLEN);
    visit(bytes + 1, static_cast<std::size_t>(length) - 1);
    return ASN_OK;
}

template <class Visit>
int ASN1StringReader::Walk(int length, unsigned level, const Visit& visit) {
    if (level > kMaxLevel) return Fail(context_, ASN_E_TOODEEP);
    ASN1Contents contents(context_, length);
    while (!contents.AtEnd()) {
        int inner = 0;
        int status = xd_match1(context_, bits_ ? kBitString : kOctetString, inner);
        if (status < 0) return status;
        const bool nested = (context_.flags & kLastTagConstructed) != 0;
        status = nested ? Walk(inner, level + 1, visit) : VisitPiece(inner, visit);
        if (status < 0) return status;
    }
    return contents.Finish();
}

void ASN1StringReader::Count(const std::uint8_t* bytes, std::size_t size) {
    // Empty segments are no pieces, but an empty string has a place too.
    if (size != 0 && ++pieces_ == 1) first_ = bytes;
    if (first_ == nullptr) first_ = bytes;
    size_ += size;
}

int ASN1StringReader::Open(int length) {
    const auto count = [this](const std::uint8_t* bytes, std::size_t size) { Count(bytes, size); };
    start_ = context_.byteIndex;
    length_ = length;
    constructed_ = (context_.flags & kLastTagConstructed) != 0;
    if (!constructed_) return VisitPiece(length, count);
    if (length < 0 && length != ASN_K_INDEFLEN) return Fail(context_, ASN_E_INVLEN);
    return Walk(length, 1, count);
}

void ASN1StringReader::CopyTo(std::uint8_t* target) {
    if (const std::uint8_t* piece = Piece()) {
        if (size_ != 0) std::memcpy(target, piece, size_);
        return;
    }
    if (size_ == 0) return;
    const std::uint32_t end = context_.byteIndex;
    const unsigned unused = unused_;
    context_.byteIndex = start_;
    unused_ = 0;
    // Cannot fail: Open has walked the same bytes.
    (void)Walk(length_, 1, [&](const std::uint8_t* bytes, std::size_t size) {
        if (size != 0) std::memcpy(target, bytes, size);
        target += size;
    });
    context_.byteIndex = end;
    unused_ = unused;
}

}  // namespace asn1rt
