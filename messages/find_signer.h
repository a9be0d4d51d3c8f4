// Whose signature it is: a signer's issuer and number against certificates.
#pragma once

#include <windows.h>

#include "front/core/result.h"

namespace kestrel {

// Whether the certificate is the one that a signer's issuer and serial number name.
bool IsSigner(const CERT_INFO& signer, PCCERT_CONTEXT certificate);

// The signer's certificate among those that the search criterion found; borrowed, null when
// it is not there.
PCCERT_CONTEXT FindInCriterion(const CERT_INFO& signer);

// The index of the signer whose certificate is the first one selected. The signature must
// verify; those of other signers in front of it are passed over. 0 or a reported code.
Reported FindSelectedSigner(HCRYPTMSG message, DWORD& signer);

}  // namespace kestrel
