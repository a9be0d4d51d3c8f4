#include "platform/providers/algorithms.h"
#include "platform/providers/container.h"
#include "platform/providers/engine.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

std::string AlgorithmOf(const X509_PUBKEY& info) {
    ASN1_OBJECT* object = nullptr;
    if (X509_PUBKEY_get0_param(&object, nullptr, nullptr, nullptr, &info) != 1) {
        ThrowCrypto(CRYPT_E_ASN1_BADTAG);
    }
    return DottedOf(object);
}

bool KnownKey(std::string_view oid) {
    return oid == oid::kRsaPss || FindAlgorithm(oid, CRYPT_PUBKEY_ALG_OID_GROUP_ID) != nullptr;
}

// An AlgorithmIdentifier's parameters as OpenSSL's pair of type and value.
Asn1Type ParametersOf(const CRYPT_OBJID_BLOB& blob) {
    if (blob.cbData == 0) return nullptr;
    auto value = DecodeWhole<Asn1Type>(&d2i_ASN1_TYPE, ViewOf(blob.pbData, blob.cbData));
    if (!value) ThrowCrypto(CRYPT_E_ASN1_BADTAG);
    return value;
}

// Takes nothing over: OpenSSL gets copies of all that `info` points to.
PublicKeyInfo NativeOf(const CERT_PUBLIC_KEY_INFO& info) {
    PublicKeyInfo native(X509_PUBKEY_new());
    X509_ALGOR* algorithm = nullptr;
    if (!native ||
        X509_PUBKEY_get0_param(nullptr, nullptr, nullptr, &algorithm, native.get()) != 1) {
        ThrowCrypto(NTE_NO_MEMORY);
    }
    Asn1Object object = ObjectOf(info.Algorithm.pszObjId);
    algorithm->parameter = ParametersOf(info.Algorithm.Parameters).release();
    const CRYPT_BIT_BLOB& bits = info.PublicKey;
    std::unique_ptr<void, Freer<FreeMemory>> point(OPENSSL_memdup(bits.pbData, bits.cbData));
    if (!point) ThrowCrypto(CRYPT_E_ASN1_BADTAG);
    // V_ASN1_EOC: the parameters stay as set above. Absent ones have a value of their own,
    // or OpenSSL puts an empty one in their place.
    const int kind = algorithm->parameter == nullptr ? V_ASN1_UNDEF : V_ASN1_EOC;
    X509_PUBKEY_set0_param(native.get(), object.release(), kind, nullptr,
                           static_cast<unsigned char*>(point.release()),
                           static_cast<int>(bits.cbData));
    return native;
}

EvpKeyContext RsaContext(DWORD bits) {
    EvpKeyContext context(EVP_PKEY_CTX_new_id(EVP_PKEY_RSA, nullptr));
    const AlgorithmRow& row = *FindAlgorithm(CALG_RSA_KEYX, CRYPT_PUBKEY_ALG_OID_GROUP_ID);
    if (bits == 0) bits = row.bits;
    if (bits < row.leastBits || bits > row.mostBits) throw Error(NTE_BAD_LEN);
    if (!context || EVP_PKEY_keygen_init(context.get()) <= 0 ||
        EVP_PKEY_CTX_set_rsa_keygen_bits(context.get(), static_cast<int>(bits)) <= 0) {
        ThrowCrypto(NTE_FAIL);
    }
    return context;
}

int CurveOf(DWORD bits) {
    switch (bits) {
        case 0:
        case 256:
            return NID_X9_62_prime256v1;
        case 384:
            return NID_secp384r1;
        case 521:
            return NID_secp521r1;
        default:
            throw Error(NTE_BAD_LEN);
    }
}

EvpKeyContext EcContext(DWORD bits) {
    const int curve = CurveOf(bits);
    EvpKeyContext context(EVP_PKEY_CTX_new_id(EVP_PKEY_EC, nullptr));
    if (!context || EVP_PKEY_keygen_init(context.get()) <= 0 ||
        EVP_PKEY_CTX_set_ec_paramgen_curve_nid(context.get(), curve) <= 0) {
        ThrowCrypto(NTE_FAIL);
    }
    return context;
}

EvpKeyContext GostContext(std::string_view keyOid, DWORD bits) {
    const AlgorithmRow* row = FindAlgorithm(keyOid, CRYPT_PUBKEY_ALG_OID_GROUP_ID);
    if (bits != 0 && bits != row->bits) throw Error(NTE_BAD_LEN);
    return EvpKeyContext(NewGostKeyContext(keyOid));
}

EvpKeyContext GenerationContext(std::string_view keyOid, DWORD bits) {
    if (keyOid == oid::kRsa) return RsaContext(bits);
    if (keyOid == oid::kEc) return EcContext(bits);
    return GostContext(keyOid, bits);
}

}  // namespace

EvpKey PublicKeyFromDer(ByteView subjectPublicKeyInfo) {
    const auto info = DecodeWhole<PublicKeyInfo>(&d2i_X509_PUBKEY, subjectPublicKeyInfo);
    if (!info) ThrowCrypto(CRYPT_E_ASN1_BADTAG);
    const std::string algorithm = AlgorithmOf(*info);
    if (!KnownKey(algorithm)) ThrowCrypto(NTE_BAD_ALGID);
    EnsureAlgorithm(algorithm);
    // A first parse before the engine came found no way to read the key.
    EvpKey key(X509_PUBKEY_get(info.get()));
    if (!key) key = DecodeWhole<EvpKey>(&d2i_PUBKEY, subjectPublicKeyInfo);
    if (!key) ThrowCrypto(CRYPT_E_ASN1_BADTAG);
    return key;
}

EvpKey PublicKeyFromInfo(const CERT_PUBLIC_KEY_INFO& info) {
    if (info.Algorithm.pszObjId == nullptr) throw Error(ERROR_INVALID_PARAMETER);
    const PublicKeyInfo native = NativeOf(info);
    return PublicKeyFromDer(EncodeWhole(&i2d_X509_PUBKEY, native.get()));
}

EvpKey GenerateKey(DWORD type, DWORD bits) {
    const ProviderRow* provider = FindProvider(type);
    if (provider == nullptr) throw Error(NTE_PROV_TYPE_NOT_DEF);
    const EvpKeyContext context = GenerationContext(provider->keyOid, bits);
    EVP_PKEY* key = nullptr;
    if (!context || EVP_PKEY_keygen(context.get(), &key) <= 0) ThrowCrypto(NTE_FAIL);
    return EvpKey(key);
}

DWORD TypeForKey(EVP_PKEY* key) {
    const std::string algorithm = KeyOidOf(key);
    // Both RSA types serve the key; the one whose name promises the ciphers in use is told.
    if (algorithm == oid::kRsa) return kTypeRsaAes;
    for (const ProviderRow& row : ProviderTable()) {
        if (row.keyOid == algorithm) return row.type;
    }
    throw Error(NTE_BAD_ALGID);
}

}  // namespace platform
