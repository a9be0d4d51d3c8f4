// The certificate with which a client shows to a server who it is.
#pragma once

#include <memory>
#include <vector>

#include "platform/certs/certificate.h"
#include "platform/providers/crypto.h"

namespace platform {

struct ClientIdentity {
    std::shared_ptr<Certificate> certificate;
    std::vector<std::shared_ptr<Certificate>> issuers;  // nearest first, without the root
    AnyKey key;
};

// The user is asked for a password where the key needs one. Throws
// ERROR_WINHTTP_CLIENT_CERT_NO_PRIVATE_KEY when nothing leads to a key,
// NTE_BAD_ALGID for a key of GOST, which TLS has no use for here, and what opening the key throws.
std::shared_ptr<const ClientIdentity> OpenClientIdentity(
    const std::shared_ptr<Certificate>& certificate);

// What stands in a store of both sides, the user's first. A store that is not there is empty.
std::vector<std::shared_ptr<Certificate>> CertificatesOfBothSides(const char* storeName);

}  // namespace platform
