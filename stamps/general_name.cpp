// General names from records and back.
#include "stamps/general_name.h"

#include "asn1data/CertificateExtensions.h"
#include "stamps/generated.h"
#include "stamps/name_text.h"
#include "stamps/wide_text.h"

namespace Ferroline::ASN1 {
namespace {

using Impl = CGeneralNameImpl;

void FillText(asn1rt::ASN1Context& context, asn1rt::ASN1CharStr*& member,
              const std::wstring& text) {
    member = &NewIn<asn1rt::ASN1CharStr>(context);
    Fill(context, *member, text);
}

std::wstring ReadText(const asn1rt::ASN1CharStr& member) {
    std::wstring text;
    Read(member, text);
    return text;
}

CBlob ReadBytes(const asn1rt::ASN1DynOctStr& member) {
    CBlob bytes;
    Read(member, bytes);
    return bytes;
}

// A Name is kept as it stands; that it is one at all is all that is asked.
void CheckIsSequence(const CBlob& name) {
    if (name.IsEmpty() || name.GetData()[0] != 0x30) Fail(CRYPT_E_ASN1_INTERNAL);
}

}  // namespace

const ChoiceValueTraits* CGeneralNameImpl::GetTraits(std::uint32_t selector) const {
    switch (selector) {
        case kRfc822Name:
            return &ChoiceValueTraitsT<std::wstring, kRfc822Name>::kInstance;
        case kDNSName:
            return &ChoiceValueTraitsT<std::wstring, kDNSName>::kInstance;
        case kDirectoryName:
            return &ChoiceValueTraitsT<CBlob, kDirectoryName>::kInstance;
        case kUniformResourceIdentifier:
            return &ChoiceValueTraitsT<std::wstring, kUniformResourceIdentifier>::kInstance;
        case kIPAddress:
            return &ChoiceValueTraitsT<CBlob, kIPAddress>::kInstance;
        case kRegisteredID:
            return &ChoiceValueTraitsT<std::wstring, kRegisteredID>::kInstance;
        default:
            return &EmptyChoiceTraits::kInstance;
    }
}

const std::wstring* CGeneralName::GetRfc822Name() const {
    return impl_->Get<std::wstring>(Impl::kRfc822Name);
}
const std::wstring* CGeneralName::GetDNSName() const {
    return impl_->Get<std::wstring>(Impl::kDNSName);
}
const CBlob* CGeneralName::GetDirectoryName() const {
    return impl_->Get<CBlob>(Impl::kDirectoryName);
}
const std::wstring* CGeneralName::GetUniformResourceIdentifier() const {
    return impl_->Get<std::wstring>(Impl::kUniformResourceIdentifier);
}
const CBlob* CGeneralName::GetIPAddress() const { return impl_->Get<CBlob>(Impl::kIPAddress); }
const std::wstring* CGeneralName::GetRegisteredID() const {
    return impl_->Get<std::wstring>(Impl::kRegisteredID);
}

void CGeneralName::SetRfc822Name(const std::wstring& text) { impl_->Set(Impl::kRfc822Name, &text); }
void CGeneralName::SetDNSName(const std::wstring& text) { impl_->Set(Impl::kDNSName, &text); }
void CGeneralName::SetDirectoryName(const CBlob& name) { impl_->Set(Impl::kDirectoryName, &name); }
void CGeneralName::SetUniformResourceIdentifier(const std::wstring& text) {
    impl_->Set(Impl::kUniformResourceIdentifier, &text);
}
void CGeneralName::SetIPAddress(const CBlob& address) { impl_->Set(Impl::kIPAddress, &address); }
void CGeneralName::SetRegisteredID(const std::wstring& oid) {
    impl_->Set(Impl::kRegisteredID, &oid);
}

CBlob CGeneralName::Encode() const {
    return EncodeValue<asn1data::ASN1C_GeneralName, asn1data::GeneralName>(*this);
}

void CGeneralName::Decode(const CBlob& encoded) {
    Decoded<asn1data::ASN1C_GeneralName, asn1data::GeneralName> record(encoded.Bytes());
    Read(*record, *this);
}

std::wstring CGeneralName::ToString() const {
    switch (GetSelector()) {
        case Impl::kRfc822Name:
            return L"rfc822Name: " + *GetRfc822Name();
        case Impl::kDNSName:
            return L"dNSName: " + *GetDNSName();
        case Impl::kDirectoryName:
            return L"directoryName: " + NameToText(*GetDirectoryName());
        case Impl::kUniformResourceIdentifier:
            return L"uniformResourceIdentifier: " + *GetUniformResourceIdentifier();
        case Impl::kIPAddress:
            return L"iPAddress: (to string is not implemented)";
        case Impl::kRegisteredID:
            return L"registeredID: " + *GetRegisteredID();
        default:
            return {};
    }
}

bool operator==(const CGeneralName& first, const CGeneralName& second) {
    return SameValue(first.GetRfc822Name(), second.GetRfc822Name()) &&
           SameValue(first.GetDNSName(), second.GetDNSName()) &&
           SameValue(first.GetDirectoryName(), second.GetDirectoryName()) &&
           SameValue(first.GetUniformResourceIdentifier(), second.GetUniformResourceIdentifier()) &&
           SameValue(first.GetIPAddress(), second.GetIPAddress()) &&
           SameValue(first.GetRegisteredID(), second.GetRegisteredID());
}

void Fill(asn1rt::ASN1Context& context, asn1data::GeneralName& record, const CGeneralName& value) {
    record.t = static_cast<int>(value.GetSelector());
    switch (value.GetSelector()) {
        case Impl::kRfc822Name:
            return FillText(context, record.u.rfc822Name, *value.GetRfc822Name());
        case Impl::kDNSName:
            return FillText(context, record.u.dNSName, *value.GetDNSName());
        case Impl::kDirectoryName:
            CheckIsSequence(*value.GetDirectoryName());
            record.u.directoryName = &NewIn<asn1rt::ASN1OpenType>(context);
            return Fill(context, *record.u.directoryName, *value.GetDirectoryName());
        case Impl::kUniformResourceIdentifier:
            return FillText(context, record.u.uniformResourceIdentifier,
                            *value.GetUniformResourceIdentifier());
        case Impl::kIPAddress:
            record.u.iPAddress = &NewIn<asn1rt::ASN1DynOctStr>(context);
            return Fill(context, *record.u.iPAddress, *value.GetIPAddress());
        case Impl::kRegisteredID:
            record.u.registeredID = &NewIn<asn1rt::ASN1OBJID>(context);
            return Fill(context, *record.u.registeredID, ToAnsi(*value.GetRegisteredID()));
        default:
            Fail(CRYPT_E_ASN1_INTERNAL);
    }
}

void Read(const asn1data::GeneralName& record, CGeneralName& value) {
    switch (static_cast<std::uint32_t>(record.t)) {
        case Impl::kRfc822Name:
            return value.SetRfc822Name(ReadText(*record.u.rfc822Name));
        case Impl::kDNSName:
            return value.SetDNSName(ReadText(*record.u.dNSName));
        case Impl::kDirectoryName: {
            CBlob name;
            Read(*record.u.directoryName, name);
            return value.SetDirectoryName(name);
        }
        case Impl::kUniformResourceIdentifier:
            return value.SetUniformResourceIdentifier(
                ReadText(*record.u.uniformResourceIdentifier));
        case Impl::kIPAddress:
            return value.SetIPAddress(ReadBytes(*record.u.iPAddress));
        case Impl::kRegisteredID:
            return value.SetRegisteredID(FromAnsi(ReadOid(*record.u.registeredID)));
        default:
            Fail(E_INVALIDARG);
    }
}

void Fill(asn1rt::ASN1Context& context, asn1data::GeneralNames& record,
          const CGeneralNames& value) {
    for (const CGeneralName& name : value) Fill(context, AddTo(context, record), name);
}

void Read(const asn1data::GeneralNames& record, CGeneralNames& value) {
    value.clear();
    for (const asn1data::GeneralName& name : record) Read(name, value.emplace_back());
}

}  // namespace Ferroline::ASN1
