// Which certificates and reasons a CRL speaks of (RFC 5280 5.2.5 and 6.3.3).
#pragma once

#include <openssl/x509v3.h>

#include "platform/certs/certificate.h"

namespace platform {

// Bits of ReasonFlags (RFC 5280 4.2.1.13), the first octet lowest.
using Reasons = unsigned;
inline constexpr Reasons kAllReasons = 0x807F;

// The reasons for which `crl` tells of `subject`; none when it does not cover it. Indirect
// CRLs and those for attribute certificates cover nothing.
Reasons ReasonsCovered(const Crl& crl, const Certificate& subject);

}  // namespace platform
