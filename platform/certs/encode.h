// Encoding of single records, for the platform's own units.
#pragma once

#include "platform/base/ground.h"

#include "platform/base/bytes.h"

namespace platform {

// Absent parameters stay absent. Both throw CRYPT_E_OID_FORMAT for a bad identifier and
// CRYPT_E_BAD_ENCODE for a record whose pointers do not fit its counts.
Bytes EncodeAlgorithmRecord(const CRYPT_ALGORITHM_IDENTIFIER& record);
Bytes EncodePublicKey(const CERT_PUBLIC_KEY_INFO& record);

}  // namespace platform
