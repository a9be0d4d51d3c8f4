// The key of a request, in a container.
#pragma once

#include "platform/base/ground.h"

#include <string>

#include "platform/base/home.h"
#include "platform/certs/key_provider_info.h"
#include "platform/providers/crypto.h"

namespace platform {

// What a control was told of the key.
struct KeyWanted {
    std::string container;  // empty: the fresh name for a new key, the user's own for one there is
    std::string provider;   // empty: the default one of the type
    DWORD type = 0;         // 0: that of the provider named or of the container; else RSA
    DWORD spec = AT_KEYEXCHANGE;
    DWORD bits = 0;  // 0: the provider's default
    Side side = Side::User;
    bool silent = false;
};

struct EnrollKey {
    AnyKey key;
    KeyProviderInfo place;
    bool freshContainer = false;  // made for this key, which is all that it holds
};

// Throws what opening a container and its key throws.
EnrollKey OpenEnrollKey(const KeyWanted& wanted);
// Asks for the new key's password when there is somebody to ask. Throws NTE_EXISTS for a container
// that has the key, or is of another kind; nothing is overwritten.
EnrollKey CreateEnrollKey(const KeyWanted& wanted, std::string_view freshName);

// Takes a container back that was made for a key of which nothing came.
void TakeBack(const EnrollKey& key) noexcept;

// Whether the container named holds this public key. Throws NTE_BAD_KEYSET when there is none of
// the type, and what opening the key throws.
bool HoldsKey(const KeyWanted& wanted, const AnyKey& publicKey);

}  // namespace platform
