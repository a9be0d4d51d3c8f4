// The key of a request, in a container.
#pragma once

#include "platform/base/ground.h"

#include <optional>
#include <string>

#include "platform/base/home.h"
#include "platform/certs/key_provider_info.h"
#include "platform/providers/crypto.h"

namespace platform {

// What a control was told of the key.
struct KeyWanted {
    std::string container;  // empty: the fresh name for a new key, the user's own for one there is
    std::string provider;   // empty: the default one of the type
    // None: that of the provider named or of the container; else RSA. 0 is no type.
    std::optional<DWORD> type;
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

// The public key of the key there; no key when it is gone. A password is asked for only when
// nothing else tells. Throws what opening the key throws.
AnyKey PublicKeyAt(const KeyProviderInfo& place, bool silent);
Side SideOf(const KeyProviderInfo& place);

}  // namespace platform
