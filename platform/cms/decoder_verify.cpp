// What one signature must satisfy beside the mathematics.
#include "platform/cms/decoder_verify.h"

#include "platform/der/ber_reader.h"
#include "platform/der/der.h"
#include "platform/providers/algorithms.h"

namespace platform {
namespace {

// The one value of the one attribute of a kind (RFC 5652 11.1, 11.2). Two of them, or
// two values, would let each reader pick the one it likes.
Bytes SoleValue(const std::vector<Bytes>& attributes, std::string_view oid) {
    std::optional<Bytes> sole;
    for (const Bytes& der : attributes) {
        const AttributeView attribute = ParseAttribute(der);
        if (attribute.oid != oid) continue;
        if (sole || attribute.values.size() != 1) throw Error(NTE_BAD_SIGNATURE);
        sole = attribute.values.front();
    }
    if (!sole) throw Error(NTE_BAD_SIGNATURE);
    return *sole;
}

// A mismatch here is what a changed content looks like. The documented value would be
// CRYPT_E_HASH_VALUE, yet callers take anything but a bad signature or algorithm for "no
// signed message at all": the user is to learn that this signer's signature is bad.
void CheckAttributes(const std::vector<Bytes>& attributes, const std::string& contentType,
                     ByteView contentDigest) {
    const Bytes type = SoleValue(attributes, szOID_RSA_contentType);
    const Bytes digest = SoleValue(attributes, szOID_RSA_messageDigest);
    const bool sameType = Equal(type, der::Oid(contentType));
    if (!sameType || !Equal(digest, der::Element(der::kOctetString, contentDigest))) {
        throw Error(NTE_BAD_SIGNATURE);
    }
}

Bytes DigestOfAttributes(const SignerInfo& signer) {
    return DigestOf(signer.digest.oid, SignedAttributesForDigest(*signer.signedAttributes));
}

// RFC 5754 2 and 3.2, RFC 3370 3.2, RFC 5758 3: NULL or nothing, and readers take both. PSS
// and GOST have parameters of their own, which are read where they serve.
void CheckParameters(const Algorithm& algorithm) {
    const bool own = algorithm.oid == oid::kRsaPss || IsGost(algorithm.oid);
    const bool none = algorithm.parameters.empty() ||
                      Equal(algorithm.parameters, der::Element(der::kNull, ByteView{}));
    if (!own && !none) throw Error(NTE_BAD_ALGID, algorithm.oid);
}

// What nobody signed must not pass for what the signer said.
void CheckUnsigned(const std::vector<Bytes>& attributes) {
    for (const Bytes& der : attributes) {
        const std::string oid = ParseAttribute(der).oid;
        if (MustBeSigned(oid)) throw Error(NTE_BAD_SIGNATURE, oid);
    }
}

// An algorithm that is not known is told by its identifier.
void VerifyValue(const SignerInfo& signer, ByteView digest, const AnyKey& key) {
    try {
        VerifyDigest(key, signer.signatureAlgorithm, signer.digest.oid, digest, signer.signature);
    } catch (const Error& error) {
        const bool unknown = error.Code() == static_cast<DWORD>(NTE_BAD_ALGID);
        if (!unknown || !error.Detail().empty()) throw;
        throw Error(NTE_BAD_ALGID, signer.signatureAlgorithm.oid);
    }
}

}  // namespace

void VerifySigner(const SignerInfo& signer, const std::string& contentType, ByteView contentDigest,
                  const AnyKey& key) {
    CheckParameters(signer.digest);
    CheckParameters(signer.signatureAlgorithm);
    CheckUnsigned(signer.unsignedAttributes);
    if (!signer.signedAttributes) {
        // RFC 5652 5.3: without signed attributes nothing would protect the type.
        if (contentType != szOID_RSA_data) throw Error(NTE_BAD_SIGNATURE);
        return VerifyValue(signer, contentDigest, key);
    }
    CheckAttributes(*signer.signedAttributes, contentType, contentDigest);
    VerifyValue(signer, DigestOfAttributes(signer), key);
}

void VerifyCountersigner(const SignerInfo& signer, ByteView covered, const AnyKey& key) {
    CheckParameters(signer.digest);
    CheckParameters(signer.signatureAlgorithm);
    const Bytes digest = DigestOf(signer.digest.oid, covered);
    if (!signer.signedAttributes) return VerifyValue(signer, digest, key);
    const Bytes announced = SoleValue(*signer.signedAttributes, szOID_RSA_messageDigest);
    if (!Equal(announced, der::Element(der::kOctetString, digest))) throw Error(NTE_BAD_SIGNATURE);
    VerifyValue(signer, DigestOfAttributes(signer), key);
}

}  // namespace platform
