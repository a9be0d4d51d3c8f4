// A revocation list of a certificate's issuer.
#include "front/core/catalogue.h"
#include "front/core/holders.h"
#include "selection/names.h"
#include "selection/search.h"

namespace kestrel {

namespace {

PCCERT_CONTEXT FindBySubject(HCERTSTORE store, const CERT_NAME_BLOB& subject) {
    return CertFindCertificateInStore(store, kMessageEncodingType, 0, CERT_FIND_SUBJECT_NAME,
                                      &subject, nullptr);
}

PCCRL_CONTEXT FirstCrlOf(HCERTSTORE store, PCCERT_CONTEXT issuer) {
    DWORD flags = 0;
    return CertGetCRLFromStore(store, issuer, nullptr, &flags);
}

}  // namespace

PCCRL_CONTEXT FindCrlForCertificate(PCCERT_CONTEXT certificate, bool verbose) {
    if (verbose) PrintMessage(say::kAddingCrl, 1);
    const HCERTSTORE intermediates = CertOpenSystemStoreA(0, "CA");
    if (intermediates == nullptr) return nullptr;
    const HCERTSTORE roots = CertOpenSystemStoreA(0, "ROOT");
    if (roots == nullptr) return nullptr;

    const CERT_NAME_BLOB& name = certificate->pCertInfo->Issuer;
    PCCERT_CONTEXT issuer = FindBySubject(intermediates, name);
    if (issuer == nullptr) issuer = FindBySubject(roots, name);
    if (issuer == nullptr) return nullptr;

    PCCRL_CONTEXT crl = FirstCrlOf(intermediates, issuer);
    if (crl == nullptr) crl = FirstCrlOf(roots, issuer);
    const DWORD error = GetLastError();
    CertFreeCertificateContext(issuer);
    SetLastError(error);
    return crl;
}

PCCRL_CONTEXT FindCrlBesideIssuer(PCCERT_CONTEXT certificate) {
    PrintMessage(say::kAddingCrl, 1);
    StoreHolder intermediates;
    *intermediates.Fill() = CertOpenSystemStoreA(0, "CA");
    if (intermediates.Get() == nullptr) return nullptr;
    const CertificateHolder issuer(CertFindCertificateInStore(
        intermediates.Get(), kMessageEncodingType, 0, CERT_FIND_ISSUER_OF, certificate, nullptr));
    return issuer ? FirstCrlOf(intermediates.Get(), issuer.get()) : nullptr;
}

}  // namespace kestrel
