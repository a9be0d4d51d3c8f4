// A shared store over the stores that it draws on.
#include "stamps/store_set.h"

#include <memory>
#include <new>

#include "front/core/atl_exception.h"
#include "front/core/holders.h"

namespace ATL2 {
namespace {

HRESULT LastErrorOr(HRESULT otherwise) {
    const DWORD error = GetLastError();
    return error == 0 ? otherwise : ATL::ResultOfError(error);
}

}  // namespace

void CCertStoreDeleter::operator()(HCERTSTORE* cell) const {
    const std::unique_ptr<HCERTSTORE> owned(cell);
    if (cell == nullptr || *cell == nullptr) return;
    const kestrel::LastErrorKeeper keeper;
    CertCloseStore(*cell, check_ ? CERT_CLOSE_STORE_CHECK_FLAG : 0);
}

CStoreSet::CStoreSet() : store_(new HCERTSTORE(nullptr), CCertStoreDeleter(true)) {}

HRESULT CStoreSet::Open(LPCSTR provider, DWORD flags, const void* parameter) {
    if (GetHandle() != nullptr) return E_FAIL;
    *store_ = CertOpenStore(provider, 0, 0, flags, parameter);
    return GetHandle() == nullptr ? LastErrorOr(E_FAIL) : S_OK;
}

HRESULT CStoreSet::OpenMemory() { return Open(CERT_STORE_PROV_MEMORY, 0, nullptr); }

HRESULT CStoreSet::OpenCollection() { return Open(CERT_STORE_PROV_COLLECTION, 0, nullptr); }

HRESULT CStoreSet::OpenSystem(LPCWSTR name) {
    return Open(CERT_STORE_PROV_SYSTEM_W, CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_READONLY_FLAG,
                name);
}

HRESULT CStoreSet::Add(const CStoreSet& other) {
    if (GetHandle() == nullptr) return E_FAIL;
    if (!CertAddStoreToCollection(GetHandle(), other.GetHandle(), 0, 0)) return LastErrorOr(E_FAIL);
    try {
        members_.push_back(other);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
    return S_OK;
}

}  // namespace ATL2
