// PKCS #12 files (RFC 7292) with keys and algorithms that OpenSSL has none for: the GOST forms
// of RFC 9548, beside what it has.
#pragma once

#include <openssl/pkcs12.h>

#include <string>
#include <vector>

#include "platform/base/bytes.h"
#include "platform/providers/crypto.h"

namespace platform {

struct Pkcs12Bags {
    AnyKey key;                       // the first
    std::vector<Bytes> certificates;  // DER
};

// True when the file has no authentication code, or the password makes it fit.
bool CheckPkcs12Mac(PKCS12* file, const Secret& password);

// False when the password does not open the file, or there is no key in it that can be read.
bool ReadPkcs12Bags(PKCS12* file, const Secret& password, Pkcs12Bags& bags);

// A key and its certificate under AES-256-CBC and a SHA-256 code. Throws NTE_FAIL.
Bytes EncodePkcs12(const AnyKey& key, ByteView certificate, const std::string& name,
                   const Secret& password);

// The plain text of what PBES2 (RFC 8018, A.4) encrypted under a password, with the digests
// and ciphers of GOST (RFC 9337, 7). Empty when the algorithm is another or has bad parameters.
Secret DecryptGostPbes2(const X509_ALGOR* algorithm, ByteView encrypted, const Secret& password);

}  // namespace platform
