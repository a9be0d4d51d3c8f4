// Looking for items in stores.
#include "platform/stores/store_find.h"

#include "platform/base/error.h"
#include "platform/base/ticks.h"
#include "platform/certs/compare.h"
#include "platform/certs/share.h"
#include "platform/certs/signature.h"
#include "platform/stores/store.h"

namespace platform {
namespace {

template <class Value>
const Value& Required(const void* value) {
    if (value == nullptr) throw Error(E_INVALIDARG);
    return *static_cast<const Value*>(value);
}

bool SignedBy(const Crl& crl, const Certificate* issuer) {
    return issuer != nullptr &&
           CheckSignature(crl.Der(), issuer->Info().SubjectPublicKeyInfo).state ==
               SignatureState::Good;
}

bool IsCurrent(const CRL_INFO& info) {
    const Ticks now = CurrentTicks();
    const bool endless = TicksOf(info.NextUpdate) == 0;
    return TicksOf(info.ThisUpdate) <= now && (endless || now <= TicksOf(info.NextUpdate));
}

}  // namespace

CertificateTest TestFor(DWORD type, const void* value) {
    switch (type) {
        case CERT_FIND_ANY:
            return [](const Certificate&) { return true; };
        case CERT_FIND_SHA1_HASH:
            return [hash = ViewOf(Required<CRYPT_HASH_BLOB>(value))](const Certificate& c) {
                return Equal(hash, c.Sha1());
            };
        case CERT_FIND_SUBJECT_NAME:
            return [name = ViewOf(Required<CERT_NAME_BLOB>(value))](const Certificate& c) {
                return Equal(name, ViewOf(c.Info().Subject));
            };
        case CERT_FIND_ISSUER_NAME:
            return [name = ViewOf(Required<CERT_NAME_BLOB>(value))](const Certificate& c) {
                return Equal(name, ViewOf(c.Info().Issuer));
            };
        case CERT_FIND_PUBLIC_KEY:
            return [&key = Required<CERT_PUBLIC_KEY_INFO>(value)](const Certificate& c) {
                return SamePublicKey(key, c.Info().SubjectPublicKeyInfo);
            };
        case CERT_FIND_SUBJECT_CERT:
            return [&wanted = Required<CERT_INFO>(value)](const Certificate& c) {
                return SameCertificate(wanted, c.Info());
            };
        case CERT_FIND_ISSUER_OF:
            return [subject = Certificate::Of(static_cast<PCCERT_CONTEXT>(value))](
                       const Certificate& c) { return MayHaveIssued(c.Info(), subject->Info()); };
        case CERT_FIND_EXISTING:
            return [wanted = Certificate::Of(static_cast<PCCERT_CONTEXT>(value))](
                       const Certificate& c) { return Equal(wanted->Der(), c.Der()); };
        case CERT_FIND_CERT_ID:
            return [&id = Required<CERT_ID>(value)](const Certificate& c) {
                return Identifies(id, c.Info(), c.Sha1());
            };
        default:
            throw Error(E_INVALIDARG);
    }
}

std::shared_ptr<Certificate> NextMatch(Store& store, const Certificate* previous,
                                       const CertificateTest& matches) {
    std::shared_ptr<Certificate> item = store.NextCertificate(previous);
    while (item && !matches(*item)) item = store.NextCertificate(item.get());
    if (!item) throw Error(CRYPT_E_NOT_FOUND);
    return item;
}

std::shared_ptr<Crl> NextCrlOf(Store& store, const Crl* previous, const Certificate* issuer) {
    const auto matches = [issuer](const Crl& crl) {
        return issuer == nullptr ||
               Equal(ViewOf(crl.Head().Issuer), ViewOf(issuer->Info().Subject));
    };
    std::shared_ptr<Crl> item = store.NextCrl(previous);
    while (item && !matches(*item)) item = store.NextCrl(item.get());
    if (!item) throw Error(CRYPT_E_NOT_FOUND);
    return item;
}

DWORD FailedChecks(const Crl& crl, const Certificate* issuer, DWORD asked) {
    DWORD passed = 0;
    if ((asked & CERT_STORE_SIGNATURE_FLAG) != 0 && SignedBy(crl, issuer)) {
        passed |= CERT_STORE_SIGNATURE_FLAG;
    }
    if ((asked & CERT_STORE_TIME_VALIDITY_FLAG) != 0 && IsCurrent(crl.Head())) {
        passed |= CERT_STORE_TIME_VALIDITY_FLAG;
    }
    return asked & ~passed;
}

}  // namespace platform
