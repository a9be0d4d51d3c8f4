#include "platform/chain/signature.h"

#include <openssl/err.h>
#include <openssl/x509.h>

#include "platform/base/error.h"
#include "platform/chain/pool.h"
#include "platform/providers/crypto.h"

namespace platform {
namespace {

template <class Verify>
bool Verified(const char* signatureOid, const Certificate& issuer, Verify verify) {
    try {
        EnsureAlgorithm(signatureOid);
        const EvpKey key = PublicKeyFromInfo(issuer.Info().SubjectPublicKeyInfo);
        const bool good = verify(key.get()) == 1;
        ERR_clear_error();
        return good;
    } catch (const Error& error) {
        if (error.Code() == static_cast<DWORD>(NTE_PROV_DLL_NOT_FOUND)) throw;
        return false;
    }
}

}  // namespace

bool SignedBy(const Certificate& certificate, const Certificate& issuer) {
    return Verified(certificate.Info().SignatureAlgorithm.pszObjId, issuer,
                    [&](EVP_PKEY* key) { return X509_verify(certificate.Native(), key); });
}

bool SignedBy(const Crl& crl, const Certificate& issuer) {
    return Verified(crl.Info().SignatureAlgorithm.pszObjId, issuer,
                    [&](EVP_PKEY* key) { return X509_CRL_verify(crl.Native(), key); });
}

bool IsSelfIssued(const Certificate& certificate) {
    const CERT_INFO& info = certificate.Info();
    return DistinguishedName(info.Issuer).Equals(DistinguishedName(info.Subject));
}

}  // namespace platform
