// A provider with its container and its opened keys.
#include "platform/providers/provider.h"

#include <pwd.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>

#include "platform/providers/password_prompt.h"

namespace platform {
namespace {

constexpr int kTries = 3;
// Numbers end here, as documented for provider types.
constexpr DWORD kLastType = 999;

}  // namespace

Provider::Provider(const ProviderRow& row, Side side, bool silent,
                   std::optional<Container> container)
    : Object(kKind), row_(row), side_(side), silent_(silent), container_(std::move(container)) {}

Container& Provider::OpenContainer() {
    if (!container_) throw Error(NTE_BAD_KEYSET);
    return *container_;
}

Provider::Slot& Provider::SlotOf(DWORD keySpec) {
    if (keySpec != AT_KEYEXCHANGE && keySpec != AT_SIGNATURE) throw Error(NTE_NO_KEY);
    return slots_[keySpec - AT_KEYEXCHANGE];
}

AnyKey Provider::AskAndUnlock(DWORD keySpec, Slot& slot) {
    const Container& container = OpenContainer();
    for (int left = kTries; left > 0; --left) {
        const auto password = AskPassword(container.Name(), left < kTries);
        // No line more behind a wrong one: that it was wrong is what the user has to know.
        if (!password) throw Error(left < kTries ? SCARD_W_WRONG_CHV : SCARD_W_CANCELLED_BY_USER);
        try {
            AnyKey key = container.LoadKey(keySpec, *password);
            slot.password = password;
            return key;
        } catch (const Error& error) {
            if (error.Code() != SCARD_W_WRONG_CHV) throw;
        }
    }
    throw Error(SCARD_W_WRONG_CHV);
}

AnyKey Provider::Unlock(DWORD keySpec, Slot& slot) {
    const Container& container = OpenContainer();
    if (slot.password) return container.LoadKey(keySpec, *slot.password);
    if (!container.NeedsPassword(keySpec)) return container.LoadKey(keySpec, Secret());
    if (silent_) throw Error(NTE_SILENT_CONTEXT);
    return AskAndUnlock(keySpec, slot);
}

AnyKey Provider::Key(DWORD keySpec) {
    OpenContainer();
    Slot& slot = SlotOf(keySpec);
    if (!slot.key) {
        slot.key = Unlock(keySpec, slot);
        slot.password.reset();
    }
    return slot.key;
}

void Provider::NewKey(DWORD keySpec, DWORD bits) {
    Container& container = OpenContainer();
    Slot& slot = SlotOf(keySpec);
    // What takes the place of a protected key is protected, too. An open key's password is gone.
    const bool bare = !slot.password && container.HasKey(keySpec);
    if (bare && container.NeedsPassword(keySpec)) Unlock(keySpec, slot);
    AnyKey key = GenerateKey(row_.type, bits);
    // A certificate of the old key must not pass for one of the new.
    ContainerChange change(container.Type());
    change.RemoveCertificate(keySpec);
    change.SetKey(keySpec, key, slot.password.value_or(Secret()));
    container.Apply(change);
    slot.key = std::move(key);
    slot.password.reset();
}

void Provider::SetPassword(DWORD keySpec, std::optional<Secret> password) {
    Slot& slot = SlotOf(keySpec);
    slot.password = std::move(password);
    slot.key = AnyKey();
}

void Provider::BorrowPassword(DWORD keySpec) {
    const Container& mine = OpenContainer();
    for (const auto& object : LiveObjects(Kind::Provider)) {
        auto& other = static_cast<Provider&>(*object);
        const bool same = other.container_ && other.container_->GetSide() == mine.GetSide() &&
                          other.container_->Name() == mine.Name();
        const auto& password = other.SlotOf(AT_KEYEXCHANGE).password;
        if (same && password) SetPassword(keySpec, password);
    }
}

const AlgorithmRow& Provider::CurrentAlgorithm(bool restart) {
    if (restart) algorithm_ = 0;
    if (restart || algorithms_.empty()) algorithms_ = AlgorithmsInOrder(row_);
    if (algorithm_ >= algorithms_.size()) throw Error(ERROR_NO_MORE_ITEMS);
    return *FindAlgorithm(algorithms_[algorithm_], 0);
}

void Provider::ListContainers(bool restart) {
    if (containers_ && !restart) return;
    containers_ = Container::List(side_, row_.type);
    containerAt_ = 0;
}

const std::string& Provider::CurrentContainer(bool restart) {
    ListContainers(restart);
    if (containerAt_ >= containers_->size()) throw Error(ERROR_NO_MORE_ITEMS);
    return (*containers_)[containerAt_];
}

std::size_t Provider::LongestContainer(bool restart) {
    ListContainers(restart);
    std::size_t longest = 0;
    for (const std::string& name : *containers_) longest = std::max(longest, name.size());
    return longest;
}

AnyKey PrivateKeyOf(HCRYPTPROV provider, DWORD keySpec) {
    return ProviderOf(provider)->Key(keySpec);
}

const ProviderRow& ProviderRowFor(DWORD type, const char* name) {
    if (type == 0 || type > kLastType) throw Error(NTE_BAD_PROV_TYPE);
    const ProviderRow* row = FindProvider(type);
    if (row == nullptr) throw Error(NTE_PROV_TYPE_NOT_DEF);
    if (name != nullptr && strcasecmp(name, row->name) != 0) {
        throw Error(NTE_KEYSET_NOT_DEF, name);
    }
    return *row;
}

std::string ContainerNameOr(const char* given) {
    if (given != nullptr) return given;
    const passwd* entry = getpwuid(geteuid());
    return entry == nullptr ? std::to_string(geteuid()) : entry->pw_name;
}

// What is not there, and what is there for another type, is the same to the caller.
Container OpenFittingContainer(Side side, const std::string& name, DWORD type) {
    try {
        Container container = Container::Open(side, name);
        if (SameFamily(container.Type(), type)) return container;
    } catch (const Error& error) {
        if (error.Code() != static_cast<DWORD>(NTE_BAD_KEYSET)) throw;
    }
    throw Error(NTE_BAD_KEYSET, name + " (provider type " + std::to_string(type) + ")");
}

std::shared_ptr<Provider> OpenProvider(DWORD type, const char* name, Side side, bool silent,
                                       const char* container) {
    const ProviderRow& row = ProviderRowFor(type, name);
    return std::make_shared<Provider>(row, side, silent,
                                      OpenFittingContainer(side, ContainerNameOr(container), type));
}

}  // namespace platform
