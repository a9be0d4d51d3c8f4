// Owners of platform handles that live for one routine.
#pragma once

#include <windows.h>

#include <memory>

#include "selection/search.h"

namespace kestrel {

// A release keeps the last error, so that the failure that is reported is the one that
// happened.
class LastErrorKeeper {
  public:
    LastErrorKeeper() : code_(GetLastError()) {}
    ~LastErrorKeeper() { SetLastError(code_); }
    LastErrorKeeper(const LastErrorKeeper&) = delete;
    LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

  private:
    DWORD code_;
};

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
        const LastErrorKeeper keeper;
        Release(handle_);
        handle_ = Handle{};
    }

  private:
    Handle handle_{};
};

inline void ReleaseProvider(HCRYPTPROV provider) { CryptReleaseContext(provider, 0); }
inline void ReleaseKey(HCRYPTKEY key) { CryptDestroyKey(key); }
inline void ReleaseHash(HCRYPTHASH hash) { CryptDestroyHash(hash); }
inline void ReleaseStore(HCERTSTORE store) { CertCloseStore(store, 0); }

using ProviderHolder = HandleHolder<HCRYPTPROV, ReleaseProvider>;
using KeyHolder = HandleHolder<HCRYPTKEY, ReleaseKey>;
using HashHolder = HandleHolder<HCRYPTHASH, ReleaseHash>;
using StoreHolder = HandleHolder<HCERTSTORE, ReleaseStore>;

struct CertificateReleaser {
    void operator()(PCCERT_CONTEXT certificate) const {
        const LastErrorKeeper keeper;
        CertFreeCertificateContext(certificate);
    }
};
using CertificateHolder = std::unique_ptr<const CERT_CONTEXT, CertificateReleaser>;

// Closing may call the stream callback: its argument must outlive this.
struct MessageCloser {
    void operator()(void* message) const {
        const LastErrorKeeper keeper;
        CryptMsgClose(message);
    }
};
using MessageHolder = std::unique_ptr<void, MessageCloser>;

// The stores of one search, open as long as what it found is used.
struct SearchStores {
    SearchStores() = default;
    ~SearchStores() { CloseStoreVector(open); }
    SearchStores(const SearchStores&) = delete;
    SearchStores& operator=(const SearchStores&) = delete;

    StoreVector open;
};

}  // namespace kestrel
