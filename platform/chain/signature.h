// Who signed what.
#pragma once

#include "platform/certs/certificate.h"

namespace platform {

// True when `issuer`'s key made the signature. A key or signature that cannot be read
// gives false.
bool SignedBy(const Certificate& certificate, const Certificate& issuer);
bool SignedBy(const Crl& crl, const Certificate& issuer);

// Subject and issuer have one name.
bool IsSelfIssued(const Certificate& certificate);

}  // namespace platform
