// Looking for items in stores.
#pragma once

#include "platform/base/ground.h"

#include <functional>
#include <memory>

#include "platform/stores/store.h"

namespace platform {

using CertificateTest = std::function<bool(const Certificate&)>;

// `type` is a CERT_FIND_* value and `value` what it is documented to take, which must live as
// long as the test. Throws E_INVALIDARG, and ERROR_INVALID_PARAMETER for what is no context.
CertificateTest TestFor(DWORD type, const void* value);

// Both throw CRYPT_E_NOT_FOUND at the end. With `issuer`, its lists only.
std::shared_ptr<Certificate> NextMatch(Store& store, const Certificate* previous,
                                       const CertificateTest& matches);
std::shared_ptr<Crl> NextCrlOf(Store& store, const Crl* previous, const Certificate* issuer);

// Of the checks asked for (CERT_STORE_SIGNATURE_FLAG, CERT_STORE_TIME_VALIDITY_FLAG) those that
// the list does not pass.
DWORD FailedChecks(const Crl& crl, const Certificate* issuer, DWORD asked);

}  // namespace platform
