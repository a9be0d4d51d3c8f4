// Owners of platform handles that live for one routine.
#pragma once

#include <windows.h>

#include "selection/search.h"

namespace kestrel {

// Owns a handle that `Release` gives back; declared before the call that fills it.
template <typename Handle, auto Release>
class HandleHolder {
  public:
    HandleHolder() = default;
    ~HandleHolder() { Reset(); }
    HandleHolder(const HandleHolder&) = delete;
    HandleHolder& operator=(const HandleHolder&) = delete;

    [[nodiscard]] Handle Get() const { return handle_; }
    // For a call that fills the handle on success and leaves it alone on failure.
    [[nodiscard]] Handle* Fill() { return &handle_; }
    // Does not disturb the last error.
    void Reset() {
        if (!handle_) return;
        const DWORD error = GetLastError();
        Release(handle_);
        handle_ = Handle{};
        SetLastError(error);
    }

  private:
    Handle handle_{};
};

inline void ReleaseProvider(HCRYPTPROV provider) { CryptReleaseContext(provider, 0); }
inline void ReleaseKey(HCRYPTKEY key) { CryptDestroyKey(key); }
inline void ReleaseStore(HCERTSTORE store) { CertCloseStore(store, 0); }

using ProviderHolder = HandleHolder<HCRYPTPROV, ReleaseProvider>;
using KeyHolder = HandleHolder<HCRYPTKEY, ReleaseKey>;
using StoreHolder = HandleHolder<HCERTSTORE, ReleaseStore>;

// The stores of one search, open as long as what it found is used.
struct SearchStores {
    SearchStores() = default;
    ~SearchStores() { CloseStoreVector(open); }
    SearchStores(const SearchStores&) = delete;
    SearchStores& operator=(const SearchStores&) = delete;

    StoreVector open;
};

}  // namespace kestrel
