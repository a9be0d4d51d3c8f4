// From a certificate to its root.
#include "platform/certs/ancestors.h"

#include <openssl/x509v3.h>

#include <algorithm>
#include <iterator>
#include <map>

#include "platform/base/error.h"
#include "platform/certs/compare.h"
#include "platform/certs/signature.h"

namespace platform {
namespace {

// Longer chains are nobody's.
constexpr std::size_t kLongestChain = 16;
// Honest bundles need one for each link; there may be any number of one name.
constexpr std::size_t kMostChecks = 256;

bool MayHaveIssued(const Certificate& issuer, const Certificate& subject) {
    try {
        return IsNamedIssuer(issuer, subject);
    } catch (const Error&) {
        return false;  // a stranger's certificate that cannot be read issued nothing
    }
}

// Both name the key; that they do not differ was seen by MayHaveIssued.
bool SameKeyIdentifier(const Certificate& issuer, const Certificate& subject) {
    return X509_get0_subject_key_id(issuer.Native()) != nullptr &&
           X509_get0_authority_key_id(subject.Native()) != nullptr;
}

class Search {
  public:
    explicit Search(const Certificates& pool) {
        for (const auto& one : pool) {
            try {
                bySubject_.emplace(X509_subject_name_hash(one->Native()), one);
            } catch (const Error&) {
                continue;
            }
        }
    }

    Ancestors Climb(const CertificatePointer& certificate) {
        Ancestors ancestors;
        Certificates below;  // a circle ends where it began
        CertificatePointer last = certificate;
        while (ancestors.issuers.size() < kLongestChain && !IsSelfSigned(*last)) {
            Certificates named = NamedBy(*last);
            std::erase_if(named, [&](const auto& one) {
                return std::ranges::find(below, one) != below.end();
            });
            const auto issuer = std::ranges::find_if(
                named, [&](const auto& one) { return one != last && Signed(*one, *last); });
            ancestors.broken = issuer == named.end() && !named.empty() && !undecided_;
            if (issuer == named.end()) break;
            below.push_back(last);
            last = *issuer;
            ancestors.issuers.push_back(last);
        }
        return ancestors;
    }

  private:
    [[nodiscard]] Certificates NamedBy(const Certificate& subject) const {
        Certificates named;
        try {
            const auto [from, to] = bySubject_.equal_range(X509_issuer_name_hash(subject.Native()));
            std::transform(from, to, std::back_inserter(named),
                           [](const auto& entry) { return entry.second; });
        } catch (const Error&) {
            return {};
        }
        std::erase_if(named, [&](const auto& one) { return !MayHaveIssued(*one, subject); });
        std::ranges::stable_partition(
            named, [&](const auto& one) { return SameKeyIdentifier(*one, subject); });
        return named;
    }

    bool Signed(const Certificate& issuer, const Certificate& subject) {
        if (checks_ == kMostChecks) return false;
        ++checks_;
        const SignatureState state =
            CheckSignature(subject.Der(), issuer.Info().SubjectPublicKeyInfo).state;
        undecided_ |= state == SignatureState::Unsupported;
        return state == SignatureState::Good;
    }

    std::multimap<unsigned long, CertificatePointer> bySubject_;
    std::size_t checks_ = 0;
    bool undecided_ = false;  // a signature was of a kind that nobody here knows
};

}  // namespace

AnyKey PublicKeyOf(const Certificate& certificate) {
    try {
        return PublicKeyFromInfo(certificate.Info().SubjectPublicKeyInfo);
    } catch (const Error&) {
        return {};
    }
}

bool Issued(const Certificate& issuer, const Certificate& subject) {
    try {
        return HasIssued(issuer, subject);
    } catch (const Error&) {
        return false;
    }
}

bool IsSelfSigned(const Certificate& certificate) {
    const CERT_INFO& info = certificate.Info();
    return Equal(ViewOf(info.Subject), ViewOf(info.Issuer)) &&
           CheckSignature(certificate.Der(), info.SubjectPublicKeyInfo).state ==
               SignatureState::Good;
}

Ancestors FindAncestors(const CertificatePointer& certificate, const Certificates& pool) {
    return Search(pool).Climb(certificate);
}

Certificates IssuersOf(const CertificatePointer& certificate, const Certificates& pool) {
    return FindAncestors(certificate, pool).issuers;
}

Certificates IssuersByKeyIdentifier(const Certificate& certificate, const Certificates& pool) {
    Certificates found;
    std::ranges::copy_if(pool, std::back_inserter(found), [&](const auto& one) {
        return MayHaveIssued(*one, certificate) && SameKeyIdentifier(*one, certificate);
    });
    return found;
}

}  // namespace platform
