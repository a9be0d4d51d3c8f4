// The policy for chains of time-stamp services (RFC 3161 2.3).
#pragma once

#include "platform/base/ground.h"

namespace platform {

struct PolicyFinding {
    DWORD error = 0;    // 0: fit
    LONG element = -1;  // index of the certificate at fault; -1: the chain as a whole
};

// Whether the chain's end certificate may stamp, and the chain holds at `time`. The first rule
// that is broken tells the error:
//   CERT_E_CHAINING           no root was found
//   CERT_E_UNTRUSTEDROOT      the root is not trusted
//   TRUST_E_CERT_SIGNATURE    a signature is wrong
//   CERT_E_EXPIRED            a certificate was not valid at that time
//   CRYPT_E_REVOKED           a certificate is revoked, now or then
//   CERT_E_WRONG_USAGE        the extended usage is not critical, or is other than time stamping
//   CERT_E_PURPOSE            the key usage allows no signing
//   CERT_E_INVALID_POLICY, CERT_E_INVALID_NAME, CERT_E_ROLE, CERT_E_CRITICAL  by the bits of
//                             the chain
// A revocation status that nobody could tell breaks no rule.
PolicyFinding JudgeStampChain(const CERT_CHAIN_CONTEXT& chain, const FILETIME& time);

}  // namespace platform
