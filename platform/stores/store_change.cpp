// The exported calls that add to stores and delete from them.
#include "platform/base/error.h"
#include "platform/certs/share.h"
#include "platform/stores/store.h"

namespace platform {
namespace {

void AddCertificate(HCERTSTORE handle, const Certificate& certificate, DWORD disposition,
                    PCCERT_CONTEXT* added) {
    const std::shared_ptr<Certificate> stored =
        Resolve<Store>(handle)->Add(certificate, disposition);
    if (added != nullptr) *added = HandOut(stored);
}

}  // namespace
}  // namespace platform

using namespace platform;

BOOL WINAPI CertAddCertificateContextToStore(HCERTSTORE store, PCCERT_CONTEXT certificate,
                                             DWORD disposition, PCCERT_CONTEXT* added) {
    return GuardedBool(
        [&] { AddCertificate(store, *Certificate::Of(certificate), disposition, added); });
}

BOOL WINAPI CertAddEncodedCertificateToStore(HCERTSTORE store, DWORD encoding, const BYTE* data,
                                             DWORD size, DWORD disposition, PCCERT_CONTEXT* added) {
    return GuardedBool([&] {
        RequireEncoded(encoding, data);
        AddCertificate(store, *Certificate::Parse({data, size}), disposition, added);
    });
}

BOOL WINAPI CertAddCRLContextToStore(HCERTSTORE store, PCCRL_CONTEXT crl, DWORD disposition,
                                     PCCRL_CONTEXT* added) {
    return GuardedBool([&] {
        const std::shared_ptr<Crl> stored = Resolve<Store>(store)->Add(*Crl::Of(crl), disposition);
        if (added != nullptr) *added = HandOut(stored);
    });
}

BOOL WINAPI CertDeleteCertificateFromStore(PCCERT_CONTEXT certificate) {
    return GuardedBool([&] {
        if (certificate == nullptr) throw Error(ERROR_INVALID_PARAMETER);
        const Consumed<Certificate> given(certificate);
        const Certificate& item = *given.Get();
        if (const auto store = StoreHolding(item)) store->Remove(item);
    });
}
