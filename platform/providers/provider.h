// The object behind HCRYPTPROV: a provider, and unless it was acquired for verification
// only, a container with its opened keys and passwords.
#pragma once

#include "platform/base/ground.h"

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/handle.h"
#include "platform/providers/algorithms.h"
#include "platform/providers/container.h"
#include "platform/providers/crypto.h"

namespace platform {

class Provider : public Object {
  public:
    static constexpr Kind kKind = Kind::Provider;

    Provider(const ProviderRow& row, Side side, bool silent, std::optional<Container> container);

    [[nodiscard]] const ProviderRow& Row() const { return row_; }
    // Throws NTE_BAD_KEYSET for a provider that was acquired for verification only.
    Container& OpenContainer();
    [[nodiscard]] bool HasKey(DWORD keySpec) const {
        return container_ && container_->HasKey(keySpec);
    }

    // See PrivateKeyOf in crypto.h. The key stays open with this object; its password goes.
    AnyKey Key(DWORD keySpec);
    // Replaces the key and forgets its certificate. The password set for this key
    // protects it, or that of the key which it replaces; with neither it is left in clear.
    // Throws as Key for a password that nobody tells.
    void NewKey(DWORD keySpec, DWORD bits);
    // No value: the user is asked. A key that is open is closed.
    void SetPassword(DWORD keySpec, std::optional<Secret> password);

    // Takes over the password that another handle of this process was given for the exchange
    // key of the same container and has not used yet, as a provider remembers it for both.
    // Without one nothing changes.
    void BorrowPassword(DWORD keySpec);

    // The walks of CryptGetProvParam. Both throw ERROR_NO_MORE_ITEMS at the end, and stay
    // where they are until Advance.
    const AlgorithmRow& CurrentAlgorithm(bool restart);
    void AdvanceAlgorithm() { ++algorithm_; }
    const std::string& CurrentContainer(bool restart);
    void AdvanceContainer() { ++containerAt_; }
    // Length of the longest container name.
    std::size_t LongestContainer(bool restart);

  private:
    struct Slot {
        std::optional<Secret> password;  // until the key is open
        AnyKey key;
    };
    Slot& SlotOf(DWORD keySpec);
    AnyKey Unlock(DWORD keySpec, Slot& slot);
    AnyKey AskAndUnlock(DWORD keySpec, Slot& slot);
    void ListContainers(bool restart);

    const ProviderRow& row_;
    Side side_;
    bool silent_;
    std::optional<Container> container_;
    std::array<Slot, 2> slots_;
    std::vector<ALG_ID> algorithms_;  // empty until the first walk
    std::size_t algorithm_ = 0;
    std::optional<std::vector<std::string>> containers_;
    std::size_t containerAt_ = 0;
};

// The one behind a handle. Throws ERROR_INVALID_PARAMETER.
inline std::shared_ptr<Provider> ProviderOf(HCRYPTPROV handle) {
    return Resolve<Provider>(handle, ERROR_INVALID_PARAMETER);
}
// The row of a provider type, which `name` must be the name of unless it is null. Throws
// NTE_BAD_PROV_TYPE, NTE_PROV_TYPE_NOT_DEF, NTE_KEYSET_NOT_DEF.
const ProviderRow& ProviderRowFor(DWORD type, const char* name);
// The container of a caller who names none has his own name.
std::string ContainerNameOr(const char* given);
// A container that exists and serves the type. Throws NTE_BAD_KEYSET.
Container OpenFittingContainer(Side side, const std::string& name, DWORD type);
// The three together, as CryptAcquireContextA does without flags.
std::shared_ptr<Provider> OpenProvider(DWORD type, const char* name, Side side, bool silent,
                                       const char* container);

}  // namespace platform
