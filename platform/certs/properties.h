// Properties of certificates, as the exported calls read and set them.
#pragma once

#include "platform/base/ground.h"

#include "platform/certs/certificate.h"

namespace platform {

// Throws CRYPT_E_NOT_FOUND, and ERROR_MORE_DATA with the need stored.
void GetProperty(const Certificate& certificate, DWORD property, void* data, DWORD* size);
// A null `data` removes the property. Throws E_INVALIDARG for one that follows from others,
// and what the store answers in which the certificate stands.
void SetProperty(Certificate& certificate, DWORD property, DWORD flags, const void* data);

}  // namespace platform
