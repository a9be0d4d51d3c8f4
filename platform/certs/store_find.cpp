// The exported calls that walk through stores.
#include <openssl/err.h>

#include <functional>

#include "platform/base/error.h"
#include "platform/certs/compare.h"
#include "platform/certs/share.h"
#include "platform/certs/store.h"
#include "platform/providers/crypto.h"

namespace platform {
namespace {

using Test = std::function<bool(const Certificate&)>;

template <class Value>
const Value& Required(const void* value) {
    if (value == nullptr) throw Error(E_INVALIDARG);
    return *static_cast<const Value*>(value);
}

Test TestFor(DWORD type, const void* value) {
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

PCCERT_CONTEXT NextMatch(HCERTSTORE handle, const Certificate* previous, const Test& matches) {
    const auto store = Resolve<Store>(handle);
    std::shared_ptr<Certificate> item = store->NextCertificate(previous);
    while (item && !matches(*item)) item = store->NextCertificate(item.get());
    if (!item) throw Error(CRYPT_E_NOT_FOUND);
    return HandOut(item);
}

// With `issuer`, its lists only.
PCCRL_CONTEXT NextCrlOf(HCERTSTORE handle, const Crl* previous, const Certificate* issuer) {
    const auto store = Resolve<Store>(handle);
    const auto matches = [issuer](const Crl& crl) {
        return issuer == nullptr ||
               Equal(ViewOf(crl.Info().Issuer), ViewOf(issuer->Info().Subject));
    };
    std::shared_ptr<Crl> item = store->NextCrl(previous);
    while (item && !matches(*item)) item = store->NextCrl(item.get());
    if (!item) throw Error(CRYPT_E_NOT_FOUND);
    return HandOut(item);
}

bool SignedBy(const Crl& crl, const Certificate* issuer) {
    if (issuer == nullptr) return false;
    return IsSignedBy(crl.Native(), PublicKeyFromInfo(issuer->Info().SubjectPublicKeyInfo));
}

bool IsCurrent(const CRL_INFO& info) {
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    const bool endless = info.NextUpdate.dwLowDateTime == 0 && info.NextUpdate.dwHighDateTime == 0;
    return CompareFileTime(&info.ThisUpdate, &now) <= 0 &&
           (endless || CompareFileTime(&now, &info.NextUpdate) <= 0);
}

// The checks asked for that the list does not pass: it is found nevertheless, and what
// is left in the caller's flags tells of them.
DWORD FailedChecks(const Crl& crl, const Certificate* issuer, DWORD asked) {
    DWORD passed = 0;
    if ((asked & CERT_STORE_SIGNATURE_FLAG) != 0 && SignedBy(crl, issuer)) {
        passed |= CERT_STORE_SIGNATURE_FLAG;
    }
    if ((asked & CERT_STORE_TIME_VALIDITY_FLAG) != 0 && IsCurrent(crl.Info())) {
        passed |= CERT_STORE_TIME_VALIDITY_FLAG;
    }
    return asked & ~passed;
}

PCCRL_CONTEXT FindCrl(HCERTSTORE store, const Crl* previous, const Certificate* issuer,
                      DWORD* flags) {
    const PCCRL_CONTEXT found = NextCrlOf(store, previous, issuer);
    if (flags == nullptr || *flags == 0) return found;
    try {
        *flags = FailedChecks(*Crl::Of(found), issuer, *flags);
    } catch (...) {
        CertFreeCRLContext(found);
        throw;
    }
    return found;
}

}  // namespace
}  // namespace platform

using namespace platform;

PCCERT_CONTEXT WINAPI CertEnumCertificatesInStore(HCERTSTORE store, PCCERT_CONTEXT previous) {
    return Guarded<PCCERT_CONTEXT>(nullptr, [&] {
        const Consumed<Certificate> last(previous);
        return NextMatch(store, last.Get(), TestFor(CERT_FIND_ANY, nullptr));
    });
}

PCCERT_CONTEXT WINAPI CertFindCertificateInStore(HCERTSTORE store, DWORD, DWORD, DWORD type,
                                                 const void* value, PCCERT_CONTEXT previous) {
    return Guarded<PCCERT_CONTEXT>(nullptr, [&] {
        const Consumed<Certificate> last(previous);
        return NextMatch(store, last.Get(), TestFor(type, value));
    });
}

PCCRL_CONTEXT WINAPI CertEnumCRLsInStore(HCERTSTORE store, PCCRL_CONTEXT previous) {
    return Guarded<PCCRL_CONTEXT>(nullptr, [&] {
        const Consumed<Crl> last(previous);
        return NextCrlOf(store, last.Get(), nullptr);
    });
}

PCCRL_CONTEXT WINAPI CertGetCRLFromStore(HCERTSTORE store, PCCERT_CONTEXT issuer,
                                         PCCRL_CONTEXT previous, DWORD* flags) {
    return Guarded<PCCRL_CONTEXT>(nullptr, [&] {
        const Consumed<Crl> last(previous);
        const auto by = issuer == nullptr ? nullptr : Certificate::Of(issuer);
        return FindCrl(store, last.Get(), by.get(), flags);
    });
}
