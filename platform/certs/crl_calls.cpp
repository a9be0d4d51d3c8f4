// The exported calls on CRL contexts.
#include "platform/certs/certificate.h"

using namespace platform;

PCCRL_CONTEXT WINAPI CertDuplicateCRLContext(PCCRL_CONTEXT crl) {
    if (crl == nullptr) return nullptr;
    return Guarded<PCCRL_CONTEXT>(nullptr, [&] {
        AddHandleReference(crl, Kind::Crl, ERROR_INVALID_PARAMETER);
        return crl;
    });
}

BOOL WINAPI CertFreeCRLContext(PCCRL_CONTEXT crl) {
    if (crl == nullptr) return TRUE;
    return GuardedBool([&] { ReleaseHandle(crl, Kind::Crl, ERROR_INVALID_PARAMETER); });
}
