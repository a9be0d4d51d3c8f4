#include "platform/messages/decoder_verify.h"

#include "platform/messages/ber_reader.h"
#include "platform/messages/der.h"

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
    Digest digest(signer.digest.oid);
    digest.Update(SignedAttributesForDigest(*signer.signedAttributes));
    return digest.Value();
}

}  // namespace

void VerifySigner(const SignerInfo& signer, const std::string& contentType, ByteView contentDigest,
                  const AnyKey& key) {
    if (!signer.signedAttributes) {
        // RFC 5652 5.3: without signed attributes nothing would protect the type.
        if (contentType != szOID_RSA_data) throw Error(NTE_BAD_SIGNATURE);
        return VerifyDigest(key, signer.signatureAlgorithm, signer.digest.oid, contentDigest,
                            signer.signature);
    }
    CheckAttributes(*signer.signedAttributes, contentType, contentDigest);
    VerifyDigest(key, signer.signatureAlgorithm, signer.digest.oid, DigestOfAttributes(signer),
                 signer.signature);
}

}  // namespace platform
