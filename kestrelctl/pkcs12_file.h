// PKCS #12 files (RFC 7292), as `openssl pkcs12 -export` writes them.
#pragma once

#include <string>
#include <vector>

#include "platform/base/bytes.h"
#include "platform/providers/crypto.h"

namespace kestrelctl {

struct Pkcs12Content {
    platform::AnyKey key;
    platform::Bytes certificate;          // DER, the key's
    std::vector<platform::Bytes> others;  // DER
};

// Throws Failure: not such a file, a wrong password, no key or no certificate in it, or
// more rounds of key derivation than an honest file asks for.
Pkcs12Content ReadPkcs12(const std::string& file, const platform::Secret& password);

struct Pkcs12Source {
    platform::AnyKey key;
    platform::ByteView certificate;
    std::vector<platform::Bytes> issuers;  // DER
    std::string name;
    // For readers that know nothing better: 3DES and SHA-1, 2,048 rounds. Otherwise
    // AES-256-CBC and HMAC-SHA-256, 100,000 rounds.
    bool legacy = false;
};
platform::Bytes MakePkcs12(const Pkcs12Source& source, const platform::Secret& password);

}  // namespace kestrelctl
