// What the other facilities ask of the providers: algorithms by identifier, keys,
// digests, signatures and key transport. OpenSSL's engine interface and the loading
// of the GOST algorithms stay behind this header.
#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>
#include "platform/base/ground.h"

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/base/bytes.h"
#include "platform/base/error.h"

namespace platform {

struct EvpKeyDeleter {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
using EvpKey = std::unique_ptr<EVP_PKEY, EvpKeyDeleter>;

struct CipherContextDeleter {
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, CipherContextDeleter>;

// An AlgorithmIdentifier: dotted identifier and the DER of its parameters, empty when
// they are absent.
struct Algorithm {
    std::string oid;
    Bytes parameters;
};

// One row of the algorithm table: all that the providers, the OID table and the
// messages know of an algorithm.
struct AlgorithmRow {
    ALG_ID id;             // value in provider listings; see providers/algorithms.h
    DWORD group;           // CRYPT_*_ALG_OID_GROUP_ID
    const char* oid;       // dotted identifier
    const char* name;      // name in provider listings (19 bytes at most) and the OID table
    const char* longName;  // 39 bytes at most
    DWORD bits;            // digest or key length in bits, for keys the default one
    DWORD leastBits;       // shortest and longest key
    DWORD mostBits;
};
std::span<const AlgorithmRow> AlgorithmTable();
const AlgorithmRow* FindAlgorithm(ALG_ID id, DWORD group);  // group 0: any; null when unknown
const AlgorithmRow* FindAlgorithm(std::string_view oid, DWORD group);

// Loads the GOST engine when `oid` names a GOST algorithm and it is not loaded yet.
// Throws NTE_PROV_DLL_NOT_FOUND with the missing package as detail.
void EnsureAlgorithm(std::string_view oid);

// Every digest that a signer may name (SHA-1, SHA-2, GOST), by its own identifier.
// Throws NTE_BAD_ALGID for others.
const EVP_MD* DigestByOid(std::string_view oid);

// A running digest. One Update for each piece of the content.
class Digest {
  public:
    explicit Digest(std::string_view oid);
    void Update(ByteView data);
    // The digest so far; the running digest stays usable.
    [[nodiscard]] Bytes Value() const;
    [[nodiscard]] const std::string& Oid() const { return oid_; }

  private:
    struct Deleter {
        void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
    };
    std::string oid_;
    std::unique_ptr<EVP_MD_CTX, Deleter> context_;
};

// Public key of a SubjectPublicKeyInfo, from its DER or its decoded record. Throws
// NTE_BAD_ALGID when no algorithm fits and CRYPT_E_ASN1_BADTAG when it is malformed.
EvpKey PublicKeyFromDer(ByteView subjectPublicKeyInfo);
EvpKey PublicKeyFromInfo(const CERT_PUBLIC_KEY_INFO& info);

// The private key that a provider handle holds for a key specification. The handle
// keeps the opened key, so that later calls derive nothing. Throws NTE_BAD_KEYSET or
// NTE_NO_KEY, 0x8010006B for a wrong password, NTE_SILENT_CONTEXT when it would have
// to ask and may not.
std::shared_ptr<EVP_PKEY> PrivateKeyOf(HCRYPTPROV provider, DWORD keySpec);

// signatureAlgorithm that SignDigest's value goes with in a SignerInfo: rsaEncryption
// with NULL, ecdsa-with-SHAn without parameters, the GOST key algorithm.
Algorithm SignatureAlgorithmFor(EVP_PKEY* key, std::string_view digestOid);
// Signs a digest value. Throws NTE_FAIL.
Bytes SignDigest(EVP_PKEY* key, std::string_view digestOid, ByteView digest);
// Throws NTE_BAD_SIGNATURE when the signature does not match, NTE_BAD_ALGID when the
// signature algorithm does not go with the key. RSA: PKCS #1 v1.5 and PSS.
void VerifyDigest(EVP_PKEY* key, const Algorithm& signatureAlgorithm, std::string_view digestOid,
                  ByteView digest, ByteView signature);

// keyEncryptionAlgorithm of a KeyTransRecipientInfo for this recipient key.
Algorithm KeyTransportAlgorithmFor(EVP_PKEY* recipient, const CERT_PUBLIC_KEY_INFO& info);
// encryptedKey for the recipient: RSA PKCS #1 v1.5, or GostR3410-KeyTransport
// (RFC 4490, RFC 9189) for GOST keys. `cipherOid` is the content cipher.
Bytes WrapKey(EVP_PKEY* recipient, std::string_view cipherOid, ByteView contentKey);
// The content key, always of `keyLength` bytes. With RSA a wrong key or damaged value
// never shows: it yields a random key of that length (RFC 3218), so that the failure
// looks like bad padding. GOST transports carry a check value of their own, so there a
// failure says nothing new and throws NTE_BAD_DATA; their content ciphers have no padding
// that could fail later. Throws NTE_BAD_ALGID for an algorithm that is unknown or does not
// go with the key.
Secret UnwrapKey(EVP_PKEY* key, const Algorithm& keyEncryption, ByteView encryptedKey,
                 std::size_t keyLength);

// Content ciphers. Every CBC cipher of OpenSSL by identifier, GOST 28147-89 and the
// block ciphers of GOST R 34.12 as the engine has them. Throws NTE_BAD_ALGID.
const EVP_CIPHER* CipherByOid(std::string_view oid);
// A context ready to encrypt with a fresh random key and IV; stores both the
// AlgorithmIdentifier (parameters included) and the key.
CipherContext StartEncryption(std::string_view oid, Algorithm& algorithm, Secret& key);
// A context ready to decrypt. Throws CRYPT_E_ASN1_CORRUPT for bad parameters.
CipherContext StartDecryption(const Algorithm& algorithm, ByteView key);
std::size_t CipherKeyLength(std::string_view oid);
// The same for a received message, whose parameters may set it (RC2, RFC 2268).
std::size_t CipherKeyLength(const Algorithm& algorithm);

}  // namespace platform
