// From the chosen certificate to its key.
#include "messages/private_key.h"

#include "front/core/catalogue.h"
#include "selection/providers.h"

namespace kestrel {

bool AcquirePrivateKey(PCCERT_CONTEXT certificate, DWORD flags, PrivateKey& key) {
    HCRYPTPROV provider = 0;
    BOOL callerFree = FALSE;
    if (!CryptAcquireCertificatePrivateKey(certificate, flags, nullptr, &provider, &key.keySpec,
                                           &callerFree)) {
        return false;
    }
    if (!callerFree && !CryptContextAddRef(provider, nullptr, 0)) return false;
    *key.provider.Fill() = provider;
    return true;
}

Reported OpenPrivateKey(PCCERT_CONTEXT certificate, PrivateKey& key) {
    const DWORD flags = PinRequested() ? CRYPT_ACQUIRE_SILENT_FLAG : 0;
    if (!AcquirePrivateKey(certificate, flags, key)) return ReportError(kLastError);
    return SetContainerPin(key.provider.Get(), key.keySpec);
}

Reported BindPrivateKey(PCCERT_CONTEXT certificate) {
    PrivateKey key;
    if (const Reported failure = OpenPrivateKey(certificate, key)) return failure;
    CERT_KEY_CONTEXT context{};
    context.cbSize = sizeof(context);
    context.hCryptProv = key.provider.Get();
    context.dwKeySpec = key.keySpec;
    // The property takes a reference over.
    if (!CryptContextAddRef(context.hCryptProv, nullptr, 0)) return ReportError(kLastError);
    if (!CertSetCertificateContextProperty(certificate, CERT_KEY_CONTEXT_PROP_ID, 0, &context)) {
        ProviderHolder untaken;
        *untaken.Fill() = context.hCryptProv;
        return ReportError(kLastError);
    }
    return 0;
}

}  // namespace kestrel
