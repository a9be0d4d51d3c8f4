// What the other facilities ask of the providers: algorithms by identifier, keys,
// digests, signatures and key transport. Which of them are OpenSSL's and which, GOST's, are
// our own stays behind this header.
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
#include "platform/base/freer.h"

namespace platform {

using EvpKey = std::unique_ptr<EVP_PKEY, Freer<EVP_PKEY_free>>;
using NativeCertificate = std::unique_ptr<X509, Freer<X509_free>>;

struct GostKey;

// A key pair or a public key, of OpenSSL or of GOST. Copies share it.
class AnyKey {
  public:
    AnyKey() = default;  // no key
    explicit AnyKey(EvpKey key) : native_(std::move(key)) {}
    explicit AnyKey(std::shared_ptr<const GostKey> key) : gost_(std::move(key)) {}

    explicit operator bool() const { return native_ || gost_; }
    // One of them is null.
    [[nodiscard]] EVP_PKEY* Native() const { return native_.get(); }
    [[nodiscard]] const GostKey* Gost() const { return gost_.get(); }

    // The algorithm identifier that a key of this kind has in a certificate.
    [[nodiscard]] std::string Oid() const;
    [[nodiscard]] DWORD Bits() const;
    // Of the longest signature that it makes.
    [[nodiscard]] std::size_t SignatureSize() const;
    // Whether the public keys are the same.
    [[nodiscard]] bool Matches(const AnyKey& other) const;
    // To find a key among many: the same for keys that match, another for nearly all others.
    [[nodiscard]] Bytes Mark() const;

  private:
    std::shared_ptr<EVP_PKEY> native_;
    std::shared_ptr<const GostKey> gost_;
};

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

// Every digest that a signer may name (SHA-1, SHA-2, GOST), by its own identifier: its size in
// octets. Throws NTE_BAD_ALGID for others.
std::size_t DigestSize(std::string_view oid);

// A running digest. One Update for each piece of the content.
class Digest {
  public:
    explicit Digest(std::string_view oid);
    void Update(ByteView data);
    // The digest so far; the running digest stays usable.
    [[nodiscard]] Bytes Value() const;
    [[nodiscard]] const std::string& Oid() const { return oid_; }

    // What computes it; see digests.cpp.
    class Running {
      public:
        virtual ~Running() = default;
        virtual void Update(ByteView data) = 0;
        [[nodiscard]] virtual Bytes Value() const = 0;
    };

  private:
    std::string oid_;
    std::unique_ptr<Running> running_;
};

// The digest of what is there whole.
Bytes DigestOf(std::string_view oid, ByteView data);

// Public key of a SubjectPublicKeyInfo, from its DER or its decoded record. Throws
// NTE_BAD_ALGID when no algorithm fits and CRYPT_E_ASN1_BADTAG when it is malformed.
AnyKey PublicKeyFromDer(ByteView subjectPublicKeyInfo);
AnyKey PublicKeyFromInfo(const CERT_PUBLIC_KEY_INFO& info);
Bytes PublicKeyToDer(const AnyKey& key);

// The private key that a provider handle holds for a key specification. The handle
// keeps the opened key, so that later calls derive nothing. Throws NTE_BAD_KEYSET or
// NTE_NO_KEY, 0x8010006B for a wrong password, NTE_SILENT_CONTEXT when it would have
// to ask and may not.
AnyKey PrivateKeyOf(HCRYPTPROV provider, DWORD keySpec);

// signatureAlgorithm that SignDigest's value goes with in a SignerInfo: rsaEncryption
// with NULL, RSASSA-PSS for keys of that alone, ecdsa-with-SHAn without parameters, the GOST key
// algorithm.
Algorithm SignatureAlgorithmFor(const AnyKey& key, std::string_view digestOid);
// Signs a digest value. Throws NTE_FAIL.
Bytes SignDigest(const AnyKey& key, std::string_view digestOid, ByteView digest);
// Throws NTE_BAD_SIGNATURE when the signature does not match, NTE_BAD_ALGID when the
// signature algorithm does not go with the key. RSA: PKCS #1 v1.5 and PSS.
void VerifyDigest(const AnyKey& key, const Algorithm& signatureAlgorithm,
                  std::string_view digestOid, ByteView digest, ByteView signature);

// keyEncryptionAlgorithm of a KeyTransRecipientInfo for this recipient key and content cipher.
Algorithm KeyTransportAlgorithmFor(const AnyKey& recipient, std::string_view cipherOid);
// encryptedKey for the recipient: RSA PKCS #1 v1.5, or GostR3410-KeyTransport
// (RFC 4490, RFC 9189) for GOST keys. `cipherOid` is the content cipher.
Bytes WrapKey(const AnyKey& recipient, std::string_view cipherOid, ByteView contentKey);
// The content key, always of `keyLength` bytes. With RSA a wrong key or damaged value
// never shows: it yields a random key of that length (RFC 3218), so that the failure
// looks like bad padding. GOST transports carry a check value of their own, so there a
// failure says nothing new and throws NTE_BAD_DATA; their content ciphers have no padding
// that could fail later. Throws NTE_BAD_ALGID for an algorithm that is unknown or does not
// go with the key.
Secret UnwrapKey(const AnyKey& key, const Algorithm& keyEncryption, ByteView encryptedKey,
                 std::size_t keyLength);

// What a KeyAgreeRecipientInfo says beside its encrypted keys.
struct KeyAgreement {
    Bytes originatorKey;  // SubjectPublicKeyInfo; empty when the sender is named otherwise
    Bytes ukm;
    Algorithm keyEncryption;
};
// The content key, of `keyLength` bytes, that stands under an agreed one: GOST keys alone.
// Throws NTE_BAD_ALGID for an algorithm that does not go with the key, NTE_BAD_DATA for a
// value that does not unwrap.
Secret UnwrapAgreedKey(const AnyKey& key, const KeyAgreement& agreement, ByteView encryptedKey,
                       std::size_t keyLength);

// A content cipher at work.
class Cipher {
  public:
    // What a call may write beyond what it takes.
    static constexpr std::size_t kSlack = EVP_MAX_BLOCK_LENGTH;

    virtual ~Cipher() = default;
    // Both are false when the text cannot be what this cipher made; `written` tells how much
    // of `out` was filled.
    virtual bool Update(ByteView in, std::uint8_t* out, std::size_t& written) = 0;
    virtual bool Finish(std::uint8_t* out, std::size_t& written) = 0;
    // The authentication code that goes beside the text: its length, 0 for ciphers without
    // one, and after Finish its value.
    [[nodiscard]] virtual std::size_t CodeSize() const { return 0; }
    virtual Bytes Code() { return {}; }
};
using CipherContext = std::unique_ptr<Cipher>;

// Content ciphers: every CBC cipher of OpenSSL by identifier, GOST 28147-89 and the block
// ciphers of GOST R 34.12. All throw NTE_BAD_ALGID for others.

// Ready to encrypt with a fresh random key and IV; stores both the AlgorithmIdentifier
// (parameters included) and the key.
CipherContext StartEncryption(std::string_view oid, Algorithm& algorithm, Secret& key);
// Ready to decrypt. Throws CRYPT_E_ASN1_CORRUPT for bad parameters, NTE_BAD_LEN for a key of
// another length.
CipherContext StartDecryption(const Algorithm& algorithm, ByteView key);
std::size_t CipherKeyLength(std::string_view oid);
// The same for a received message, whose parameters may set it (RC2, RFC 2268).
std::size_t CipherKeyLength(const Algorithm& algorithm);

}  // namespace platform
