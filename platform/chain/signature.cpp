#include "platform/chain/signature.h"

#include "platform/base/error.h"
#include "platform/chain/pool.h"
#include "platform/providers/crypto.h"

namespace platform {
namespace {

// A key that cannot be read has signed nothing.
template <class Object>
bool Verified(Object* object, const Certificate& issuer) {
    try {
        return IsSignedBy(object, PublicKeyFromInfo(issuer.Info().SubjectPublicKeyInfo));
    } catch (const Error&) {
        return false;
    }
}

}  // namespace

bool SignedBy(const Certificate& certificate, const Certificate& issuer) {
    return Verified(certificate.Native(), issuer);
}

bool SignedBy(const Crl& crl, const Certificate& issuer) { return Verified(crl.Native(), issuer); }

bool IsSelfIssued(const Certificate& certificate) {
    const CERT_INFO& info = certificate.Info();
    return DistinguishedName(info.Issuer).Equals(DistinguishedName(info.Subject));
}

}  // namespace platform
