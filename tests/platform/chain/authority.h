// Certification authorities for the tests of chains: certificates and CRLs made with
// OpenSSL, and homes to put them in.
#pragma once

#include <openssl/x509.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/certs/certificate.h"
#include "platform/stores/store.h"
#include "tests/support/workshop.h"

namespace platform::testing {

inline constexpr long kDay = 86400;
inline constexpr DWORD kCheck = CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT;
inline constexpr DWORD kNone = 0;

using Leaf = std::shared_ptr<Certificate>;

// An extension in the words of OpenSSL's configuration, or as hexadecimal DER when the
// name is a dotted identifier ("critical," in front of either).
struct Extension {
    std::string name;
    std::string value;
};

struct Recipe {
    std::string name;  // common name of the subject
    std::vector<Extension> extensions = {};
    long from = -kDay;  // seconds from now
    long to = 30 * kDay;
    long type = 16;  // provider type of the key
    const char* digest = "SHA256";
    bool pss = false;
    EVP_PKEY* key = nullptr;  // a key that is there already
};

class Identity {
  public:
    // Signed by `issuer`, or by itself.
    explicit Identity(const Recipe& recipe, const Identity* issuer = nullptr);

    [[nodiscard]] const std::shared_ptr<Certificate>& Cert() const { return certificate_; }
    [[nodiscard]] EVP_PKEY* Key() const { return key_.get(); }
    // The same with the last bit of the signature turned over.
    [[nodiscard]] std::shared_ptr<Certificate> Forged() const;

  private:
    std::shared_ptr<EVP_PKEY> key_;
    std::shared_ptr<Certificate> certificate_;
};

const std::vector<Extension>& AuthorityExtensions();
Recipe AuthorityNamed(const std::string& name);
Recipe LeafNamed(const std::string& name);

// With an empty value the extension goes.
void SetExtension(Recipe& recipe, const std::string& name, const std::string& value);

// Authorities with a key each, made once.
const Identity& Root();
const Identity& Middle();  // below Root
Leaf LeafOf(const Identity& issuer, std::vector<Extension> more = {}, long from = -kDay,
            long to = kDay);

struct RevokedEntry {
    const Identity* identity;
    long when = -3600;
    std::vector<Extension> extensions = {};
};

struct CrlRecipe {
    std::vector<RevokedEntry> revoked = {};
    std::vector<Extension> extensions = {};
    long from = -3600;
    long to = kDay;                    // 0: no next update
    const Identity* signer = nullptr;  // another one than the issuer
    long version = 1;                  // as encoded: 1 is version 2; below 0: none is told
    const char* digest = "SHA256";
    bool otherInner = false;  // the algorithm under the signature is not the one beside it
};
std::shared_ptr<Crl> MakeCrl(const Identity& issuer, const CrlRecipe& recipe = {});

class ChainTest : public HomesTest {
  protected:
    ~ChainTest() override;
};

void Put(const char* store, const std::shared_ptr<Certificate>& certificate,
         Side side = Side::User);
void Put(const char* store, const std::shared_ptr<Crl>& crl, Side side = Side::User);

// What CertGetCertificateChain says with these flags, now or `when` seconds from now.
DWORD StatusOf(const std::shared_ptr<Certificate>& leaf, DWORD flags, long when = 0);

// A chain with everything that a caller can pass.
class Call {
  public:
    Call(const Leaf& leaf, HCERTCHAINENGINE engine, HCERTSTORE additional,
         std::vector<std::string> usages, DWORD match, DWORD flags) {
        context_ = Certificate::Share(leaf);
        std::vector<LPSTR> texts;
        for (std::string& usage : usages) texts.push_back(usage.data());
        CERT_CHAIN_PARA para{};
        para.cbSize = sizeof para;
        para.RequestedUsage = {match, {static_cast<DWORD>(texts.size()), texts.data()}};
        if (!CertGetCertificateChain(engine, context_, nullptr, additional, &para, flags, nullptr,
                                     &chain_)) {
            error_ = GetLastError();
        }
    }
    ~Call() {
        CertFreeCertificateChain(chain_);
        CertFreeCertificateContext(context_);
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    [[nodiscard]] PCCERT_CHAIN_CONTEXT Chain() const { return chain_; }
    [[nodiscard]] PCCERT_CONTEXT Context() const { return context_; }
    [[nodiscard]] DWORD Status() const {
        return chain_ == nullptr ? error_ : chain_->TrustStatus.dwErrorStatus;
    }

  private:
    PCCERT_CONTEXT context_ = nullptr;
    PCCERT_CHAIN_CONTEXT chain_ = nullptr;
    DWORD error_ = 0;
};

// Whether OpenSSL's own verifier finds a path without fault, with the stores as they are
// and revocation left out.
bool OpenSslAccepts(const std::shared_ptr<Certificate>& leaf);

}  // namespace platform::testing
