// Holders for OpenSSL's objects, and the few conversions that several units need.
#pragma once

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <memory>
#include <string>
#include <string_view>

#include "platform/base/bytes.h"
#include "platform/base/error.h"

namespace platform {

template <auto free>
struct Freer {
    template <class T>
    void operator()(T* object) const {
        free(object);
    }
};

// OPENSSL_free is a macro.
inline void FreeMemory(void* memory) { OPENSSL_free(memory); }

using Bio = std::unique_ptr<BIO, Freer<BIO_free>>;
using EvpKeyContext = std::unique_ptr<EVP_PKEY_CTX, Freer<EVP_PKEY_CTX_free>>;
using PrivateKeyInfo = std::unique_ptr<PKCS8_PRIV_KEY_INFO, Freer<PKCS8_PRIV_KEY_INFO_free>>;
using EncryptedKeyInfo = std::unique_ptr<X509_SIG, Freer<X509_SIG_free>>;
using PublicKeyInfo = std::unique_ptr<X509_PUBKEY, Freer<X509_PUBKEY_free>>;
using Asn1Type = std::unique_ptr<ASN1_TYPE, Freer<ASN1_TYPE_free>>;
using Asn1Object = std::unique_ptr<ASN1_OBJECT, Freer<ASN1_OBJECT_free>>;
using PssParameters = std::unique_ptr<RSA_PSS_PARAMS, Freer<RSA_PSS_PARAMS_free>>;
using OaepParameters = std::unique_ptr<RSA_OAEP_PARAMS, Freer<RSA_OAEP_PARAMS_free>>;

// OpenSSL's queue of errors is emptied, so that nothing of it shows in a later call.
[[noreturn]] void ThrowCrypto(LONG code);

// NID_undef for an identifier that OpenSSL does not know.
int NidOf(std::string_view oid);
// Throws CRYPT_E_OID_FORMAT.
Asn1Object ObjectOf(std::string_view oid);
std::string DottedOf(const ASN1_OBJECT* object);

// The algorithm identifier that a key of this kind has in a certificate.
std::string KeyOidOf(const EVP_PKEY* key);

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

}  // namespace platform
