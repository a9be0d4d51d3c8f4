// One owner for each kind of thing that a routine acquires. Each is declared on the line
// that acquires; what must be released last is declared first. A release keeps the last
// error.
#pragma once

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

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

using ChainHolder = HandleHolder<PCCERT_CHAIN_CONTEXT, CertFreeCertificateChain>;

// The deleter of what a pointer owns.
template <auto Release>
struct Releaser {
    template <typename Thing>
    void operator()(Thing* thing) const {
        const LastErrorKeeper keeper;
        static_cast<void>(Release(thing));
    }
};

using CertificateHolder = std::unique_ptr<const CERT_CONTEXT, Releaser<CertFreeCertificateContext>>;
using CrlHolder = std::unique_ptr<const CRL_CONTEXT, Releaser<CertFreeCRLContext>>;
// Closing may call the stream callback: its argument must outlive this.
using MessageHolder = std::unique_ptr<void, Releaser<CryptMsgClose>>;
using FileHolder = std::unique_ptr<FILE, Releaser<std::fclose>>;
// A buffer of the whole-file road, which is malloc'ed.
using BytesHolder = std::unique_ptr<BYTE, Releaser<std::free>>;

}  // namespace kestrel
