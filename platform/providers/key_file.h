// Private keys as files: PEM of PKCS #8 (RFC 5958, RFC 7468), in clear or under a password
// by PBES2 (RFC 8018) with PBKDF2, HMAC-SHA-256 and AES-256-CBC.
#pragma once

#include <openssl/evp.h>

#include <optional>

#include "platform/base/bytes.h"
#include "platform/providers/crypto.h"

namespace platform {

struct KeyFile {
    bool encrypted = false;
    Secret der;
};

// Empty when the text is no private key.
std::optional<KeyFile> ParseKeyFile(ByteView pem);

// Null for a file that is damaged inside. Throws SCARD_W_WRONG_CHV when the password does
// not open an encrypted one. The engine of a GOST key must be loaded before.
EvpKey OpenKeyFile(const KeyFile& file, const Secret& password);

// An empty password stores the key in clear. Throws NTE_FAIL.
Secret EncodeKeyFile(EVP_PKEY* key, const Secret& password);

}  // namespace platform
