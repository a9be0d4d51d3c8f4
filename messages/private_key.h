// The way from a certificate to its private key.
#pragma once

#include <windows.h>

#include "front/core/holders.h"
#include "front/core/result.h"

namespace kestrel {

struct PrivateKey {
    ProviderHolder provider;
    DWORD keySpec = 0;
};

// Acquires the certificate's key with a reference of its own, so that the holder always
// releases. False with the last error set.
bool AcquirePrivateKey(PCCERT_CONTEXT certificate, DWORD flags, PrivateKey& key);

// Acquires the key, without questions from the provider when a password key was given,
// and applies that password. Takes the password keys. 0 or a reported code.
Reported OpenPrivateKey(PCCERT_CONTEXT certificate, PrivateKey& key);

// Opens the key and leaves it with the certificate, which keeps it open and from then on
// answers AcquirePrivateKey with it. 0 or a reported code.
Reported BindPrivateKey(PCCERT_CONTEXT certificate);

}  // namespace kestrel
