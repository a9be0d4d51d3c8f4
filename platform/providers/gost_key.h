// Keys of GOST R 34.10 as certificates, messages and key files have them: RFC 4491 and RFC 9215
// for public keys, RFC 4357 and RFC 9548 for private ones.
#pragma once

#include <openssl/x509.h>

#include <memory>
#include <string>

#include "platform/base/bytes.h"
#include "platform/gost/curve.h"
#include "platform/providers/openssl.h"

namespace platform {

// A SubjectPublicKeyInfo. X509_PUBKEY would look for the key's algorithm in every module of
// OpenSSL first.
struct GostPublicInfo {
    X509_ALGOR* algorithm;
    ASN1_BIT_STRING* key;
};
DECLARE_ASN1_ITEM(GostPublicInfo)
using GostPublicInfoHolder = Item<GostPublicInfo>;

struct GostKey {
    std::string oid;   // of the key algorithm
    Bytes parameters;  // DER, as they stand in the AlgorithmIdentifier
    const gost::Curve* curve = nullptr;
    Bytes publicKey;    // x and y, lowest octets first
    Secret privateKey;  // lowest octet first; empty for a public key
};
using SharedGostKey = std::shared_ptr<const GostKey>;

// Null when the DER is no SubjectPublicKeyInfo of a GOST algorithm. Throws NTE_BAD_ALGID for an
// unknown parameter set, CRYPT_E_ASN1_BADTAG for a key that does not fit its set.
SharedGostKey ReadGostPublicKey(ByteView der);
SharedGostKey ReadGostPublicKey(const GostPublicInfo& info);
GostPublicInfoHolder GostPublicInfoOf(const GostKey& key);
Bytes EncodeGostPublicKey(const GostKey& key);

// Null when the algorithm is none of GOST's or the key is damaged. Understood are the bare
// number, an OCTET STRING or INTEGER of it, and masked forms.
SharedGostKey ReadGostPrivateKey(const PKCS8_PRIV_KEY_INFO* info);
// The bare number, lowest octet first (RFC 9548, 4). Throws NTE_NO_MEMORY.
PrivateKeyInfo EncodeGostPrivateKey(const GostKey& key);

// A fresh pair with the parameter set that certificates commonly use.
SharedGostKey NewGostKey(std::string_view oid);

}  // namespace platform
