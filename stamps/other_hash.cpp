// OtherHash from records and back.
#include "stamps/other_hash.h"

#include "stamps/generated.h"

namespace Ferroline::ASN1 {

const ChoiceValueTraits* COtherHashImpl::GetTraits(std::uint32_t selector) const {
    switch (selector) {
        case kSha1Hash:
            return &ChoiceValueTraitsT<CBlob, kSha1Hash>::kInstance;
        case kOtherHash:
            return &ChoiceValueTraitsT<COtherHashAlgAndValue, kOtherHash>::kInstance;
        default:
            return &EmptyChoiceTraits::kInstance;
    }
}

const CBlob* COtherHash::GetSha1Hash() const {
    return impl_->Get<CBlob>(COtherHashImpl::kSha1Hash);
}

const COtherHashAlgAndValue* COtherHash::GetOtherHash() const {
    return impl_->Get<COtherHashAlgAndValue>(COtherHashImpl::kOtherHash);
}

void COtherHash::SetSha1Hash(const CBlob& hash) { impl_->Set(COtherHashImpl::kSha1Hash, &hash); }

void COtherHash::SetOtherHash(const COtherHashAlgAndValue& hash) {
    impl_->Set(COtherHashImpl::kOtherHash, &hash);
}

bool operator==(const COtherHash& first, const COtherHash& second) {
    return SameValue(first.GetSha1Hash(), second.GetSha1Hash()) &&
           SameValue(first.GetOtherHash(), second.GetOtherHash());
}

void Fill(asn1rt::ASN1Context& context, asn1data::OtherHash& record, const COtherHash& value) {
    record.t = static_cast<int>(value.GetSelector());
    if (const CBlob* const hash = value.GetSha1Hash()) {
        record.u.sha1Hash = &NewIn<asn1data::OtherHashValue>(context);
        Fill(context, *record.u.sha1Hash, *hash);
    } else if (const COtherHashAlgAndValue* const other = value.GetOtherHash()) {
        record.u.otherHash = &NewIn<asn1data::OtherHashAlgAndValue>(context);
        Fill(context, *record.u.otherHash, *other);
    }
}

void Read(const asn1data::OtherHash& record, COtherHash& value) {
    switch (static_cast<std::uint32_t>(record.t)) {
        case COtherHashImpl::kSha1Hash: {
            CBlob hash;
            Read(*record.u.sha1Hash, hash);
            return value.SetSha1Hash(hash);
        }
        case COtherHashImpl::kOtherHash: {
            COtherHashAlgAndValue hash;
            Read(*record.u.otherHash, hash);
            return value.SetOtherHash(hash);
        }
        default:
            Fail(E_INVALIDARG);
    }
}

}  // namespace Ferroline::ASN1
