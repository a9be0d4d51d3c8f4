// The table of identifiers.
#pragma once

#include "platform/base/ground.h"

namespace platform {

// `group` 0: any. The record lives as long as the process. Throws CRYPT_E_NOT_FOUND, and
// E_INVALIDARG for an unknown kind of key.
PCCRYPT_OID_INFO FindOidInfo(DWORD keyType, const void* key, DWORD group);

}  // namespace platform
