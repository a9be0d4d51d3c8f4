// From a certificate to its root.
#include "platform/enroll/issuers.h"

#include <algorithm>

#include "platform/base/error.h"
#include "platform/certs/signature.h"

namespace platform {
namespace {

// Longer chains are nobody's.
constexpr std::size_t kLongestChain = 16;

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
        return false;  // a stranger's certificate that cannot be read issued nothing
    }
}

bool IsSelfSigned(const Certificate& certificate) { return Issued(certificate, certificate); }

Certificates IssuersOf(const CertificatePointer& certificate, const Certificates& answer) {
    Certificates chain;
    CertificatePointer last = certificate;
    while (chain.size() < kLongestChain && !IsSelfSigned(*last)) {
        const auto issuer = std::ranges::find_if(
            answer, [&](const auto& one) { return one != last && Issued(*one, *last); });
        if (issuer == answer.end()) break;
        last = *issuer;
        chain.push_back(last);
    }
    return chain;
}

}  // namespace platform
