// The attributes by which a token names its signer's certificate.
#include <algorithm>
#include <utility>

#include "stamps/failure.h"
#include "stamps/signer.h"

namespace Ferroline::PKI {
namespace {

constexpr std::string_view kSigningCertificate = "1.2.840.113549.1.9.16.2.12";
constexpr std::string_view kSigningCertificateV2 = "1.2.840.113549.1.9.16.2.47";
constexpr std::string_view kOtherSigningCertificate = "1.2.840.113549.1.9.16.2.19";

template <class Value>
std::optional<COtherCertID> ReadFirst(Attributes attributes, std::string_view oid) {
    const CRYPT_ATTRIBUTE* attribute = FindAttribute(attributes, oid);
    if (attribute == nullptr) return std::nullopt;
    Value value;
    Decode(CBlob(attribute->rgValue[0].pbData, attribute->rgValue[0].cbData), value);
    if (value.certs.empty()) Fail(CRYPT_E_ASN1_INTERNAL);
    return COtherCertID(value.certs.front());
}

// With its parameters, as it was received: many write NULL where nothing need stand.
ASN1::CAlgorithmIdentifier HashOf(const COtherCertID& id) {
    const ASN1::COtherHashAlgAndValue* hash = id.hash.GetOtherHash();
    return hash != nullptr ? hash->algorithm : ASN1::CAlgorithmIdentifier(ASN1::kSha1Oid);
}

CBlob HashCertificate(const ASN1::CAlgorithmIdentifier& algorithm, PCCERT_CONTEXT certificate) {
    const PCCRYPT_OID_INFO info =
        CryptFindOIDInfo(CRYPT_OID_INFO_OID_KEY, const_cast<char*>(algorithm.GetOID().c_str()), 0);
    if (info == nullptr) ATL::ThrowLastError();
    const auto hash = [&](BYTE* data, DWORD& size) {
        if (!CryptHashCertificate(0, info->Algid, 0, certificate->pbCertEncoded,
                                  certificate->cbCertEncoded, data, &size)) {
            ATL::ThrowLastError();
        }
    };
    DWORD size = 0;
    hash(nullptr, size);
    CBlob value(size);
    hash(value.GetData(), size);
    return value;
}

CBigInteger SerialOf(PCCERT_CONTEXT certificate) {
    const CRYPT_INTEGER_BLOB& serial = certificate->pCertInfo->SerialNumber;
    CBlob bytes(serial.pbData, serial.cbData);
    std::reverse(bytes.GetData(), bytes.GetData() + bytes.GetSize());
    return CBigInteger(std::move(bytes));
}

ASN1::CIssuerSerial IssuerSerialOf(PCCERT_CONTEXT certificate) {
    const CERT_NAME_BLOB& issuer = certificate->pCertInfo->Issuer;
    ASN1::CGeneralName name;
    name.SetDirectoryName(CBlob(issuer.pbData, issuer.cbData));
    return {{name}, SerialOf(certificate)};
}

bool Fits(const std::optional<COtherCertID>& id, PCCERT_CONTEXT certificate) {
    return !id || MatchesSignerHash(*id, certificate);
}

}  // namespace

const CRYPT_ATTRIBUTE* FindAttribute(Attributes attributes, std::string_view oid) {
    const CRYPT_ATTRIBUTE* found = nullptr;
    for (const CRYPT_ATTRIBUTE& attribute : attributes) {
        if (attribute.pszObjId != oid) continue;
        if (found != nullptr || attribute.cValue != 1) Fail(ATL::ResultOfError(ERROR_BAD_FORMAT));
        found = &attribute;
    }
    return found;
}

std::optional<COtherCertID> ReadSigningCertificate(Attributes attributes) {
    return ReadFirst<ASN1::CSigningCertificate>(attributes, kSigningCertificate);
}

std::optional<COtherCertID> ReadSigningCertificateV2(Attributes attributes) {
    return ReadFirst<ASN1::CSigningCertificateV2>(attributes, kSigningCertificateV2);
}

std::optional<COtherCertID> ReadOtherSigningCertificate(Attributes attributes) {
    return ReadFirst<ASN1::COtherSigningCertificate>(attributes, kOtherSigningCertificate);
}

COtherCertID ChooseCertId(Attributes attributes) {
    auto first = ReadSigningCertificate(attributes);
    const bool other = ReadOtherSigningCertificate(attributes).has_value();
    auto second = ReadSigningCertificateV2(attributes);
    if (other && (first || !second)) Fail(ATL::ResultOfError(ERROR_BAD_FORMAT));
    if (second) return std::move(*second);
    if (!first) Fail(static_cast<HRESULT>(CRYPT_E_NOT_FOUND));
    return std::move(*first);
}

bool MatchesSignerHash(const COtherCertID& id, PCCERT_CONTEXT certificate) {
    ASN1::COtherHashAlgAndValue hash;
    hash.algorithm = HashOf(id);
    hash.value = HashCertificate(hash.algorithm, certificate);
    COtherCertID own;
    own.hash.SetOtherHash(hash);
    if (id.issuerSerial) own.issuerSerial = IssuerSerialOf(certificate);
    return own == id;
}

bool CheckSigningCertificateAttrs(Attributes attributes, PCCERT_CONTEXT certificate) {
    const auto first = ReadSigningCertificate(attributes);
    const auto other = ReadOtherSigningCertificate(attributes);
    const auto second = ReadSigningCertificateV2(attributes);
    if (!first && !other && !second) return false;
    return Fits(second, certificate) && Fits(other, certificate) && Fits(first, certificate);
}

}  // namespace Ferroline::PKI
