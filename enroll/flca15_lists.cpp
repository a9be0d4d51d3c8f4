// The authority's lists, and finding a request in them.
#include <certcli.h>

#include <charconv>

#include "enroll/flca15_request.h"
#include "enroll/request_text.h"

namespace kestrel {

namespace {

constexpr auto kOtherForm = static_cast<HRESULT>(ERROR_INTERNAL_ERROR);
constexpr TableMarks kTokenRequests = {"tblCertRequests", "<TR>", RowKind::Request, false};
constexpr TableMarks kCertificates = {kCertificateTable, "<tr", RowKind::Certificate, true};
constexpr TableMarks kRequests = {kRequestTable, "<tr", RowKind::Request, true};
constexpr TableMarks kRevocations = {kRevocationTable, "<tr", RowKind::Revocation, true};

constexpr LONG kTemplatesProperty = 29;
constexpr LONG kTextProperty = 4;
constexpr std::wstring_view kByNumber = L"NUMBER=";

// The position that a template's name selects, or the count of templates.
std::size_t PositionOf(std::wstring_view name, const RequestForm& form) {
    std::size_t at = 0;
    if (name.starts_with(kByNumber)) {
        const std::string digits(name.begin() + kByNumber.size(), name.end());
        const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), at);
        const bool whole = parsed.ptr == digits.data() + digits.size();
        if (parsed.ec == std::errc() && whole) return at;
        at = 0;
    }
    while (at < form.templates.size() && WideOfPage(form.templates[at]) != name) ++at;
    return at;
}

}  // namespace

// ---- the user's tables -----------------------------------------------------------

HRESULT FLCA15Request::ListTokenItems(const std::string& base, Tables& tables) const {
    std::string page;
    const HRESULT failed = PostLogin(base + "/Register/RegTemporaryUser.asp", {}, page);
    if (failed != S_OK) return failed;
    return ParseTable(page, kTokenRequests, tables.requests) ? S_OK : NTE_BAD_DATA;
}

HRESULT FLCA15Request::ListCertificateItems(const std::string& base, Tables& tables) const {
    std::string page;
    if (const HRESULT failed = Get(base + "/User/User.asp", page); failed != S_OK) return failed;
    const bool read = ParseTable(page, kCertificates, tables.certificates) &&
                      ParseTable(page, kRequests, tables.requests) &&
                      ParseTable(page, kRevocations, tables.revocations);
    return read ? S_OK : NTE_BAD_DATA;
}

HRESULT FLCA15Request::ListItems(const std::string& base, Tables& tables) const {
    if (HasToken()) return ListTokenItems(base, tables);
    return HasCertificate() ? ListCertificateItems(base, tables) : kOtherForm;
}

HRESULT FLCA15Request::GetItems(BSTR url, PageList* items, RowKind kind) {
    if (const HRESULT failed = CheckCredentials(); failed != S_OK) return failed;
    std::string base;
    if (const HRESULT failed = BaseAddress(url, base); failed != S_OK) return failed;
    Tables tables;
    PageList* const wanted = kind == RowKind::Certificate  ? &tables.certificates
                             : kind == RowKind::Request    ? &tables.requests
                             : kind == RowKind::Revocation ? &tables.revocations
                                                           : nullptr;
    if (items == nullptr || wanted == nullptr) return E_INVALIDARG;
    if (const HRESULT failed = ListItems(base, tables); failed != S_OK) return failed;
    items->swap(*wanted);
    return S_OK;
}

HRESULT FLCA15Request::GetRequestStatuses(BSTR url, std::map<LONG, LONG>* statuses) {
    if (statuses == nullptr) return E_INVALIDARG;
    PageList list;
    if (const HRESULT failed = GetItems(url, &list, RowKind::Request); failed != S_OK) {
        return failed;
    }
    statuses->clear();
    for (const auto& [number, row] : list) statuses->emplace(number, row.status);
    return S_OK;
}

// ---- finding ---------------------------------------------------------------------

HRESULT FLCA15Request::FindRequestByText(const std::string& base, std::string_view text) {
    Tables tables;
    if (const HRESULT failed = ListItems(base, tables); failed != S_OK) return failed;
    const std::string wanted = BareRequest(text);
    for (const auto& [number, row] : tables.requests) {
        if (BareRequest(row.text) != wanted) continue;
        requestId_ = number;
        ViewItem(base, false, text);
        return S_OK;
    }
    return NTE_NOT_FOUND;
}

