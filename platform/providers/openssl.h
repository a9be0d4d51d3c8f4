// Holders for OpenSSL's objects, and the few conversions that several units need.
#pragma once

#include <openssl/asn1t.h>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <memory>
#include <string>
#include <string_view>

#include "platform/base/bytes.h"
#include "platform/base/error.h"
#include "platform/base/freer.h"

namespace platform {

// OPENSSL_free is a macro.
inline void FreeMemory(void* memory) { OPENSSL_free(memory); }

using Bio = std::unique_ptr<BIO, Freer<BIO_free>>;
using EvpKeyContext = std::unique_ptr<EVP_PKEY_CTX, Freer<EVP_PKEY_CTX_free>>;
using PrivateKeyInfo = std::unique_ptr<PKCS8_PRIV_KEY_INFO, Freer<PKCS8_PRIV_KEY_INFO_free>>;
using EncryptedKeyInfo = std::unique_ptr<X509_SIG, Freer<X509_SIG_free>>;
using PublicKeyInfo = std::unique_ptr<X509_PUBKEY, Freer<X509_PUBKEY_free>>;
using Asn1Type = std::unique_ptr<ASN1_TYPE, Freer<ASN1_TYPE_free>>;
using Asn1Object = std::unique_ptr<ASN1_OBJECT, Freer<ASN1_OBJECT_free>>;
using AlgorithmHolder = std::unique_ptr<X509_ALGOR, Freer<X509_ALGOR_free>>;
using OctetString = std::unique_ptr<ASN1_OCTET_STRING, Freer<ASN1_OCTET_STRING_free>>;
using PssParameters = std::unique_ptr<RSA_PSS_PARAMS, Freer<RSA_PSS_PARAMS_free>>;
using OaepParameters = std::unique_ptr<RSA_OAEP_PARAMS, Freer<RSA_OAEP_PARAMS_free>>;

// OpenSSL's queue of errors is emptied, so that nothing of it shows in a later call.
[[noreturn]] void ThrowCrypto(LONG code);

// Throws CRYPT_E_OID_FORMAT.
Asn1Object ObjectOf(std::string_view oid);
std::string DottedOf(const ASN1_OBJECT* object);

// A digest of OpenSSL's own, to be named to its calls. Throws NTE_BAD_ALGID for others.
const EVP_MD* NativeDigest(std::string_view oid);

// One value of an OpenSSL type that fills `der` to its end; null otherwise.
template <class Holder, class T>
Holder DecodeWhole(T* (*decode)(T**, const unsigned char**, long), ByteView der) {
    const unsigned char* next = der.data();
    Holder value(decode(nullptr, &next, static_cast<long>(der.size())));
    if (value && next != der.data() + der.size()) value.reset();
    return value;
}

template <class T>
Bytes EncodeWhole(int (*encode)(const T*, unsigned char**), const T* value) {
    const int size = encode(value, nullptr);
    if (size <= 0) ThrowCrypto(NTE_FAIL);
    Bytes der(static_cast<std::size_t>(size));
    unsigned char* next = der.data();
    encode(value, &next);
    return der;
}

// An AlgorithmIdentifier's parameters; empty when it has none.
Bytes EncodedParametersOf(const X509_ALGOR* algorithm);

// Values of our own templates.
struct ItemDeleter {
    const ASN1_ITEM* item;
    template <class T>
    void operator()(T* value) const {
        ASN1_item_free(reinterpret_cast<ASN1_VALUE*>(value), item);
    }
};
template <class T>
using Item = std::unique_ptr<T, ItemDeleter>;

// A value that fills `der` to its end; null otherwise.
template <class T>
Item<T> DecodeItem(const ASN1_ITEM* item, ByteView der) {
    const unsigned char* next = der.data();
    Item<T> value(
        reinterpret_cast<T*>(ASN1_item_d2i(nullptr, &next, static_cast<long>(der.size()), item)),
        {item});
    if (value && next != der.data() + der.size()) value.reset();
    if (!value) ERR_clear_error();
    return value;
}

template <class T>
Bytes EncodeItem(const ASN1_ITEM* item, const T* value) {
    unsigned char* der = nullptr;
    const int size = ASN1_item_i2d(reinterpret_cast<const ASN1_VALUE*>(value), &der, item);
    if (size <= 0) ThrowCrypto(NTE_FAIL);
    Bytes bytes(der, der + size);
    OPENSSL_free(der);
    return bytes;
}

inline ByteView ViewOf(const ASN1_STRING* text) {
    return ViewOf(ASN1_STRING_get0_data(text), static_cast<std::size_t>(ASN1_STRING_length(text)));
}

}  // namespace platform
