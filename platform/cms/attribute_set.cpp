// The watch for attributes in the place of content.
#include "platform/cms/attribute_set.h"

#include <algorithm>

#include "platform/base/error.h"
#include "platform/base/ground.h"
#include "platform/der/der.h"

namespace platform {
namespace {

// SET, Attribute, and the two fields of an Attribute (RFC 5652 5.3).
constexpr std::size_t kSetLevel = 1;
constexpr std::size_t kAttributeLevel = 2;
constexpr std::size_t kFieldLevel = 3;
constexpr std::size_t kFields = 2;
// No longer than needed to tell the one identifier that is looked for.
constexpr std::size_t kTypeOctets = 16;

}  // namespace

// Nearly all content is told by its first octet, without the price of an exception.
void AttributeSetWatch::Feed(ByteView piece) {
    if (!begun_ && !piece.empty()) {
        begun_ = true;
        foreign_ = piece.front() != der::kSet;
    }
    if (foreign_) return;
    try {
        reader_.Feed(piece, *this);
    } catch (const Error&) {
        foreign_ = true;
    }
}

void AttributeSetWatch::RequireOrdinary() const {
    if (Found())
        throw Error(CRYPT_E_AUTH_ATTR_MISSING, "the content is itself a set of signed attributes");
}

bool AttributeSetWatch::Fits(const BerHeader& header) const {
    switch (level_) {
        case kSetLevel:
            // The octets that are digested have a definite length (RFC 5652 5.4).
            return header.First() == der::kSet && !header.indefinite;
        case kAttributeLevel:
            return header.First() == der::kSequence;
        case kFieldLevel:
            return field_ < kFields && header.First() == (field_ == 0 ? der::kOid : der::kSet);
        default:
            return true;
    }
}

// Other readers take an attribute's values as they are, though no reader of ours would.
bool AttributeSetWatch::Enters(const BerHeader& /*header*/) const {
    return level_ < kAttributeLevel;
}

void AttributeSetWatch::OnHeader(const BerHeader& header) {
    ++level_;
    if (!Fits(header)) throw Error(CRYPT_E_ASN1_BADTAG);
    if (level_ == kAttributeLevel) field_ = 0;
    if (level_ == kFieldLevel) type_.clear();
}

void AttributeSetWatch::OnContents(ByteView piece) {
    if (level_ != kFieldLevel || type_.size() > kTypeOctets) return;
    der::Append(type_, piece.first(std::min(piece.size(), kTypeOctets)));
}

void AttributeSetWatch::OnEnd(ByteView /*endOctets*/) {
    if (level_ == kFieldLevel && field_++ == 0) {
        const bool digest =
            Equal(der::Element(der::kOid, type_), der::Oid(szOID_RSA_messageDigest));
        digestSeen_ = digestSeen_ || digest;
    }
    if (level_ == kAttributeLevel && field_ != kFields) throw Error(CRYPT_E_ASN1_EOD);
    --level_;
}

}  // namespace platform
