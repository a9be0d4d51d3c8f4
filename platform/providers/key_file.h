// Private keys as files: PEM of PKCS #8 (RFC 5958, RFC 7468), in clear or under a password
// by PBES2 (RFC 8018) with PBKDF2, HMAC-SHA-256 and AES-256-CBC.
#pragma once

#include <openssl/x509.h>

#include <optional>

#include "platform/base/bytes.h"
#include "platform/providers/crypto.h"
#include "platform/providers/openssl.h"

namespace platform {

struct KeyFile {
    bool encrypted = false;
    Secret der;
};

// Empty when the text is no private key.
std::optional<KeyFile> ParseKeyFile(ByteView pem);

// The key of a decoded PrivateKeyInfo; none when it is damaged or of an unknown algorithm.
AnyKey KeyFromInfo(const PKCS8_PRIV_KEY_INFO* info);

// Throws NTE_FAIL.
PrivateKeyInfo InfoFromKey(const AnyKey& key);

// No key for a file that is damaged inside or encrypted with an unknown algorithm. Throws
// SCARD_W_WRONG_CHV when the password does not open an encrypted one.
AnyKey OpenKeyFile(const KeyFile& file, const Secret& password);

// An empty password stores the key in clear. Throws NTE_FAIL.
Secret EncodeKeyFile(const AnyKey& key, const Secret& password);

}  // namespace platform
