// The exported calls on properties of certificates.
#include "platform/certs/properties.h"
#include "platform/certs/share.h"

using namespace platform;

BOOL WINAPI CertGetCertificateContextProperty(PCCERT_CONTEXT certificate, DWORD property,
                                              void* data, DWORD* size) {
    return GuardedOutput(size,
                         [&] { GetProperty(*Certificate::Of(certificate), property, data, size); });
}

BOOL WINAPI CertSetCertificateContextProperty(PCCERT_CONTEXT certificate, DWORD property,
                                              DWORD flags, const void* data) {
    return GuardedBool([&] { SetProperty(*Certificate::Of(certificate), property, flags, data); });
}
