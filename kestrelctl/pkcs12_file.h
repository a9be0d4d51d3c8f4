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

// Throws Failure: not such a file, a wrong password, no key or no certificate in it.
Pkcs12Content ReadPkcs12(const std::string& file, const platform::Secret& password);

// Writes with AES-256-CBC and a SHA-256 MAC, mode 0600.
void WritePkcs12(const std::string& file, const platform::AnyKey& key,
                 platform::ByteView certificate, const std::string& name,
                 const platform::Secret& password);

}  // namespace kestrelctl
