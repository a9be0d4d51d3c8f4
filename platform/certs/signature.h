// Who signed a certificate or CRL, by the table of signatures that messages go by.
#pragma once

#include "platform/base/ground.h"

#include <string>

#include "platform/base/bytes.h"

namespace platform {

enum class SignatureState {
    Good,
    Wrong,       // another key, other bytes, or an algorithm that proves nothing (MD5)
    Unsupported  // nothing can be said: the algorithm is not in the table
};

struct SignatureVerdict {
    SignatureState state = SignatureState::Wrong;
    std::string algorithm;  // the unsupported one, as dotted identifier
};

// Whether `key` made the signature of a certificate or CRL (RFC 5280 4.1.1 and 5.1.1: the
// algorithm beside the signature and the one under it are the same). Throws
// NTE_PROV_DLL_NOT_FOUND when the algorithm needs a package that is not installed.
SignatureVerdict CheckSignature(ByteView der, const CERT_PUBLIC_KEY_INFO& key);

// An RSA key too short for any signature of it to prove anything.
bool IsWeakKey(const CERT_PUBLIC_KEY_INFO& key);

}  // namespace platform
