// Opening stores of every kind by its number.
#pragma once

#include "platform/base/ground.h"

#include <memory>

#include "platform/stores/store.h"

namespace platform {

// As CertOpenStore takes them. Throws ERROR_FILE_NOT_FOUND for an unknown kind, no side or no
// name, and what opening the store throws.
std::shared_ptr<Store> OpenStore(LPCSTR provider, DWORD flags, const void* parameter);
// CERT_STORE_DELETE_FLAG: system stores alone can be deleted.
void DeleteStore(LPCSTR provider, DWORD flags, const void* parameter);

}  // namespace platform
