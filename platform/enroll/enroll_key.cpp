// Opening and making the key of a request.
#include "platform/enroll/enroll_key.h"

#include <strings.h>

#include "platform/base/error.h"
#include "platform/enroll/questions.h"
#include "platform/providers/algorithms.h"
#include "platform/providers/container_folder.h"
#include "platform/providers/provider.h"

namespace platform {
namespace {

DWORD TypeOfProvider(const std::string& name) {
    for (const ProviderRow& row : ProviderTable()) {
        if (strcasecmp(name.c_str(), row.name) == 0) return row.type;
    }
    throw Error(NTE_KEYSET_NOT_DEF, name);
}

const char* NameOrNull(const std::string& name) { return name.empty() ? nullptr : name.c_str(); }

DWORD TypeForNewKey(const KeyWanted& wanted) {
    if (wanted.type) return ProviderRowFor(*wanted.type, NameOrNull(wanted.provider)).type;
    return wanted.provider.empty() ? kTypeRsa : TypeOfProvider(wanted.provider);
}

DWORD TypeForKnownKey(const KeyWanted& wanted, const std::string& container) {
    const bool told = wanted.type || !wanted.provider.empty();
    return told ? TypeForNewKey(wanted) : Container::Open(wanted.side, container).Type();
}

KeyProviderInfo PlaceOf(const Container& container, const KeyWanted& wanted) {
    KeyProviderInfo place;
    place.container = container.Name();
    place.provider = wanted.provider;
    place.type = container.Type();
    place.flags = wanted.side == Side::Machine ? CRYPT_MACHINE_KEYSET : 0;
    place.keySpec = wanted.spec;
    return place;
}

bool IsThere(const KeyWanted& wanted) {
    try {
        Container::Open(wanted.side, wanted.container);
        return true;
    } catch (const Error& error) {
        if (error.Code() != static_cast<DWORD>(NTE_BAD_KEYSET)) throw;
        return false;
    }
}

// A container of another kind is in the way as much as one with such a key.
void CheckRoom(const KeyWanted& wanted, DWORD type) {
    const Container container = Container::Open(wanted.side, wanted.container);
    if (!SameFamily(container.Type(), type) || container.HasKey(wanted.spec)) {
        throw Error(NTE_EXISTS, wanted.container);
    }
}

Container AddToContainer(const KeyWanted& wanted, DWORD type, const AnyKey& key,
                         const Secret& password) {
    const ContainerLock lock(wanted.side);
    CheckRoom(wanted, type);
    Container container = Container::Open(wanted.side, wanted.container);
    ContainerChange change(container.Type());
    // What is left of a key that is gone must not pass for one of the new.
    change.RemoveCertificate(wanted.spec);
    change.SetKey(wanted.spec, key, password);
    container.Apply(change);
    return container;
}

Container MakeContainer(const KeyWanted& wanted, std::string_view freshName,
                        const ContainerChange& content) {
    if (wanted.container.empty()) {
        return Container::CreateFresh(wanted.side, freshName, content);
    }
    return Container::Create(wanted.side, wanted.container, content);
}

}  // namespace

EnrollKey OpenEnrollKey(const KeyWanted& wanted) {
    const std::string name = ContainerNameOr(NameOrNull(wanted.container));
    const DWORD type = TypeForKnownKey(wanted, name);
    const auto provider =
        OpenProvider(type, NameOrNull(wanted.provider), wanted.side, wanted.silent, name.c_str());
    provider->BorrowPassword(wanted.spec);
    return {provider->Key(wanted.spec), PlaceOf(provider->OpenContainer(), wanted), false};
}

EnrollKey CreateEnrollKey(const KeyWanted& wanted, std::string_view freshName) {
    const DWORD type = TypeForNewKey(wanted);
    const bool there = !wanted.container.empty() && IsThere(wanted);
    if (there) CheckRoom(wanted, type);  // before anybody is asked
    const Secret password = AskNewPassword(wanted.silent);
    const AnyKey key = GenerateKey(type, wanted.bits);
    if (there) return {key, PlaceOf(AddToContainer(wanted, type, key, password), wanted), false};
    ContainerChange content(type);
    content.SetKey(wanted.spec, key, password);
    return {key, PlaceOf(MakeContainer(wanted, freshName, content), wanted), true};
}

void TakeBack(const EnrollKey& key) noexcept {
    if (!key.freshContainer) return;
    try {
        Container::Delete(SideOf(key.place), key.place.container);
    } catch (...) {
        return;  // the failure that led here is what the user has to know
    }
}

AnyKey PublicKeyAt(const KeyProviderInfo& place, bool silent) {
    try {
        const Container container = Container::Open(SideOf(place), place.container);
        if (!container.HasKey(place.keySpec)) return {};
        if (AnyKey known = container.PublicKey(place.keySpec)) return known;
        const auto provider =
            OpenProvider(container.Type(), nullptr, SideOf(place), silent, place.container.c_str());
        provider->BorrowPassword(place.keySpec);
        return provider->Key(place.keySpec);
    } catch (const Error& error) {
        if (error.Code() != static_cast<DWORD>(NTE_BAD_KEYSET)) throw;
        return {};
    }
}

Side SideOf(const KeyProviderInfo& place) {
    return (place.flags & CRYPT_MACHINE_KEYSET) != 0 ? Side::Machine : Side::User;
}

}  // namespace platform
