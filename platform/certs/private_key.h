// From a certificate to its private key.
#pragma once

#include <memory>

#include "platform/certs/certificate.h"

namespace platform {

struct AcquiredKey {
    std::shared_ptr<Provider> provider;
    DWORD keySpec = 0;
    bool fresh = false;  // opened here; otherwise that of the certificate's key context
};

// Throws CRYPT_E_NO_KEY_PROPERTY, NTE_BAD_PUBLIC_KEY when the container holds another key,
// and what opening a container throws.
AcquiredKey AcquireKey(const Certificate& certificate, bool silent);

}  // namespace platform
