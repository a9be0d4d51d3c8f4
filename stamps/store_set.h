// A certificate store that several objects share, with the stores that it draws on.
#pragma once

#include <windows.h>

#include <boost/shared_ptr.hpp>
#include <vector>

namespace ATL2 {

// Closes the store in a cell, if there is one, and frees the cell. The outcome is not told:
// a context that is still out keeps the store alive, and the last error stays as it was.
class CCertStoreDeleter {
  public:
    explicit CCertStoreDeleter(bool check) : check_(check) {}
    void operator()(HCERTSTORE* cell) const;

  private:
    bool check_;
};

// Copies share the handle; the last one closes it. Results are 0, a platform error as a
// result, or as told.
class CStoreSet {
  public:
    CStoreSet();

    // E_FAIL when there is a handle already, which stays.
    [[nodiscard]] HRESULT OpenMemory();
    [[nodiscard]] HRESULT OpenCollection();
    // A store of the current user, read-only.
    [[nodiscard]] HRESULT OpenSystem(LPCWSTR name);

    // Adds the other store to this collection, which keeps it open from now on. E_FAIL
    // without a handle.
    [[nodiscard]] HRESULT Add(const CStoreSet& other);

    // Null before a store was opened.
    [[nodiscard]] HCERTSTORE GetHandle() const { return *store_; }

  private:
    HRESULT Open(LPCSTR provider, DWORD flags, const void* parameter);

    boost::shared_ptr<HCERTSTORE> store_;
    std::vector<CStoreSet> members_;
};

}  // namespace ATL2
