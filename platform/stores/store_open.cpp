// The exported calls that open and close stores.
#include <algorithm>
#include <iterator>
#include <string>

#include "platform/base/error.h"
#include "platform/base/file_name.h"
#include "platform/base/text.h"
#include "platform/certs/compare.h"
#include "platform/stores/bundle_message.h"
#include "platform/stores/store.h"

namespace platform {
namespace {

// What lets a store take what is added to its collection.
constexpr DWORD kAddEnabled = 1;  // CERT_PHYSICAL_STORE_ADD_ENABLE_FLAG

struct OpenRequest {
    DWORD flags;
    const void* parameter;
};

std::string NarrowParameter(const OpenRequest& request, bool wide) {
    if (request.parameter == nullptr) throw Error(E_INVALIDARG);
    return wide ? Narrow(static_cast<LPCWSTR>(request.parameter))
                : std::string(static_cast<LPCSTR>(request.parameter));
}

Side SideOf(DWORD flags) {
    const DWORD location =
        flags & (CERT_SYSTEM_STORE_CURRENT_USER | CERT_SYSTEM_STORE_LOCAL_MACHINE);
    if (location == CERT_SYSTEM_STORE_CURRENT_USER) return Side::User;
    if (location == CERT_SYSTEM_STORE_LOCAL_MACHINE) return Side::Machine;
    throw Error(E_INVALIDARG);
}

std::shared_ptr<Store> OpenSystem(const OpenRequest& request, bool wide) {
    const Side side = SideOf(request.flags);
    const std::string name = NarrowParameter(request, wide);
    // A read-only store cannot be made by opening it.
    const bool present =
        (request.flags & (CERT_STORE_OPEN_EXISTING_FLAG | CERT_STORE_READONLY_FLAG)) != 0;
    return OpenSystemStore(side, name, present ? OpenMode::Existing : OpenMode::OpenOrCreate);
}

std::shared_ptr<Store> OpenFile(const OpenRequest& request, bool wide) {
    return OpenFileStore(SystemFileName(NarrowParameter(request, wide)));
}

std::shared_ptr<Store> OpenMessage(const OpenRequest& request) {
    return StoreOf(BundleOf(const_cast<void*>(request.parameter)));
}

std::shared_ptr<Store> OpenPkcs7(const OpenRequest& request) {
    if (request.parameter == nullptr) throw Error(E_INVALIDARG);
    return StoreOf(ReadBundle(ViewOf(*static_cast<const CRYPT_DATA_BLOB*>(request.parameter))));
}

struct StoreKind {
    LPCSTR provider;
    std::shared_ptr<Store> (*open)(const OpenRequest& request);
};

const StoreKind kKinds[] = {
    {CERT_STORE_PROV_MEMORY, [](const OpenRequest&) { return NewMemoryStore(); }},
    {CERT_STORE_PROV_COLLECTION, [](const OpenRequest&) { return NewCollectionStore(); }},
    {CERT_STORE_PROV_FILENAME_A, [](const OpenRequest& r) { return OpenFile(r, false); }},
    {CERT_STORE_PROV_FILENAME_W, [](const OpenRequest& r) { return OpenFile(r, true); }},
    {CERT_STORE_PROV_SYSTEM_A, [](const OpenRequest& r) { return OpenSystem(r, false); }},
    {CERT_STORE_PROV_SYSTEM_W, [](const OpenRequest& r) { return OpenSystem(r, true); }},
    {CERT_STORE_PROV_MSG, OpenMessage},
    {CERT_STORE_PROV_PKCS7, OpenPkcs7},
};

HCERTSTORE Export(std::shared_ptr<Store> store, DWORD flags) {
    store->readOnly = (flags & CERT_STORE_READONLY_FLAG) != 0;
    return Publish(std::move(store));
}

HCERTSTORE Open(LPCSTR provider, DWORD flags, const void* parameter) {
    const auto* const kind =
        std::find_if(std::begin(kKinds), std::end(kKinds),
                     [provider](const StoreKind& row) { return row.provider == provider; });
    if (kind == std::end(kKinds)) throw Error(ERROR_FILE_NOT_FOUND);
    // Opening what was to be deleted would be worse than a refusal.
    if ((flags & CERT_STORE_DELETE_FLAG) != 0) throw Error(ERROR_NOT_SUPPORTED);
    const OpenRequest request{flags, parameter};
    return Export(kind->open(request), flags);
}

void Close(HCERTSTORE handle, DWORD flags) {
    const std::weak_ptr<Store> store = Resolve<Store>(handle);
    ReleaseHandle(handle, Kind::Store, ERROR_INVALID_HANDLE);
    // Contexts and duplicates that are still out keep the store alive, whatever is asked.
    const bool check = (flags & CERT_CLOSE_STORE_CHECK_FLAG) != 0;
    if (check && !store.expired()) throw Error(CRYPT_E_PENDING_CLOSE);
}

}  // namespace
}  // namespace platform

using namespace platform;

HCERTSTORE WINAPI CertOpenStore(LPCSTR provider, DWORD, HCRYPTPROV_LEGACY, DWORD flags,
                                const void* parameter) {
    return Guarded<HCERTSTORE>(nullptr, [&] { return Open(provider, flags, parameter); });
}

HCERTSTORE WINAPI CertOpenSystemStoreA(HCRYPTPROV_LEGACY, LPCSTR name) {
    return Guarded<HCERTSTORE>(nullptr, [&] {
        return Open(CERT_STORE_PROV_SYSTEM_A, CERT_SYSTEM_STORE_CURRENT_USER, name);
    });
}

HCERTSTORE WINAPI CertDuplicateStore(HCERTSTORE store) {
    if (store == nullptr) return nullptr;
    return Guarded<HCERTSTORE>(nullptr, [&] {
        AddHandleReference(store, Kind::Store, ERROR_INVALID_HANDLE);
        return store;
    });
}

BOOL WINAPI CertCloseStore(HCERTSTORE store, DWORD flags) {
    if (store == nullptr) return TRUE;
    return GuardedBool([&] { Close(store, flags); });
}

BOOL WINAPI CertAddStoreToCollection(HCERTSTORE collection, HCERTSTORE sibling, DWORD flags,
                                     DWORD priority) {
    return GuardedBool([&] {
        AddToCollection(*Resolve<Store>(collection), Resolve<Store>(sibling),
                        (flags & kAddEnabled) != 0, priority);
    });
}
