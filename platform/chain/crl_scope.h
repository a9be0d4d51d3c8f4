// Which certificates and reasons a CRL speaks of (RFC 5280 5.2.5 and 6.3.3).
#pragma once

#include <openssl/x509v3.h>

#include "platform/certs/certificate.h"
#include "platform/chain/budget.h"

namespace platform {

// Bits of ReasonFlags (RFC 5280 4.2.1.13), the first octet lowest.
using Reasons = unsigned;
inline constexpr Reasons kAllReasons = 0x807F;

// The reasons for which `crl` tells of `subject`; none when it does not cover it: a list of another
// issuer does only where it is an indirect one and a distribution point of the certificate names
// its issuer. Those for attribute certificates cover nothing, nor does any where `budget` does not
// reach.
Reasons ReasonsCovered(const Crl& crl, const Certificate& subject, Budget& budget);

// Its entries may be about certificates of several issuers.
bool IsIndirect(const Crl& crl);

// Whether one of the names is the directory name `wanted`; null is no names.
bool HoldsName(const GENERAL_NAMES* names, X509_NAME* wanted);

}  // namespace platform
