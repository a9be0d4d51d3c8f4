// Whether a token's signature and its signer can be relied on.
#pragma once

#include "stamps/stamp.h"

namespace Ferroline::PKI {

// 0, or the failure as a result: what the search for the signer answers, E_FAIL for another
// content type, NTE_BAD_SIGNATURE, CERT_E_CRITICAL for a critical extension.
[[nodiscard]] HRESULT VerifyStampSignature(CStamp& stamp);

// The chain of the stamp's signer, judged at the stamp's time by the policy for time stamps. 0,
// or what the policy finds wrong. Throws CRYPT_E_NOT_FOUND without a signer, and the platform's
// errors.
[[nodiscard]] HRESULT VerifyStampChain(CStamp& stamp);

}  // namespace Ferroline::PKI
