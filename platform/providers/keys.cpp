// Keys made, read and compared.
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/err.h>

#include <algorithm>
#include <array>

#include "platform/providers/algorithms.h"
#include "platform/providers/container.h"
#include "platform/providers/gost_key.h"
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
    return FindAlgorithm(oid, CRYPT_PUBKEY_ALG_OID_GROUP_ID) != nullptr;
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

AnyKey GenerateNative(const EvpKeyContext& context) {
    EVP_PKEY* key = nullptr;
    if (EVP_PKEY_keygen(context.get(), &key) <= 0) ThrowCrypto(NTE_FAIL);
    return AnyKey(EvpKey(key));
}

AnyKey GenerateGost(std::string_view keyOid, DWORD bits) {
    const AlgorithmRow* row = FindAlgorithm(keyOid, CRYPT_PUBKEY_ALG_OID_GROUP_ID);
    if (bits != 0 && bits != row->bits) throw Error(NTE_BAD_LEN);
    return AnyKey(NewGostKey(keyOid));
}

AnyKey ReadPublicKey(ByteView subjectPublicKeyInfo) {
    if (SharedGostKey gost = ReadGostPublicKey(subjectPublicKeyInfo)) {
        return AnyKey(std::move(gost));
    }
    const auto info = DecodeWhole<PublicKeyInfo>(&d2i_X509_PUBKEY, subjectPublicKeyInfo);
    if (!info) ThrowCrypto(CRYPT_E_ASN1_BADTAG);
    if (!KnownKey(AlgorithmOf(*info))) ThrowCrypto(NTE_BAD_ALGID);
    EvpKey key(X509_PUBKEY_get(info.get()));
    if (!key) ThrowCrypto(CRYPT_E_ASN1_BADTAG);
    return AnyKey(std::move(key));
}

}  // namespace

std::string AnyKey::Oid() const {
    if (gost_) return gost_->oid;
    const ASN1_OBJECT* object = OBJ_nid2obj(EVP_PKEY_get_base_id(native_.get()));
    return object == nullptr ? std::string() : DottedOf(object);
}

DWORD AnyKey::Bits() const {
    return gost_ ? static_cast<DWORD>(gost_->curve->Size() * 8)
                 : static_cast<DWORD>(EVP_PKEY_get_bits(native_.get()));
}

std::size_t AnyKey::SignatureSize() const {
    return gost_ ? gost_->curve->Size() * 2
                 : static_cast<std::size_t>(EVP_PKEY_get_size(native_.get()));
}

bool AnyKey::Matches(const AnyKey& other) const {
    if (native_ && other.native_) return EVP_PKEY_eq(native_.get(), other.native_.get()) == 1;
    return gost_ && other.gost_ && gost_->oid == other.gost_->oid &&
           gost_->curve == other.gost_->curve && gost_->publicKey == other.gost_->publicKey;
}

// A point may be written down compressed or not, so that the encoding is no mark.
Bytes AnyKey::Mark() const {
    if (gost_) return gost_->publicKey;
    BIGNUM* number = nullptr;
    for (const char* part : {OSSL_PKEY_PARAM_RSA_N, OSSL_PKEY_PARAM_EC_PUB_X}) {
        if (EVP_PKEY_get_bn_param(native_.get(), part, &number) == 1) break;
    }
    ERR_clear_error();
    if (number == nullptr) return {};
    Bytes mark(static_cast<std::size_t>(BN_num_bytes(number)));
    BN_bn2bin(number, mark.data());
    BN_free(number);
    return mark;
}

// Signer after signer has the key of the one before, or takes turns with the services that stamp
// him, and reading a key costs more than its signature.
AnyKey PublicKeyFromDer(ByteView subjectPublicKeyInfo) {
    struct Known {
        Bytes der;
        AnyKey key;
    };
    static thread_local std::array<Known, 8> recent;
    static thread_local std::size_t oldest = 0;
    const auto* known = std::ranges::find_if(
        recent, [&](const Known& one) { return one.key && Equal(one.der, subjectPublicKeyInfo); });
    if (known != recent.end()) return known->key;
    Known fresh{Copy(subjectPublicKeyInfo), ReadPublicKey(subjectPublicKeyInfo)};
    Known& place = recent[oldest++ % recent.size()];
    place = std::move(fresh);
    return place.key;
}

AnyKey PublicKeyFromInfo(const CERT_PUBLIC_KEY_INFO& info) {
    if (info.Algorithm.pszObjId == nullptr) throw Error(ERROR_INVALID_PARAMETER);
    const PublicKeyInfo native = NativeOf(info);
    return PublicKeyFromDer(EncodeWhole(&i2d_X509_PUBKEY, native.get()));
}

Bytes PublicKeyToDer(const AnyKey& key) {
    return key.Gost() != nullptr ? EncodeGostPublicKey(*key.Gost())
                                 : EncodeWhole<EVP_PKEY>(&i2d_PUBKEY, key.Native());
}

AnyKey GenerateKey(DWORD type, DWORD bits) {
    const ProviderRow* provider = FindProvider(type);
    if (provider == nullptr) throw Error(NTE_PROV_TYPE_NOT_DEF);
    const std::string_view keyOid = provider->keyOid;
    if (IsGost(keyOid)) return GenerateGost(keyOid, bits);
    return GenerateNative(keyOid == oid::kRsa ? RsaContext(bits) : EcContext(bits));
}

DWORD TypeForKey(const AnyKey& key) {
    const std::string algorithm = key.Oid();
    // Both RSA types serve the key; the one whose name promises the ciphers in use is told.
    if (algorithm == oid::kRsa || algorithm == oid::kRsaPss) return kTypeRsaAes;
    for (const ProviderRow& row : ProviderTable()) {
        if (row.keyOid == algorithm) return row.type;
    }
    throw Error(NTE_BAD_ALGID);
}

}  // namespace platform
