// Registering a user with the authority. Addresses are taken as they are, a slash at the end
// included (enroll-29).
#include "enroll/flca15_request.h"
#include "enroll/registration_form.h"
#include "enroll/request_text.h"
#include "front/core/atl_exception.h"

namespace kestrel {

namespace {

constexpr char kFormPage[] = "/Register/RegGetSubject.asp";
constexpr auto kUnreadable = static_cast<HRESULT>(ERROR_INTERNAL_ERROR);

HRESULT FullAddress(BSTR url, const RegistrationForm* form, std::string& address) {
    if (url == nullptr || form == nullptr || form->tag != kFormTag) return E_INVALIDARG;
    const bool done = Narrow(ComText(std::wstring_view(url, SysStringLen(url))), address);
    return done ? S_OK : ATL::ResultOfError(GetLastError());
}

std::string FormBody(const RegistrationForm& form) {
    std::string body = "GetSubjectFormPosted=1&";
    for (const FormField& field : form.fields) {
        if (&field != &form.fields.front()) body += '&';
        body += field.id + '=' + EncodeFormValue(field.value);
    }
    return body;
}

}  // namespace

HRESULT FLCA15Request::GetRegistrationForm(BSTR url, RegistrationForm* form) {
    if (Flags() != kAuthFlag) return NTE_PERM;
    std::string address;
    if (const HRESULT failed = FullAddress(url, form, address); failed != S_OK) return failed;
    form->fields.clear();
    std::string page;
    if (const HRESULT failed = Get(address + kFormPage, page); failed != S_OK) return failed;
    return ParseRegistrationForm(*form, page) ? S_OK : kUnreadable;
}

HRESULT FLCA15Request::RegisterUser(BSTR url, RegistrationForm* form) {
    if (Flags() != kAuthFlag) return NTE_PERM;
    std::string address;
    if (const HRESULT failed = FullAddress(url, form, address); failed != S_OK) return failed;
    if (!ValidateForm(*form)) return NTE_BAD_DATA;
    WipedText page;  // the answer holds a password
    const HRESULT failed = Post(address + kFormPage, FormBody(*form), page.text);
    if (failed != S_OK) return failed;
    return ParseRegistrationAnswer(*form, page.text) ? S_OK : kUnreadable;
}

HRESULT FLCA15Request::CheckRegistration(BSTR url, LONG* id, LONG* status) {
    if (const HRESULT failed = CheckCredentials(); failed != S_OK) return failed;
    if (!HasToken()) return E_NOTIMPL;
    if (url == nullptr || id == nullptr || status == nullptr) return E_INVALIDARG;
    std::string address;
    if (!Narrow(ComText(std::wstring_view(url, SysStringLen(url))), address)) {
        return ATL::ResultOfError(GetLastError());
    }
    std::string page;
    const HRESULT failed = PostLogin(address + "/Register/RegTemporaryUser.asp", {}, page);
    if (failed != S_OK) return failed;
    return ParseRegistrationState(page, *id, *status) ? S_OK : kUnreadable;
}

}  // namespace kestrel
