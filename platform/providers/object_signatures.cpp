// Signing certificates. OpenSSL does it for its own keys; of GOST keys it knows nothing, so there
// the signed octets are taken out here.
#include "platform/providers/algorithms.h"
#include "platform/providers/gost_key.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

// What certificates and CRLs have in common. The body stays as it was received.
struct SignedObject {
    ASN1_TYPE* body;
    X509_ALGOR* algorithm;
    ASN1_BIT_STRING* signature;
};

// clang-format off
ASN1_SEQUENCE(SignedObject) = {
    ASN1_SIMPLE(SignedObject, body, ASN1_ANY),
    ASN1_SIMPLE(SignedObject, algorithm, X509_ALGOR),
    ASN1_SIMPLE(SignedObject, signature, ASN1_BIT_STRING),
} static_ASN1_SEQUENCE_END(SignedObject)
    // clang-format on

    Bytes DigestOfBody(const char* oid, ByteView body) {
    Digest digest(oid);
    digest.Update(body);
    return digest.Value();
}

// A signature algorithm of the key in its long form, as certificates have it.
const SignatureRow& CertificateRow(const GostKey& key) {
    for (const SignatureRow& row : SignatureTable()) {
        if (row.keyOid == key.oid && row.oid != key.oid) return row;
    }
    throw Error(NTE_BAD_ALGID);
}

const EVP_MD* FirstDigest(EVP_PKEY* key) {
    int nid = NID_undef;
    if (EVP_PKEY_get_default_digest_nid(key, &nid) <= 0) nid = NID_sha256;
    return EVP_get_digestbynid(nid);
}

void SetAlgorithm(const X509_ALGOR* algorithm, const char* oid) {
    X509_ALGOR_set0(const_cast<X509_ALGOR*>(algorithm), ObjectOf(oid).release(), V_ASN1_UNDEF,
                    nullptr);
}

Bytes SignWithGost(X509* certificate, const GostKey& key) {
    const SignatureRow& row = CertificateRow(key);
    SetAlgorithm(X509_get0_tbs_sigalg(certificate), row.oid);
    unsigned char* der = nullptr;
    const int size = i2d_re_X509_tbs(certificate, &der);
    if (size <= 0) ThrowCrypto(NTE_FAIL);
    const std::unique_ptr<unsigned char, Freer<FreeMemory>> body(der);
    const ByteView bodyView(der, static_cast<std::size_t>(size));
    const Bytes signature =
        key.curve->Sign(key.privateKey.View(), DigestOfBody(row.digestOid, bodyView));
    const ASN1_ITEM* item = ASN1_ITEM_rptr(SignedObject);
    const Item<SignedObject> object(reinterpret_cast<SignedObject*>(ASN1_item_new(item)), {item});
    if (!object) ThrowCrypto(NTE_NO_MEMORY);
    auto decoded = DecodeWhole<Asn1Type>(&d2i_ASN1_TYPE, bodyView);
    if (!decoded) ThrowCrypto(NTE_FAIL);
    ASN1_TYPE_free(object->body);
    object->body = decoded.release();
    SetAlgorithm(object->algorithm, row.oid);
    SetBits(object->signature, signature);
    return EncodeItem(item, object.get());
}

}  // namespace

void SetPublicKey(X509* certificate, const AnyKey& key) {
    const Bytes der = PublicKeyToDer(key);
    auto info = DecodeWhole<PublicKeyInfo>(&d2i_X509_PUBKEY, der);
    ERR_clear_error();
    X509_PUBKEY* place = X509_get_X509_PUBKEY(certificate);
    const unsigned char* bits = nullptr;
    int size = 0;
    X509_ALGOR* algorithm = nullptr;
    if (!info || X509_PUBKEY_get0_param(nullptr, &bits, &size, &algorithm, info.get()) != 1) {
        ThrowCrypto(NTE_FAIL);
    }
    X509_ALGOR* target = nullptr;
    X509_PUBKEY_get0_param(nullptr, nullptr, nullptr, &target, place);
    void* copy = OPENSSL_memdup(bits, static_cast<std::size_t>(size));
    if (copy == nullptr || X509_ALGOR_copy(target, algorithm) != 1) ThrowCrypto(NTE_NO_MEMORY);
    // V_ASN1_EOC: the parameters stay as copied.
    X509_PUBKEY_set0_param(place, OBJ_dup(algorithm->algorithm), V_ASN1_EOC, nullptr,
                           static_cast<unsigned char*>(copy), size);
}

Bytes SignCertificate(X509* certificate, const AnyKey& key) {
    if (key.Gost() != nullptr) return SignWithGost(certificate, *key.Gost());
    if (X509_sign(certificate, key.Native(), FirstDigest(key.Native())) <= 0) {
        ThrowCrypto(NTE_FAIL);
    }
    return EncodeWhole<X509>(&i2d_X509, certificate);
}

}  // namespace platform
