// Who the user is, to clients that speak to an authority themselves.
#include "enroll/unix_request_impl.h"

#include <certcli.h>
#include <windows.h>

#include <cstring>

#include "enroll/com_holders.h"
#include "enroll/wiped_text.h"

namespace kestrel {

namespace {

bool NarrowCopy(BSTR wide, std::string& narrow) {
    const UINT length = SysStringLen(wide);
    if (length == 0) return true;
    return Narrow(ComText(std::wstring_view(wide, length)), narrow);
}

HRESULT LastResult() { return static_cast<HRESULT>(0x80070000 | (GetLastError() & 0xFFFF)); }

// Which of the three each type takes.
HRESULT CheckType(LONG type, bool callback, bool name, bool password, bool stored) {
    switch (static_cast<AuthType>(type)) {
        case AuthType::Anonymous:
            return name || password ? E_INVALIDARG : S_OK;
        case AuthType::Kerberos:
            return E_NOTIMPL;
        case AuthType::UserName:
            return name && (callback || password) ? S_OK : E_INVALIDARG;
        case AuthType::Certificate:
            return name && !stored ? S_OK : E_INVALIDARG;
        default:
            return E_INVALIDARG;
    }
}

HRESULT CheckFlags(DWORD flags, bool anything) {
    if ((flags & kAuthFlag) == 0) return E_INVALIDARG;
    return (flags & kAuthTrustServer) != 0 && anything ? E_INVALIDARG : S_OK;
}

struct DispositionRow {
    LONG disposition;
    const wchar_t* text;
};
constexpr DispositionRow kDispositions[] = {
    {CR_DISP_INCOMPLETE, L"Request did not complete"},
    {CR_DISP_ERROR, L"Request failed"},
    {CR_DISP_DENIED, L"Request denied"},
    {CR_DISP_ISSUED, L"Certificate issued"},
    {CR_DISP_ISSUED_OUT_OF_BAND, L"Certificate issued separately"},
    {CR_DISP_UNDER_SUBMISSION, L"Request taken under submission"},
};

}  // namespace

UnixRequestImpl::~UnixRequestImpl() { Forget(); }

void UnixRequestImpl::Forget() {
    if (callback_ != nullptr) callback_->Release();
    callback_ = nullptr;
    Wipe(authPassword_.data(), authPassword_.size());
    authPassword_.clear();
}

HRESULT UnixRequestImpl::SetCredential(LONG, LONG type, BSTR credential, BSTR password) {
    const bool named = type == static_cast<LONG>(AuthType::UserName);
    const bool known = type == static_cast<LONG>(AuthType::Anonymous) ||
                       type == static_cast<LONG>(AuthType::Kerberos) || named ||
                       type == static_cast<LONG>(AuthType::Certificate);
    const bool hasPassword = SysStringLen(password) != 0;
    if (!known || (named ? password == nullptr : hasPassword)) return E_INVALIDARG;
    std::string name;
    WipedText secret;
    if (!NarrowCopy(credential, name)) return LastResult();
    if (named && !NarrowCopy(password, secret.text)) return LastResult();
    return SetAuth(nullptr, type, kAuthFlag, credential != nullptr ? name.c_str() : nullptr,
                   named ? secret.text.c_str() : nullptr);
}

HRESULT UnixRequestImpl::SetAuth(PasswordCallback* callback, LONG type, DWORD flags,
                                 const char* name, const char* password) {
    const bool any = callback != nullptr || name != nullptr || password != nullptr;
    const HRESULT badType = CheckType(type, callback != nullptr, name != nullptr,
                                      password != nullptr, Password() != nullptr);
    if (FAILED(badType)) return badType;
    if (const HRESULT bad = CheckFlags(flags, any); FAILED(bad)) return bad;
    if (callback != nullptr) callback->AddRef();  // first: it may be the old one
    Forget();
    callback_ = callback;
    if (password != nullptr) authPassword_.assign(password, password + std::strlen(password) + 1);
    authName_ = name != nullptr ? name : "";
    authType_ = type;
    authFlags_ = flags;
    return S_OK;
}

HRESULT UnixRequestImpl::GetDispositionMessage(BSTR* text) {
    for (const DispositionRow& row : kDispositions) {
        if (row.disposition != disposition_) continue;
        *text = SysAllocString(row.text);
        return *text != nullptr ? S_OK : E_OUTOFMEMORY;
    }
    return NTE_INVALID_PARAMETER;
}

}  // namespace kestrel
