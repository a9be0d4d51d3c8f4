// Opening stores of every kind by its number.
#include "platform/stores/store_open.h"

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

struct OpenRequest {
    DWORD flags;
    const void* parameter;
};

std::string NarrowParameter(const OpenRequest& request, bool wide) {
    if (request.parameter == nullptr) throw Error(ERROR_FILE_NOT_FOUND);
    return wide ? Narrow(static_cast<LPCWSTR>(request.parameter))
                : std::string(static_cast<LPCSTR>(request.parameter));
}

Side SideOf(DWORD flags) {
    const DWORD location =
        flags & (CERT_SYSTEM_STORE_CURRENT_USER | CERT_SYSTEM_STORE_LOCAL_MACHINE);
    if (location == CERT_SYSTEM_STORE_CURRENT_USER) return Side::User;
    if (location == CERT_SYSTEM_STORE_LOCAL_MACHINE) return Side::Machine;
    throw Error(ERROR_FILE_NOT_FOUND);
}

OpenMode ModeOf(DWORD flags) {
    if ((flags & CERT_STORE_CREATE_NEW_FLAG) != 0) return OpenMode::CreateNew;
    // A read-only store cannot be made by opening it.
    const bool present = (flags & (CERT_STORE_OPEN_EXISTING_FLAG | CERT_STORE_READONLY_FLAG)) != 0;
    return present ? OpenMode::Existing : OpenMode::OpenOrCreate;
}

std::shared_ptr<Store> OpenSystem(const OpenRequest& request, bool wide) {
    const Side side = SideOf(request.flags);
    const std::string name = NarrowParameter(request, wide);
    return OpenSystemStore(side, name, ModeOf(request.flags));
}

std::shared_ptr<Store> OpenFile(const OpenRequest& request, bool wide) {
    return OpenFileStore(SystemFileName(NarrowParameter(request, wide)));
}

std::shared_ptr<Store> OpenMessage(const OpenRequest& request) {
    return StoreOf(BundleOf(*Resolve<Message>(request.parameter)));
}

std::shared_ptr<Store> OpenPkcs7(const OpenRequest& request) {
    if (request.parameter == nullptr) throw Error(E_INVALIDARG);
    return StoreOf(ReadBundle(ViewOf(*static_cast<const CRYPT_DATA_BLOB*>(request.parameter))));
}

struct StoreKind {
    LPCSTR provider;
    std::shared_ptr<Store> (*open)(const OpenRequest& request);
    bool system = false;
};

const StoreKind kKinds[] = {
    {CERT_STORE_PROV_MEMORY, [](const OpenRequest&) { return NewMemoryStore(); }},
    {CERT_STORE_PROV_COLLECTION, [](const OpenRequest&) { return NewCollectionStore(); }},
    {CERT_STORE_PROV_FILENAME_A, [](const OpenRequest& r) { return OpenFile(r, false); }},
    {CERT_STORE_PROV_FILENAME_W, [](const OpenRequest& r) { return OpenFile(r, true); }},
    {CERT_STORE_PROV_SYSTEM_A, [](const OpenRequest& r) { return OpenSystem(r, false); }, true},
    {CERT_STORE_PROV_SYSTEM_W, [](const OpenRequest& r) { return OpenSystem(r, true); }, true},
    {CERT_STORE_PROV_MSG, OpenMessage},
    {CERT_STORE_PROV_PKCS7, OpenPkcs7},
};

const StoreKind& KindOf(LPCSTR provider) {
    const auto* const kind =
        std::find_if(std::begin(kKinds), std::end(kKinds),
                     [provider](const StoreKind& row) { return row.provider == provider; });
    if (kind == std::end(kKinds)) throw Error(ERROR_FILE_NOT_FOUND);
    return *kind;
}

}  // namespace

std::shared_ptr<Store> OpenStore(LPCSTR provider, DWORD flags, const void* parameter) {
    const StoreKind& kind = KindOf(provider);
    std::shared_ptr<Store> store = kind.open({flags, parameter});
    store->readOnly = (flags & CERT_STORE_READONLY_FLAG) != 0;
    return store;
}

void DeleteStore(LPCSTR provider, DWORD flags, const void* parameter) {
    const StoreKind& kind = KindOf(provider);
    if (!kind.system) throw Error(ERROR_NOT_SUPPORTED);
    const bool wide = provider == CERT_STORE_PROV_SYSTEM_W;
    DeleteSystemStore(SideOf(flags), NarrowParameter({flags, parameter}, wide));
}

}  // namespace platform
