// One exchange with an authority over the system's HTTP client.
#include "enroll/url_retriever.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <new>

#include "front/core/atl_exception.h"
#include "front/core/encoding.h"
#include "front/core/holders.h"
#include "selection/names.h"
#include "stamps/http_calls.h"

namespace kestrel {

namespace {

using Ferroline::HTTP::Http;
using Ferroline::HTTP::HttpHolder;

// The authority's pages know browsers by such names.
constexpr wchar_t kAgent[] = L"UrlRetriever {Mozilla MSIE 6 Win 2000}";
constexpr wchar_t kFormType[] = L"Content-Type: application/x-www-form-urlencoded";
constexpr DWORD kWholeText = static_cast<DWORD>(-1);
constexpr DWORD kAnyServer =
    SECURITY_FLAG_IGNORE_UNKNOWN_CA | SECURITY_FLAG_IGNORE_CERT_WRONG_USAGE |
    SECURITY_FLAG_IGNORE_CERT_CN_INVALID | SECURITY_FLAG_IGNORE_CERT_DATE_INVALID;
constexpr std::size_t kThumbprintLength = 40;
constexpr std::size_t kFirstRoom = 0x10000;

bool Took(HttpHolder& holder, HINTERNET handle) {
    *holder.Fill() = handle;
    return handle != nullptr;
}

int DigitOf(char character) {
    const int lower = std::tolower(static_cast<unsigned char>(character));
    if (lower >= '0' && lower <= '9') return lower - '0';
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

}  // namespace

bool ParseThumbprint(const char* text, std::size_t length, BYTE* out, DWORD& size) {
    const std::size_t pairs = std::min<std::size_t>(std::min(length, kThumbprintLength) / 2, size);
    for (std::size_t i = 0; i < pairs; ++i) {
        const int high = DigitOf(text[2 * i]);
        const int low = DigitOf(text[2 * i + 1]);
        if (high < 0 || low < 0) return false;
        out[i] = static_cast<BYTE>(high * 16 + low);
    }
    size = static_cast<DWORD>(pairs);
    return true;
}

void SplitUrl(std::string_view url, std::string& host, std::string& path) {
    for (const std::string_view scheme : {"http://", "https://"}) {
        if (url.starts_with(scheme)) url.remove_prefix(scheme.size());
    }
    const std::size_t slash = url.find('/');
    const bool parted = slash != std::string_view::npos && slash != 0;
    host = parted ? url.substr(0, slash) : url;
    path = parted ? url.substr(slash) : std::string_view();
}

void UrlRetriever::SetClientCertificate(const char* thumbprint) {
    useClientCertificate_ = thumbprint != nullptr;
    if (thumbprint != nullptr) thumbprint_ = thumbprint;
}

void UrlRetriever::SetPostData(std::string_view bytes) {
    postData_.Clear();
    postData_.Append(bytes);
}

bool UrlRetriever::Fetch(const std::string& url) {
    succeeded_ = false;
    status_ = 0;
    lastError_ = 0;
    body_.clear();
    SetLastError(0);
    try {
        if (Exchange(url)) return true;
    } catch (const ATL::CAtlException&) {
        // The HTTP client is not there, and the last error tells why.
    } catch (const std::bad_alloc&) {
        std::fputs("Out of memory\n", stdout);
        std::fflush(stdout);
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    }
    lastError_ = GetLastError();
    return false;
}

DWORD UrlRetriever::FetchErrorCode() const {
    if (lastError_ != 0) return lastError_;
    return status_ == kOk || status_ == kMoved ? 0 : ERROR_WINHTTP_CONNECTION_ERROR;
}

bool UrlRetriever::Exchange(const std::string& url) {
    HttpHolder session;
    HttpHolder connection;
    HttpHolder request;
    if (!Took(session, Http().Open(kAgent, WINHTTP_ACCESS_TYPE_DEFAULT_PROXY, WINHTTP_NO_PROXY_NAME,
                                   WINHTTP_NO_PROXY_BYPASS, 0))) {
        return false;
    }
    const int limit = static_cast<int>(timeout_);
    if (timeout_ != 0) Http().SetTimeouts(session.Get(), limit, limit, limit, limit);
    std::string host;
    std::string path;
    std::wstring wideHost;
    std::wstring widePath;
    SplitUrl(url, host, path);
    if (!WideName(host.c_str(), wideHost) || !WideName(path.c_str(), widePath)) return false;
    if (!Took(connection, Http().Connect(session.Get(), wideHost.c_str(), 0, 0))) return false;
    // enroll-25: the scheme is looked for anywhere.
    const DWORD flags = url.find("http://") != std::string::npos ? 0 : WINHTTP_FLAG_SECURE;
    const wchar_t* const verb = postData_.text.empty() ? L"GET" : L"POST";
    return Took(request,
                Http().OpenRequest(connection.Get(), verb, widePath.c_str(), nullptr,
                                   WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES, flags)) &&
           Prepare(request.Get()) && Send(request.Get()) && ReadStatus(request.Get()) &&
           ReadBody(request.Get());
}

bool UrlRetriever::Prepare(HINTERNET request) const {
    DWORD flags = kAnyServer;
    if (!verifyAuthority_ &&
        !Http().SetOption(request, WINHTTP_OPTION_SECURITY_FLAGS, &flags, sizeof(flags))) {
        return false;
    }
    return (!useClientCertificate_ || PresentCertificate(request)) && AddHeaders(request);
}

// Without a certificate of that thumbprint the server decides.
bool UrlRetriever::PresentCertificate(HINTERNET request) const {
    StoreHolder store;
    *store.Fill() = CertOpenSystemStoreA(0, "MY");
    if (store.Get() == nullptr) return true;
    BYTE hash[kThumbprintLength / 2];
    DWORD size = sizeof(hash);
    if (thumbprint_.size() != kThumbprintLength ||
        !ParseThumbprint(thumbprint_.data(), thumbprint_.size(), hash, size)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    CRYPT_HASH_BLOB blob{size, hash};
    const CertificateHolder found(CertFindCertificateInStore(store.Get(), kMessageEncodingType, 0,
                                                             CERT_FIND_SHA1_HASH, &blob, nullptr));
    if (!found) return true;
    return Http().SetOption(request, WINHTTP_OPTION_CLIENT_CERT_CONTEXT,
                            const_cast<CERT_CONTEXT*>(found.get()), sizeof(*found)) != FALSE;
}

bool UrlRetriever::AddHeaders(HINTERNET request) const {
    if (!postData_.text.empty() &&
        !Http().AddRequestHeaders(request, kFormType, kWholeText, WINHTTP_ADDREQ_FLAG_ADD)) {
        return false;
    }
    if (extraHeaders_ == nullptr) return true;
    return std::all_of(
        extraHeaders_->begin(), extraHeaders_->end(), [&](const std::string& header) {
            std::wstring line;
            return WideName(header.c_str(), line) &&
                   Http().AddRequestHeaders(request, line.c_str(), kWholeText,
                                            WINHTTP_ADDREQ_FLAG_ADD | WINHTTP_ADDREQ_FLAG_REPLACE);
        });
}

bool UrlRetriever::Send(HINTERNET request) const {
    const std::string& data = postData_.text;
    const std::size_t length = data.ends_with('\0') ? data.size() - 1 : data.size();
    const auto size = static_cast<DWORD>(length);
    return Http().SendRequest(request, WINHTTP_NO_ADDITIONAL_HEADERS, 0,
                              const_cast<char*>(data.data()), size, size, 0) &&
           Http().ReceiveResponse(request, nullptr);
}

// Any other status than the two ends the exchange without an error of the platform's.
bool UrlRetriever::ReadStatus(HINTERNET request) {
    DWORD size = sizeof(status_);
    if (!Http().QueryHeaders(request, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                             WINHTTP_HEADER_NAME_BY_INDEX, &status_, &size,
                             WINHTTP_NO_HEADER_INDEX)) {
        status_ = 0;
        return false;
    }
    succeeded_ = status_ == kOk;
    if (succeeded_ || status_ == kMoved) return true;
    SetLastError(0);
    return false;
}

// In powers of two, so that the old and the new never hold more than the limit together.
void UrlRetriever::MakeRoom(std::size_t more) {
    std::size_t room = std::max(body_.capacity(), kFirstRoom);
    while (room < body_.size() + more) room *= 2;
    if (room > body_.capacity()) body_.reserve(std::min(room, kMostBody));
}

bool UrlRetriever::ReadBody(HINTERNET request) {
    for (;;) {
        DWORD size = 0;
        if (!Http().QueryDataAvailable(request, &size)) return false;
        if (size == 0) return true;
        const std::size_t before = body_.size();
        if (size > kMostBody - before) {
            body_.clear();
            body_.shrink_to_fit();
            SetLastError(ERROR_FILE_TOO_LARGE);
            return false;
        }
        MakeRoom(size);
        body_.resize(before + size);
        DWORD read = 0;
        const BOOL done = Http().ReadData(request, body_.data() + before, size, &read);
        body_.resize(before + read);
        if (!done) return false;
        if (read == 0) return true;
    }
}

}  // namespace kestrel
