// Whether a server is trusted.
#include "platform/http/trust.h"

#include <openssl/err.h>
#include <openssl/x509_vfy.h>

#include "platform/base/error.h"
#include "platform/http/curl_library.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

// Faults of a chain that a flag takes away. The server's name is compared by libcurl.
constexpr struct {
    int fault;
    DWORD flag;
} kIgnorable[] = {
    {X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT, SECURITY_FLAG_IGNORE_UNKNOWN_CA},
    {X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY, SECURITY_FLAG_IGNORE_UNKNOWN_CA},
    {X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT, SECURITY_FLAG_IGNORE_UNKNOWN_CA},
    {X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN, SECURITY_FLAG_IGNORE_UNKNOWN_CA},
    {X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE, SECURITY_FLAG_IGNORE_UNKNOWN_CA},
    {X509_V_ERR_CERT_UNTRUSTED, SECURITY_FLAG_IGNORE_UNKNOWN_CA},
    {X509_V_ERR_CERT_NOT_YET_VALID, SECURITY_FLAG_IGNORE_CERT_DATE_INVALID},
    {X509_V_ERR_CERT_HAS_EXPIRED, SECURITY_FLAG_IGNORE_CERT_DATE_INVALID},
    {X509_V_ERR_INVALID_PURPOSE, SECURITY_FLAG_IGNORE_CERT_WRONG_USAGE},
};

bool Ignored(int fault, DWORD flags) {
    for (const auto& row : kIgnorable) {
        if (row.fault == fault) return (flags & row.flag) != 0;
    }
    return false;
}

// The chain's own callback has no argument; one chain is judged at a time in a thread.
thread_local DWORD flagsOfChain = 0;

int OnFault(int good, X509_STORE_CTX* chain) {
    if (good == 1) return 1;
    if (!Ignored(X509_STORE_CTX_get_error(chain), flagsOfChain)) return 0;
    // What stays here is taken for the outcome later.
    X509_STORE_CTX_set_error(chain, X509_V_OK);
    return 1;
}

using TrustHolder = std::unique_ptr<X509_STORE, Freer<X509_STORE_free>>;

TrustHolder MakeStore(const std::vector<std::shared_ptr<Certificate>>& roots) {
    TrustHolder store(X509_STORE_new());
    if (!store) throw Error(ERROR_OUTOFMEMORY);
    // A bundle that is not installed is no reason to fail: "Root" may have what is needed.
    X509_STORE_load_file(store.get(), kSystemRoots);
    for (const auto& root : roots) {
        try {
            X509_STORE_add_cert(store.get(), root->Native());
        } catch (const Error&) {
            continue;  // one that OpenSSL cannot read signs nothing that it could check
        }
    }
    // What stands in "Root" is trusted, whoever signed it.
    X509_STORE_set_flags(store.get(), X509_V_FLAG_TRUSTED_FIRST | X509_V_FLAG_PARTIAL_CHAIN);
    ERR_clear_error();
    return store;
}

// Reading the bundle takes longer than all the rest of a connection, so it is kept while
// "Root" says the same. Never destroyed: OpenSSL may have ended before.
X509_STORE* TrustedStore(const std::vector<std::shared_ptr<Certificate>>& roots) {
    struct Kept {
        std::vector<Bytes> roots;
        TrustHolder store;
    };
    static auto* const kept = new Kept;
    std::vector<Bytes> encoded;
    for (const auto& root : roots) encoded.push_back(Copy(root->Der()));
    if (!kept->store || kept->roots != encoded) *kept = {encoded, MakeStore(roots)};
    return kept->store.get();
}

}  // namespace

TlsGuard::TlsGuard(TlsRules rules)
    : rules_(std::move(rules)), roots_(CertificatesOfBothSides("Root")) {}

int TlsGuard::OnVerify(X509_STORE_CTX* chain, void* guard) {
    flagsOfChain = static_cast<const TlsGuard*>(guard)->rules_.ignored;
    X509_STORE_CTX_set_verify_cb(chain, &OnFault);
    return X509_verify_cert(chain);
}

int TlsGuard::OnCertificateWanted(SSL*, void* guard) {
    constexpr int kGoOn = 1;
    constexpr int kStop = -1;
    auto& self = *static_cast<TlsGuard*>(guard);
    if (self.rules_.identity) return kGoOn;
    self.certificateMissed_ = true;
    return self.rules_.certificateRefused ? kGoOn : kStop;
}

void TlsGuard::ApplyIdentity(SSL_CTX* context) const {
    const CurlLibrary& curl = Curl();
    const ClientIdentity& identity = *rules_.identity;
    const auto demand = [](long taken) {
        if (taken == 1) return;
        const char* reason = ERR_reason_error_string(ERR_peek_last_error());
        throw Error(ERROR_WINHTTP_SECURE_FAILURE, reason == nullptr ? "" : reason);
    };
    demand(curl.SSL_CTX_use_certificate(context, identity.certificate->Native()));
    demand(curl.SSL_CTX_use_PrivateKey(context, identity.key.Native()));
    for (const auto& issuer : identity.issuers) {
        demand(curl.SSL_CTX_ctrl(context, SSL_CTRL_CHAIN_CERT, 1, issuer->Native()));
    }
}

void TlsGuard::Apply(SSL_CTX* context) {
    const CurlLibrary& curl = Curl();
    curl.SSL_CTX_set1_cert_store(context, TrustedStore(roots_));
    curl.SSL_CTX_set_cert_verify_callback(context, &OnVerify, this);
    curl.SSL_CTX_set_cert_cb(context, &OnCertificateWanted, this);
    // A server may ask once it knows the path (RFC 8446, 4.6.2), as others renegotiate.
    curl.SSL_CTX_set_post_handshake_auth(context, 1);
    if (rules_.identity) ApplyIdentity(context);
}

}  // namespace platform
