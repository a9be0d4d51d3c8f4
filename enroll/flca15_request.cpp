// Who the user is to the authority, and how its pages are fetched.
#include "enroll/flca15_request.h"

#include <certcli.h>

#include "enroll/request_text.h"
#include "front/core/atl_exception.h"
#include "front/core/encoding.h"

namespace kestrel {

namespace {

HRESULT LastFailure() { return ATL::ResultOfError(GetLastError()); }

constexpr DWORD kSecondFlag = 2;  // which may be set or not
constexpr std::string_view kCertificateBegin = "-----BEGIN CERTIFICATE-----\r\n";
constexpr std::string_view kCertificateEnd = "-----END CERTIFICATE-----\r\n";
constexpr LONG kEncodingMask = 0xFF;
constexpr LONG kWithHeader = 0;
constexpr LONG kBare = 1;
constexpr LONG kBinary = 2;
constexpr LONG kRevocationLists = 0x200;
constexpr LONG kView = 195;
constexpr DWORD kThumbprintSize = 20;

PCCERT_CONTEXT FindByThumbprint(HCERTSTORE store, const std::string& thumbprint) {
    BYTE hash[kThumbprintSize];
    DWORD size = kThumbprintSize;
    const bool parsed = thumbprint.size() == 2 * kThumbprintSize &&
                        ParseThumbprint(thumbprint.data(), thumbprint.size(), hash, size);
    if (!parsed) return nullptr;
    CRYPT_HASH_BLOB blob{size, hash};
    return CertFindCertificateInStore(store, kMessageEncodingType, 0, CERT_FIND_SHA1_HASH, &blob,
                                      nullptr);
}

HRESULT AskPassword(PasswordCallback& callback, WipedText& password) {
    const ComText prompt(L"Password:");
    ComText answer;
    if (FAILED(callback.AskPassword(prompt.Get(), answer.Fill()))) {
        return static_cast<HRESULT>(SCARD_W_CANCELLED_BY_USER);
    }
    const bool narrowed = Narrow(answer, password.text);
    for (UINT i = 0; i < SysStringLen(answer.Get()); ++i) {
        static_cast<volatile wchar_t*>(answer.Get())[i] = L'\0';
    }
    return narrowed ? S_OK : LastFailure();
}

HRESULT CopyOfView(const std::wstring& view, BSTR* text) {
    return view.empty() ? NTE_NOT_FOUND : HandOut(view, text);
}

}  // namespace

// ---- credentials -----------------------------------------------------------------

HRESULT FLCA15Request::SetAuth(PasswordCallback* callback, LONG type, DWORD flags, const char* name,
                               const char* password) {
    const HRESULT refused = UnixRequestImpl::SetAuth(callback, type, flags, name, password);
    if (FAILED(refused)) return refused;
    ReleaseClientCertificate();
    if (!HasCertificate()) return S_OK;
    const HRESULT failed = HoldClientCertificate(password);
    if (FAILED(failed)) ReleaseClientCertificate();
    return failed;
}

HRESULT FLCA15Request::HoldClientCertificate(const char* password) {
    *clientStore_.Fill() = CertOpenSystemStoreA(0, "My");
    if (clientStore_.Get() == nullptr) return LastFailure();
    clientCertificate_.reset(FindByThumbprint(clientStore_.Get(), Name()));
    if (!clientCertificate_) return NTE_FAIL;
    BOOL owned = FALSE;
    signer_.certificate = clientCertificate_.get();
    if (!CryptAcquireCertificatePrivateKey(signer_.certificate, 0, nullptr, &signer_.provider,
                                           &signer_.keySpec, &owned)) {
        return LastFailure();
    }
    if (owned) *ownedProvider_.Fill() = signer_.provider;
    const bool opened =
        password == nullptr || CryptSetProvParam(signer_.provider, PP_KEYEXCHANGE_PIN,
                                                 reinterpret_cast<const BYTE*>(password), 0);
    return opened ? S_OK : LastFailure();
}

void FLCA15Request::ReleaseClientCertificate() {
    signer_ = {};
    ownedProvider_.Reset();
    clientCertificate_.reset();
    clientStore_.Reset();
}

HRESULT FLCA15Request::CheckCredentials() const {
    const bool known = HasToken() || HasCertificate();
    return known && (Flags() & ~kSecondFlag) == kAuthFlag ? S_OK : NTE_PERM;
}

// Neither value is encoded (enroll-27).
HRESULT FLCA15Request::BuildTokenLogin(WipedText& body) const {
    WipedText asked;
    std::string_view password;
    if (Password() != nullptr) {
        password = Password();
    } else if (Callback() == nullptr) {
        return E_UNEXPECTED;
    } else {
        if (const HRESULT failed = AskPassword(*Callback(), asked); FAILED(failed)) return failed;
        password = asked.text;
    }
    body.Append("TokenID=");
    body.Append(Name());
    body.Append("&Password=");
    body.Append(password);
    return S_OK;
}

// ---- pages -----------------------------------------------------------------------

HRESULT FLCA15Request::BaseAddress(BSTR url, std::string& base) {
    if (url == nullptr) return E_INVALIDARG;
    if (!Narrow(ComText(std::wstring_view(url, SysStringLen(url))), base)) return LastFailure();
    if (base.ends_with('/')) base.pop_back();
    return S_OK;
}

HRESULT FLCA15Request::Get(const std::string& address, std::string& page) const {
    return Post(address, {}, page);
}

HRESULT FLCA15Request::Post(const std::string& address, std::string_view body,
                            std::string& page) const {
    UrlRetriever retriever;
    if (HasCertificate()) retriever.SetClientCertificate(Name().c_str());
    retriever.SetPostData(body);
    if (!retriever.Fetch(address)) return static_cast<HRESULT>(retriever.FetchErrorCode());
    page = retriever.TakeBody();
    return S_OK;
}

HRESULT FLCA15Request::PostLogin(const std::string& address, std::string_view more,
                                 std::string& page) const {
    WipedText body;
    if (const HRESULT failed = BuildTokenLogin(body); failed != S_OK) return failed;
    body.Append(more);
    return Post(address, body.text, page);
}

HRESULT FLCA15Request::GetCACertificate(LONG, BSTR url, LONG flags, BSTR* text) {
    const LONG encoding = flags & kEncodingMask;
    if (encoding == kBinary) return E_NOTIMPL;
    if (text == nullptr) return E_INVALIDARG;
    std::string base;
    if (const HRESULT failed = BaseAddress(url, base); failed != S_OK) return failed;
    UrlRetriever retriever;
    if ((Flags() & kAuthTrustServer) != 0) retriever.DisableAuthorityCheck();
    if (HasCertificate()) retriever.SetClientCertificate(Name().c_str());
    if (!retriever.Fetch(base + "/certnew.asp?Type=chain&Enc=b64")) {
        return static_cast<HRESULT>(retriever.FetchErrorCode());
    }
    if (retriever.Status() != UrlRetriever::kOk) return NTE_FAIL;
    std::string_view body = retriever.Body();
    if (encoding != kWithHeader) {
        const std::size_t start = FindAfter(body, kCertificateBegin, 0);
        const std::size_t end = start == kNotFound ? kNotFound : body.find(kCertificateEnd, start);
        if (end == kNotFound) return CERTSRV_E_INVALID_CA_CERTIFICATE;
        body = body.substr(start, end - start);
    }
    return HandOut(WideOfPage(body), text);
}

// ---- what is known of the request ------------------------------------------------

HRESULT FLCA15Request::GetCertificate(LONG flags, BSTR* text) {
    if (const HRESULT failed = CheckCredentials(); failed != S_OK) return failed;
    if (text == nullptr) return E_INVALIDARG;
    const LONG encoding = flags & kEncodingMask;
    if (encoding == kView) return CopyOfView(certificateView_, text);
    if (certificateText_.empty()) return E_UNEXPECTED;
    if ((flags & kRevocationLists) != 0 || encoding == kBinary) return E_NOTIMPL;
    if (encoding == kBare) return HandOut(WideOfPage(certificateText_), text);
    if (encoding != kWithHeader) return NTE_FAIL;
    const std::string armoured =
        std::string(kCertificateBegin) + certificateText_ + std::string(kCertificateEnd);
    return HandOut(WideOfPage(armoured), text);
}

HRESULT FLCA15Request::GetRequestId(LONG* id) {
    if (const HRESULT failed = CheckCredentials(); failed != S_OK) return failed;
    if (id == nullptr) return E_INVALIDARG;
    *id = requestId_;
    return requestId_ != -1 ? S_OK : E_UNEXPECTED;
}

HRESULT FLCA15Request::GetRequestText(LONG flags, BSTR* text) {
    if (const HRESULT failed = CheckCredentials(); failed != S_OK) return failed;
    if (text == nullptr) return E_INVALIDARG;
    return flags == kView ? CopyOfView(requestView_, text) : E_NOTIMPL;
}

void FLCA15Request::ResetState() {
    SetDisposition(CR_DISP_ERROR);
    requestId_ = -1;
    certificateId_ = -1;
    certificateView_.clear();
    requestView_.clear();
    certificateText_.clear();
    certificateSerial_.clear();
}

}  // namespace kestrel