// The first row with our key.
HRESULT FLCA15Request::FindOwnRequest(const Tables& tables, const RequestInfo& own,
                                      const PageRow*& found) {
    for (const auto& [number, row] : tables.requests) {
        RequestInfo info;
        const HRESULT failed = ParseRequestInfo(row.text, row.status, signer_.provider, info);
        if (failed != S_OK) return failed;
        if (!info.HasKeyOf(own)) continue;
        requestId_ = number;
        SetDisposition(row.status);
        found = &row;
        return S_OK;
    }
    return NTE_NOT_FOUND;
}

HRESULT FLCA15Request::MatchSubmittedRequest(const std::string& base, std::string_view request) {
    RequestInfo own;
    HRESULT failed = ParseRequestInfo(request, kOwnRequest, signer_.provider, own);
    if (failed != S_OK) return failed;
    Tables tables;
    const PageRow* row = nullptr;
    failed = ListItems(base, tables);
    if (failed == S_OK) failed = FindOwnRequest(tables, own, row);
    if (failed != S_OK) return failed;
    ViewItem(base, false, row->text);
    if (row->status != CR_DISP_ISSUED) return S_OK;
    failed = FetchCertificate(base);
    if (failed == S_OK) failed = TakeSerial(own.PublicKey(), tables.certificates);
    if (failed != S_OK) return failed;
    if (certificateId_ != -1) ViewItem(base, true, {});
    return S_OK;
}

// By the serial number, which is all that the list of certificates tells of one.
HRESULT FLCA15Request::TakeSerial(const CERT_PUBLIC_KEY_INFO& key, const PageList& certificates) {
    certificateId_ = -1;
    const HRESULT failed = FindSerial(certificateText_, key, certificateSerial_);
    if (failed != S_OK) return failed;
    for (const auto& [number, row] : certificates) {
        if (row.text != certificateSerial_) continue;
        certificateId_ = number;
        break;
    }
    return S_OK;
}

// ---- what a request may ask for --------------------------------------------------

HRESULT FLCA15Request::ScanRequestForm(const std::string& base, RequestForm& form) const {
    std::string page;
    HRESULT failed = kOtherForm;
    if (HasToken()) failed = PostLogin(base + "/Register/RegCreateCertRequest.asp", {}, page);
    if (HasCertificate()) failed = Get(base + "/User/UserMakeCertReq.asp", page);
    if (failed != S_OK) return failed;
    return ParseRequestForm(page, form) ? S_OK : kOtherForm;
}

HRESULT FLCA15Request::ReadRequestForm(BSTR url, RequestForm& form) const {
    std::string base;
    const HRESULT failed = BaseAddress(url, base);
    return failed != S_OK ? failed : ScanRequestForm(base, form);
}

HRESULT FLCA15Request::GetRequestForm(BSTR url, BSTR templateName, BSTR* dn, BSTR* usage,
                                      BSTR* keySpec, std::vector<std::string>* list) {
    if (const HRESULT failed = CheckCredentials(); failed != S_OK) return failed;
    if (url == nullptr || templateName == nullptr || dn == nullptr || usage == nullptr ||
        keySpec == nullptr || list == nullptr) {
        return E_INVALIDARG;
    }
    RequestForm form;
    if (const HRESULT failed = ReadRequestForm(url, form); failed != S_OK) return failed;
    const std::wstring_view name(templateName, SysStringLen(templateName));
    const std::size_t at = PositionOf(name, form);
    const bool complete =
        at < form.templates.size() && at < form.usages.size() && at < form.keySpecs.size();
    if (!complete) return CERTSRV_E_UNSUPPORTED_CERT_TYPE;
    ComText subject(WideOfPage(form.dn));
    ComText uses(WideOfPage(form.usages[at]));
    ComText spec(WideOfPage(form.keySpecs[at]));
    list->clear();
    *dn = subject.Release();
    *usage = uses.Release();
    *keySpec = spec.Release();
    return S_OK;
}

HRESULT FLCA15Request::GetCAProperty(BSTR url, LONG id, LONG, LONG type, LONG, VARIANT* value) {
    if (const HRESULT failed = CheckCredentials(); failed != S_OK) return failed;
    if (id != kTemplatesProperty) return E_NOTIMPL;
    if (value == nullptr || type != kTextProperty) return E_INVALIDARG;
    RequestForm form;
    if (const HRESULT failed = ReadRequestForm(url, form); failed != S_OK) return failed;
    std::wstring lines;
    for (std::size_t i = 0; i < form.templates.size(); ++i) {
        lines += WideOfPage(form.templates[i]) + L'\n';
        lines += std::wstring(kByNumber) + std::to_wstring(i) + L'\n';
    }
    const HRESULT result = HandOut(lines, &value->bstrVal);
    value->vt = static_cast<VARTYPE>(result == S_OK ? VT_BSTR : VT_EMPTY);
    return result;
}

}  // namespace kestrel
