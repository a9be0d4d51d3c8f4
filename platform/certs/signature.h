// Who signed a certificate or CRL, by the table of signatures that messages go by.
#pragma once

#include "platform/base/ground.h"

#include <string>
#include <string_view>

#include "platform/base/bytes.h"
#include "platform/certs/certificate.h"

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
// algorithm beside the signature and the one under it are the same).
SignatureVerdict CheckSignature(ByteView der, const CERT_PUBLIC_KEY_INFO& key);

// The same for what is signed alike but tells its algorithm once: `algorithm` is a whole
// AlgorithmIdentifier, `signature` the contents of a BIT STRING.
SignatureVerdict CheckSignature(ByteView toBeSigned, ByteView algorithm, ByteView signature,
                                const CERT_PUBLIC_KEY_INFO& key);

// The digest under a signature by that algorithm, as dotted identifier; empty when it is not known.
std::string DigestUnder(const CRYPT_ALGORITHM_IDENTIFIER& algorithm);
// The one that RSASSA-PSS makes its mask with; empty for other algorithms, too.
std::string MaskDigestUnder(std::string_view algorithm, ByteView parameters);

// Whether the one certificate may be the issuer of the other: by name and key identifier, and by
// what the issuer's key is for (RFC 5280 4.2.1.1, 4.2.1.3). Throws as Certificate::Native does.
bool IsNamedIssuer(const Certificate& issuer, const Certificate& subject);
// The same and the signature: that it is the issuer.
bool HasIssued(const Certificate& issuer, const Certificate& subject);

// An RSA key too short for any signature of it to prove anything.
bool IsWeakKey(const CERT_PUBLIC_KEY_INFO& key);

}  // namespace platform
