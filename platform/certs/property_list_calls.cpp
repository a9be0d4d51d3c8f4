// CertEnumCertificateContextProperties.
#include "platform/base/error.h"
#include "platform/certs/certificate.h"

using namespace platform;

DWORD WINAPI CertEnumCertificateContextProperties(PCCERT_CONTEXT certificate, DWORD property) {
    return Guarded<DWORD>(0, [&]() -> DWORD {
        const auto held = Certificate::Of(certificate);
        const auto next = held->properties.upper_bound(property);
        return next == held->properties.end() ? 0 : next->first;
    });
}
