// Sending a request, and fetching what became of it.
#include <certcli.h>

#include "enroll/flca15_request.h"
#include "enroll/request_text.h"
#include "front/core/atl_exception.h"

namespace kestrel {

namespace {

constexpr auto kOtherPage = static_cast<HRESULT>(ERROR_INTERNAL_ERROR);
constexpr DWORD kFound = 302;
constexpr std::string_view kErrorPage = "Error.asp";
constexpr std::string_view kConfirm = "ConfirmReq_";

HRESULT NarrowRequest(BSTR request, std::string& text) {
    if (request == nullptr) return E_INVALIDARG;
    const bool done = Narrow(ComText(std::wstring_view(request, SysStringLen(request))), text);
    return done ? S_OK : ATL::ResultOfError(GetLastError());
}

// The value of the hidden field that installs a certificate.
bool ReadInstalledField(std::string_view page, std::string& text) {
    const std::size_t field = page.find("<INPUT TYPE=\"hidden\" NAME=\"PKCS\"");
    const std::size_t start = field == kNotFound ? kNotFound : FindAfter(page, "VALUE=\"", field);
    const std::size_t end = start == kNotFound ? kNotFound : page.find('"', start);
    if (end == kNotFound) return false;
    text = page.substr(start, end - start);
    return true;
}

// The lines that a script puts together.
bool ReadScriptLines(std::string_view page, std::string& text) {
    constexpr std::string_view kLine = "sCert=sCert &";
    text.clear();
    for (std::size_t at = FindAfter(page, kLine, 0); at != kNotFound;
         at = FindAfter(page, kLine, at)) {
        const std::size_t start = FindAfter(page, "\"", at);
        const std::size_t end = start == kNotFound ? kNotFound : page.find('"', start);
        if (end == kNotFound) break;
        text.append(page.substr(start, end - start)).append("\r\n");
        at = end;
    }
    return !text.empty();
}

// The request that a page shows again, its armour included.
std::string_view ArmouredPart(std::string_view page) {
    const std::size_t start = page.find(kRequestArmourBegin);
    const std::size_t end =
        start == kNotFound ? kNotFound : FindAfter(page, kRequestArmourEnd, start);
    return end == kNotFound ? std::string_view() : page.substr(start, end - start);
}

}  // namespace

HRESULT FLCA15Request::Submit(LONG, BSTR request, BSTR, BSTR url, LONG* disposition) {
    ResetState();
    if (const HRESULT failed = CheckCredentials(); failed != S_OK) return failed;
    if (disposition == nullptr) return E_INVALIDARG;
    std::string text;
    std::string base;
    if (const HRESULT failed = NarrowRequest(request, text); failed != S_OK) return failed;
    if (const HRESULT failed = BaseAddress(url, base); failed != S_OK) return failed;
    const HRESULT result =
        HasToken() ? SubmitWithToken(base, text) : SubmitWithCertificate(base, text);
    if (result == S_OK) *disposition = Disposition();
    return result;
}

// ---- with a token ----------------------------------------------------------------

HRESULT FLCA15Request::SubmitWithToken(const std::string& base, std::string_view request) {
    WipedText body;
    body.Append("PKCS10=" + EncodeFormValue(ArmourRequest(request)) + "&UserInfo=&");
    if (const HRESULT failed = BuildTokenLogin(body); failed != S_OK) return failed;
    std::string page;
    const HRESULT failed = Post(base + "/Register/RegSubmitCertRequest.asp", body.text, page);
    if (failed != S_OK) return failed;
    const std::size_t number = FindAfter(page, kConfirm, 0);
    return number != kNotFound ? TakeIssued(base, page, number) : TakeWaiting(base, page);
}

HRESULT FLCA15Request::TakeIssued(const std::string& base, std::string_view page,
                                  std::size_t number) {
    requestId_ = LeadingNumber(page.substr(number));
    SetDisposition(CR_DISP_ISSUED);
    Tables tables;
    if (const HRESULT failed = ListItems(base, tables); failed != S_OK) return failed;
    const auto row = tables.requests.find(requestId_);
    if (row != tables.requests.end()) ViewItem(base, false, row->second.text);
    if (const HRESULT failed = FetchCertificate(base); failed != S_OK) return failed;
    ViewItem(base, true, certificateText_);
    return S_OK;
}

// The page shows a request again that waits; any other tells of a failure.
HRESULT FLCA15Request::TakeWaiting(const std::string& base, std::string_view page) {
    const std::string_view shown = ArmouredPart(page);
    if (shown.empty()) return S_OK;  // as ResetState left it
    if (const HRESULT failed = FindRequestByText(base, shown); failed != S_OK) return failed;
    SetDisposition(CR_DISP_UNDER_SUBMISSION);
    return S_OK;
}

// ---- with a certificate ----------------------------------------------------------

HRESULT FLCA15Request::SignRequest(std::string_view request, std::string& signedText) const {
    if (!HasCertificate() || signer_.certificate == nullptr) return E_UNEXPECTED;
    Octets bytes;
    HRESULT result = DecodeText(request, bytes);
    if (SUCCEEDED(result)) result = WrapSignedMessage(signer_, bytes);
    if (SUCCEEDED(result)) signedText = EncodeBytes(bytes);
    return result;
}

HRESULT FLCA15Request::SubmitWithCertificate(const std::string& base, std::string_view request) {
    std::string signedText;
    if (const HRESULT failed = SignRequest(request, signedText); failed != S_OK) return failed;
    UrlRetriever retriever;
    retriever.SetClientCertificate(Name().c_str());
    retriever.SetPostData("PKCS7=" + EncodeFormValue(ArmourRequest(request)) +
                          "&PKCS7x2=" + EncodeFormValue(ArmourRequest(signedText)) + "&UserInfo=1");
    const bool fetched = retriever.Fetch(base + "/User/UserSubmitCertReq.asp");
    const bool errorPage = retriever.Body().find(kErrorPage) != kNotFound;
    // Where the answer leads to another page is of no interest; the list tells the outcome.
    if (!fetched && (retriever.Status() != kFound || errorPage)) {
        return static_cast<HRESULT>(retriever.FetchErrorCode());
    }
    if (errorPage) {
        SetDisposition(CR_DISP_DENIED);
        return S_OK;
    }
    const HRESULT result = MatchSubmittedRequest(base, request);
    return result == NTE_NOT_FOUND ? S_OK : result;
}

// ---- what became of it -----------------------------------------------------------

HRESULT FLCA15Request::RetrievePending(LONG id, BSTR url, LONG* disposition) {
    ResetState();
    if (const HRESULT failed = CheckCredentials(); failed != S_OK) return failed;
    if (disposition == nullptr) return E_INVALIDARG;
    std::string base;
    if (const HRESULT failed = BaseAddress(url, base); failed != S_OK) return failed;
    Tables tables;
    if (const HRESULT failed = ListItems(base, tables); failed != S_OK) return failed;
    *disposition = Disposition();
    const PageRow row = tables.requests[id];
    if (row.present == 0) return S_OK;
    SetDisposition(row.status);
    *disposition = row.status;
    requestId_ = id;
    ViewItem(base, false, row.text);
    if (row.status != CR_DISP_ISSUED) return S_OK;
    if (const HRESULT failed = FetchCertificate(base); failed != S_OK) return failed;
    if (HasCertificate()) {
        RequestInfo info;
        HRESULT failed = ParseRequestInfo(row.text, row.status, signer_.provider, info);
        if (failed == S_OK) failed = TakeSerial(info.PublicKey(), tables.certificates);
        if (failed != S_OK) return failed;
    }
    ViewItem(base, true, certificateText_);
    return S_OK;
}

HRESULT FLCA15Request::FetchCertificate(const std::string& base) {
    if (requestId_ == -1) return E_UNEXPECTED;
    const std::string number = std::to_string(requestId_);
    std::string page;
    HRESULT failed = S_OK;
    if (HasToken()) {
        WipedText body;
        body.Append(std::string(kConfirm) + number + "=NoText&");
        failed = BuildTokenLogin(body);
        if (failed == S_OK) failed = Post(base + "/Register/RegInstallCert.asp", body.text, page);
    } else {
        failed = Get(base + "/User/UserGetCert.asp?ID=" + number, page);
    }
    if (failed != S_OK) return failed;
    const bool read = HasToken() ? ReadInstalledField(page, certificateText_)
                                 : ReadScriptLines(page, certificateText_);
    return read ? S_OK : kOtherPage;
}

HRESULT FLCA15Request::ConfirmCertificate(LONG id, BSTR url) {
    if (const HRESULT failed = CheckCredentials(); failed != S_OK) return failed;
    if (!HasToken()) return E_NOTIMPL;
    std::string base;
    if (const HRESULT failed = BaseAddress(url, base); failed != S_OK) return failed;
    std::string page;
    return PostLogin(base + "/Register/RegConfirmCert.asp", "&RequestID=" + std::to_string(id),
                     page);
}

}  // namespace kestrel
