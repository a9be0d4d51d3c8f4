// What both ends of a TLS connection show each other: which servers are trusted, and the
// client's certificate.
#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <vector>

#include "platform/http/client_certificate.h"

namespace platform {

// The authorities of the system, beside those in "Root".
inline constexpr const char* kSystemRoots = "/etc/ssl/certs/ca-certificates.crt";

struct TlsRules {
    DWORD ignored = 0;  // SECURITY_FLAG_IGNORE_*
    std::shared_ptr<const ClientIdentity> identity;
    // The caller said that there is no certificate: a server that asks for one gets none.
    // Otherwise the connection ends there, so that the caller can set one.
    bool certificateRefused = false;

    bool operator==(const TlsRules&) const = default;
};

// One connection's use of the rules. Must outlive the TLS context that it was applied to.
class TlsGuard {
  public:
    // Reads "Root" of both sides. Throws what opening a damaged store throws.
    explicit TlsGuard(TlsRules rules);
    // Throws ERROR_WINHTTP_SECURE_FAILURE with the reason as detail when TLS does not take the
    // client's certificate or its key.
    void Apply(SSL_CTX* context);

    [[nodiscard]] const TlsRules& Rules() const { return rules_; }
    // The server asked for a certificate that was not set.
    [[nodiscard]] bool CertificateMissed() const { return certificateMissed_; }

  private:
    static int OnVerify(X509_STORE_CTX* chain, void* guard);
    static int OnCertificateWanted(SSL* connection, void* guard);
    void ApplyIdentity(SSL_CTX* context) const;

    TlsRules rules_;
    std::vector<std::shared_ptr<Certificate>> roots_;
    bool certificateMissed_ = false;
};

}  // namespace platform
