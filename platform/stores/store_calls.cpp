// The exported calls on stores, and those that make contexts which stand in none.
#include <utility>

#include "platform/base/error.h"
#include "platform/certs/share.h"
#include "platform/stores/store.h"
#include "platform/stores/store_find.h"
#include "platform/stores/store_open.h"

using namespace platform;

namespace {

// What lets a store take what is added to its collection.
constexpr DWORD kAddEnabled = 1;  // CERT_PHYSICAL_STORE_ADD_ENABLE_FLAG

// The store of contexts that were made alone: it holds nothing and takes nothing. It is there
// from the start, so that handles can be counted.
Store* const nobodysStore = Publish(NewCollectionStore());

template <class Item>
auto ShareAlone(const std::shared_ptr<Item>& item) {
    item->SetStoreHandle(nobodysStore);
    return Item::Share(item);
}

std::shared_ptr<Store> StoreOf(HCERTSTORE handle) { return Resolve<Store>(handle); }

// Where what was found is said to stand, if not in the store that it stands in.
std::shared_ptr<Store> CollectionOrNull(const std::shared_ptr<Store>& store) {
    return store->IsCollection() ? store : nullptr;
}

HCERTSTORE Open(LPCSTR provider, DWORD flags, const void* parameter) {
    if ((flags & CERT_STORE_DELETE_FLAG) == 0) {
        auto store = OpenStore(provider, flags, parameter);
        store->gathers = true;
        return Publish(std::move(store));
    }
    DeleteStore(provider, flags, parameter);
    PutLastError(0);  // tells that nothing went wrong, since null is the answer in any case
    return nullptr;
}

void Close(HCERTSTORE handle, DWORD flags) {
    std::shared_ptr<Store> closed = StoreOf(handle);
    ReleaseHandle(handle, Kind::Store, ERROR_INVALID_HANDLE);
    // Nobody may come back to keep what is changed through duplicates and contexts.
    closed->gathers = false;
    closed->Keep();
    const std::weak_ptr<Store> store = std::exchange(closed, nullptr);
    // Contexts and duplicates that are still out keep the store alive, whatever is asked.
    const bool check = (flags & CERT_CLOSE_STORE_CHECK_FLAG) != 0;
    if (check && !store.expired()) throw Error(CRYPT_E_PENDING_CLOSE);
}

template <class Item, class Context>
void Add(HCERTSTORE handle, const Item& item, DWORD disposition, Context* added) {
    const auto store = StoreOf(handle);
    const auto stored = store->Add(item, disposition);
    if (added != nullptr) *added = HandOut(stored, CollectionOrNull(store));
}

PCCERT_CONTEXT Find(HCERTSTORE handle, DWORD type, const void* value, PCCERT_CONTEXT previous) {
    const Consumed<Certificate> last(previous);
    const auto store = StoreOf(handle);
    return HandOut(NextMatch(*store, last.Get(), TestFor(type, value)), CollectionOrNull(store));
}

// A list that does not pass the checks is found nevertheless; what is left in the caller's
// flags tells of them.
PCCRL_CONTEXT FindCrl(HCERTSTORE handle, PCCERT_CONTEXT issuer, PCCRL_CONTEXT previous,
                      DWORD* flags) {
    const Consumed<Crl> last(previous);
    const auto by = issuer == nullptr ? nullptr : Certificate::Of(issuer);
    const auto store = StoreOf(handle);
    const auto found = NextCrlOf(*store, last.Get(), by.get());
    if (flags != nullptr) *flags = FailedChecks(*found, by.get(), *flags);
    return HandOut(found, CollectionOrNull(store));
}

}  // namespace

PCCERT_CONTEXT WINAPI CertCreateCertificateContext(DWORD encoding, const BYTE* data, DWORD size) {
    return Guarded<PCCERT_CONTEXT>(nullptr, [&] {
        RequireEncoded(encoding, data);
        return ShareAlone(Certificate::Parse({data, size}));
    });
}

PCCRL_CONTEXT WINAPI CertCreateCRLContext(DWORD encoding, const BYTE* data, DWORD size) {
    return Guarded<PCCRL_CONTEXT>(nullptr, [&] {
        RequireEncoded(encoding, data);
        return ShareAlone(Crl::Parse({data, size}));
    });
}

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

BOOL WINAPI CertControlStore(HCERTSTORE store, DWORD, DWORD type, const void*) {
    return GuardedBool([&] {
        const auto controlled = StoreOf(store);
        if (type != CERT_STORE_CTRL_COMMIT) throw Error(ERROR_NOT_SUPPORTED);
        controlled->Keep();
    });
}

BOOL WINAPI CertAddStoreToCollection(HCERTSTORE collection, HCERTSTORE sibling, DWORD flags,
                                     DWORD priority) {
    return GuardedBool([&] {
        AddToCollection(*StoreOf(collection), StoreOf(sibling), (flags & kAddEnabled) != 0,
                        priority);
    });
}

BOOL WINAPI CertAddCertificateContextToStore(HCERTSTORE store, PCCERT_CONTEXT certificate,
                                             DWORD disposition, PCCERT_CONTEXT* added) {
    return GuardedBool([&] { Add(store, *Certificate::Of(certificate), disposition, added); });
}

BOOL WINAPI CertAddEncodedCertificateToStore(HCERTSTORE store, DWORD encoding, const BYTE* data,
                                             DWORD size, DWORD disposition, PCCERT_CONTEXT* added) {
    return GuardedBool([&] {
        RequireEncoded(encoding, data);
        Add(store, *Certificate::Parse({data, size}), disposition, added);
    });
}

BOOL WINAPI CertAddCRLContextToStore(HCERTSTORE store, PCCRL_CONTEXT crl, DWORD disposition,
                                     PCCRL_CONTEXT* added) {
    return GuardedBool([&] { Add(store, *Crl::Of(crl), disposition, added); });
}

BOOL WINAPI CertDeleteCertificateFromStore(PCCERT_CONTEXT certificate) {
    return GuardedBool([&] {
        if (certificate == nullptr) throw Error(ERROR_INVALID_PARAMETER);
        const Consumed<Certificate> given(certificate);
        const Certificate& item = *given.Get();
        if (const auto store = StoreHolding(item)) store->Remove(item);
    });
}

PCCERT_CONTEXT WINAPI CertEnumCertificatesInStore(HCERTSTORE store, PCCERT_CONTEXT previous) {
    return Guarded<PCCERT_CONTEXT>(nullptr,
                                   [&] { return Find(store, CERT_FIND_ANY, nullptr, previous); });
}

PCCERT_CONTEXT WINAPI CertFindCertificateInStore(HCERTSTORE store, DWORD, DWORD, DWORD type,
                                                 const void* value, PCCERT_CONTEXT previous) {
    return Guarded<PCCERT_CONTEXT>(nullptr, [&] { return Find(store, type, value, previous); });
}

PCCRL_CONTEXT WINAPI CertEnumCRLsInStore(HCERTSTORE store, PCCRL_CONTEXT previous) {
    return Guarded<PCCRL_CONTEXT>(nullptr,
                                  [&] { return FindCrl(store, nullptr, previous, nullptr); });
}

PCCRL_CONTEXT WINAPI CertGetCRLFromStore(HCERTSTORE store, PCCERT_CONTEXT issuer,
                                         PCCRL_CONTEXT previous, DWORD* flags) {
    return Guarded<PCCRL_CONTEXT>(nullptr, [&] { return FindCrl(store, issuer, previous, flags); });
}
