// The making of one SignerInfo.
#include "platform/cms/signer.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "platform/base/error.h"
#include "platform/cms/readable.h"
#include "platform/der/der.h"
#include "platform/der/normalise.h"
#include "platform/providers/algorithms.h"

namespace platform {
namespace {

// Parameters of a digest are absent for SHA (RFC 5754 2) and NULL for GOST (RFC 4490 2.1).
Algorithm DigestAlgorithmOf(const CRYPT_ALGORITHM_IDENTIFIER& given) {
    if (given.pszObjId == nullptr) throw Error(ERROR_INVALID_PARAMETER);
    Algorithm algorithm{given.pszObjId,
                        Copy(ViewOf(given.Parameters.pbData, given.Parameters.cbData))};
    if (algorithm.parameters.empty() && IsGost(algorithm.oid)) {
        algorithm.parameters = der::Element(der::kNull, ByteView{});
    }
    return algorithm;
}

// A reader finds the end of an attribute by its values, so a value that is not exactly
// one element would make the whole message unreadable.
Bytes DerOfValue(const CRYPT_ATTR_BLOB& value, const char* oid) {
    try {
        return Normalise(ViewOf(value.pbData, value.cbData),
                         BerReader::kDefaultDepth - kLevelsAroundValue);
    } catch (const Error& error) {
        const bool deep = error.Code() == static_cast<DWORD>(CRYPT_E_ASN1_CONSTRAINT);
        throw Error(deep ? CRYPT_E_ASN1_CONSTRAINT : CRYPT_E_BAD_ENCODE, oid);
    }
}

enum class Values { AsGiven, Der };

Bytes CheckedAttribute(const CRYPT_ATTRIBUTE& attribute, Values form) {
    Bytes asGiven = EncodeAttribute(attribute);
    if (attribute.cValue == 0) throw Error(CRYPT_E_BAD_ENCODE, attribute.pszObjId);
    std::vector<Bytes> values;
    for (DWORD i = 0; i < attribute.cValue; ++i) {
        values.push_back(DerOfValue(attribute.rgValue[i], attribute.pszObjId));
    }
    if (form == Values::AsGiven) return asGiven;
    return der::Element(der::kSequence,
                        {der::Oid(attribute.pszObjId), EncodeSetOf(der::kSet, std::move(values))});
}

std::vector<Bytes> CheckedAttributes(const CRYPT_ATTRIBUTE* attributes, DWORD count, Values form) {
    if (count != 0 && attributes == nullptr) throw Error(ERROR_INVALID_PARAMETER);
    std::vector<Bytes> encoded;
    encoded.reserve(count);
    for (DWORD i = 0; i < count; ++i) encoded.push_back(CheckedAttribute(attributes[i], form));
    return encoded;
}

// Content type and message digest must stand once each (RFC 5652 11.1, 11.2).
void RefuseOwnAttributes(const CMSG_SIGNER_ENCODE_INFO& info) {
    for (DWORD i = 0; i < info.cAuthAttr; ++i) {
        const std::string_view oid = info.rgAuthAttr[i].pszObjId;
        if (oid == szOID_RSA_contentType || oid == szOID_RSA_messageDigest) {
            throw Error(CRYPT_E_BAD_ENCODE, std::string(oid));
        }
    }
}

// The default that is documented for this record.
DWORD KeySpecOf(const CMSG_SIGNER_ENCODE_INFO& info) {
    return info.dwKeySpec != 0 ? info.dwKeySpec : AT_SIGNATURE;
}

Bytes Attribute(const char* oid, ByteView value) {
    return der::Element(der::kSequence, {der::Oid(oid), der::Element(der::kSet, value)});
}

const CMSG_SIGNER_ENCODE_INFO& Complete(const CMSG_SIGNER_ENCODE_INFO& info) {
    if (info.cbSize < sizeof(info) || info.pCertInfo == nullptr) {
        throw Error(ERROR_INVALID_PARAMETER);
    }
    return info;
}

}  // namespace

PreparedSigner::PreparedSigner(const CMSG_SIGNER_ENCODE_INFO& info, const std::string& contentType)
    : PreparedSigner(info, contentType, PrivateKeyOf(Complete(info).hCryptProv, KeySpecOf(info))) {}

PreparedSigner::PreparedSigner(const CMSG_SIGNER_ENCODE_INFO& info, const std::string& contentType,
                               AnyKey key)
    : contentType_(contentType), key_(std::move(key)) {
    record_.signer = HolderOf(*Complete(info).pCertInfo);
    record_.digest = DigestAlgorithmOf(info.HashAlgorithm);
    if (FindAlgorithm(record_.digest.oid, CRYPT_HASH_ALG_OID_GROUP_ID) == nullptr) {
        throw Error(CRYPT_E_UNKNOWN_ALGO, record_.digest.oid);
    }
    record_.signatureAlgorithm = SignatureAlgorithmFor(key_, record_.digest.oid);
    AddSignedAttributes(info);
    record_.unsignedAttributes =
        CheckedAttributes(info.rgUnauthAttr, info.cUnauthAttr, Values::AsGiven);
    for (DWORD i = 0; i < info.cUnauthAttr; ++i) RefuseAsUnsigned(info.rgUnauthAttr[i].pszObjId);
    std::sort(record_.unsignedAttributes.begin(), record_.unsignedAttributes.end());
}

void PreparedSigner::AddSignedAttributes(const CMSG_SIGNER_ENCODE_INFO& info) {
    // Both sides digest these as DER (RFC 5652 5.4), whatever the caller's file had.
    std::vector<Bytes> attributes = CheckedAttributes(info.rgAuthAttr, info.cAuthAttr, Values::Der);
    RefuseOwnAttributes(info);
    // A content type other than data must be signed with (RFC 5652 5.3).
    if (attributes.empty() && contentType_ == szOID_RSA_data) return;
    attributes.push_back(Attribute(szOID_RSA_contentType, der::Oid(contentType_)));
    record_.signedAttributes = std::move(attributes);
}

SignerInfo PreparedSigner::WithAttributes(ByteView contentDigest) const {
    SignerInfo signer = record_;
    if (signer.signedAttributes) {
        std::vector<Bytes>& attributes = *signer.signedAttributes;
        attributes.push_back(
            Attribute(szOID_RSA_messageDigest, der::Element(der::kOctetString, contentDigest)));
        std::sort(attributes.begin(), attributes.end());
    }
    return signer;
}

SignerInfo PreparedSigner::Sign(ByteView contentDigest) const {
    SignerInfo signer = WithAttributes(contentDigest);
    if (!signer.signedAttributes) {
        signer.signature = SignDigest(key_, signer.digest.oid, contentDigest);
        return signer;
    }
    const Bytes digest =
        DigestOf(signer.digest.oid, SignedAttributesForDigest(*signer.signedAttributes));
    signer.signature = SignDigest(key_, signer.digest.oid, digest);
    return signer;
}

SignerInfo PreparedSigner::Dummy() const {
    SignerInfo signer = WithAttributes(Bytes(DigestSize(record_.digest.oid)));
    signer.signature.resize(key_.SignatureSize());
    return signer;
}

void RefuseAsUnsigned(std::string_view oid) {
    if (MustBeSigned(oid)) throw Error(CRYPT_E_BAD_ENCODE, std::string(oid));
}

}  // namespace platform
