// One exchange with a time-stamp service.
#include "stamps/connection.h"

#include <string_view>
#include <vector>

#include "stamps/failure.h"

namespace Ferroline::PKI {
namespace {

using HTTP::Http;
using HTTP::HttpHolder;

// The services know the client by this name.
constexpr wchar_t kAgent[] = L"Ferro-Line stamper.dll";
constexpr wchar_t kContentType[] = L"Content-type: application/timestamp-query";
constexpr DWORD kReadSize = 65536;
constexpr DWORD kUnauthorized = 401;
constexpr DWORD kProxyUnauthorized = 407;

void SetNumber(HINTERNET handle, DWORD option, DWORD number) {
    RequireDone(Http().SetOption(handle, option, &number, sizeof(number)));
}

// ---- addresses -----------------------------------------------------------------

std::wstring Part(const wchar_t* start, DWORD length) {
    return start == nullptr ? std::wstring() : std::wstring(start, length);
}

// Into the pair, unless there is a user already: then the address's password is not his.
void TakeCredentials(const URL_COMPONENTS& parts, std::wstring& user, std::wstring& password) {
    const std::wstring found = Part(parts.lpszUserName, parts.dwUserNameLength);
    if (found.empty() || !user.empty()) return;
    user = found;
    const std::wstring secret = Part(parts.lpszPassword, parts.dwPasswordLength);
    if (!secret.empty()) password = secret;
}

URL_COMPONENTS Crack(const std::wstring& url, bool all) {
    URL_COMPONENTS parts{};
    parts.dwStructSize = sizeof(parts);
    parts.dwHostNameLength = 1;
    parts.dwUserNameLength = 1;
    parts.dwPasswordLength = 1;
    parts.dwUrlPathLength = 1;
    parts.dwSchemeLength = all ? 1 : 0;
    parts.dwExtraInfoLength = all ? 1 : 0;
    RequireDone(Http().CrackUrl(url.c_str(), 0, 0, &parts));
    return parts;
}

struct Address {
    std::wstring host;
    std::wstring object;  // path and query, without the first slash
    INTERNET_PORT port = 0;
    bool secure = false;
};

Address ReadAddress(StampSettings& settings) {
    const URL_COMPONENTS parts = Crack(settings.url, false);
    Address address;
    address.host = Part(parts.lpszHostName, parts.dwHostNameLength);
    address.port = parts.nPort;
    address.secure = parts.nScheme == INTERNET_SCHEME_HTTPS;
    if (parts.lpszUrlPath != nullptr && *parts.lpszUrlPath != L'\0') {
        address.object = parts.lpszUrlPath + 1;
    }
    TakeCredentials(parts, settings.user, settings.password);
    return address;
}

// Credentials go out only in answer to the proxy's challenge, so they leave its address.
void SplitProxy(StampSettings& settings) {
    const URL_COMPONENTS parts = Crack(settings.proxy, true);
    if (parts.dwUrlPathLength != 0 || parts.dwExtraInfoLength != 0) {
        Fail(ATL::ResultOfError(ERROR_WINHTTP_INVALID_URL));
    }
    TakeCredentials(parts, settings.proxyUser, settings.proxyPassword);
    settings.proxy = Part(parts.lpszScheme, parts.dwSchemeLength) + L"://" + parts.lpszHostName;
}

// ---- the request ---------------------------------------------------------------

// A proxy set by an earlier exchange stays when this one has none.
void ApplyProxy(CStampConnection& connection, StampSettings& settings) {
    if (settings.proxy != connection.lastProxy) connection.proxyChanged = true;
    connection.lastProxy = settings.proxy;
    if (settings.proxy.empty()) return;
    WINHTTP_PROXY_INFO info{WINHTTP_ACCESS_TYPE_NAMED_PROXY, settings.proxy.data(),
                            settings.proxyBypass.data()};
    RequireDone(
        Http().SetOption(connection.library.Get(), WINHTTP_OPTION_PROXY, &info, sizeof(info)));
}

// Without one of ours, no certificate is looked for either; over plain HTTP there is nothing
// to be said.
void ApplyClientCertificate(HINTERNET request, const StampSettings& settings, bool secure) {
    if (settings.clientCertificate != nullptr) {
        auto* const context = const_cast<CERT_CONTEXT*>(settings.clientCertificate);
        RequireDone(Http().SetOption(request, WINHTTP_OPTION_CLIENT_CERT_CONTEXT, context,
                                     sizeof(*context)));
    } else if (secure) {
        Http().SetOption(request, WINHTTP_OPTION_CLIENT_CERT_CONTEXT,
                         WINHTTP_NO_CLIENT_CERT_CONTEXT, 0);
    }
}

class Exchange {
  public:
    Exchange(CStampConnection& connection, HINTERNET request, const StampSettings& settings)
        : connection_(connection), request_(request), settings_(settings) {}

    // True when an answer is there to be read.
    bool Run(const CBlob& body) {
        DWORD previous = 0;
        for (;;) {
            if (!settings_.proxyUser.empty() && previous > 0) {
                SetCredentials(
                    WINHTTP_AUTH_TARGET_PROXY, settings_.proxyAuthType, settings_.proxyUser,
                    settings_.proxyPassword.empty() ? nullptr : settings_.proxyPassword.c_str());
            }
            if (!Send(body)) continue;
            ReadStatus();
            Schemes schemes;
            if (!Query(schemes) && GetLastError() != ERROR_INVALID_OPERATION) {
                ATL::ThrowLastError();
            }
            const DWORD status = connection_.status;
            if (status != kUnauthorized && status != kProxyUnauthorized) break;
            if (status == kProxyUnauthorized) connection_.proxyChanged = false;
            if (!Query(schemes)) return false;
            // The same challenge twice: the credentials were refused.
            if (!Answer(schemes) || status == previous) break;
            previous = status;
        }
        return connection_.status >= 200 && connection_.status <= 299;
    }

    CBlob ReadBody() {
        std::vector<std::uint8_t> body;  // grows by more than a piece at a time
        std::vector<std::uint8_t> piece(kReadSize);
        for (;;) {
            DWORD size = 0;
            RequireDone(Http().ReadData(request_, piece.data(), kReadSize, &size));
            if (size == 0) return CBlob(body);
            if (body.size() > UINT32_MAX - size) Fail(E_OUTOFMEMORY);
            body.insert(body.end(), piece.begin(), piece.begin() + size);
        }
    }

  private:
    struct Schemes {
        DWORD supported = 0;
        DWORD first = 0;
        DWORD target = 0;
    };

    // False when the request is to be sent again. A failed log-on counts as an answer: its
    // status decides.
    bool Send(const CBlob& body) {
        auto* const data = const_cast<std::uint8_t*>(body.GetData());
        const bool answered = Http().SendRequest(request_, kContentType, static_cast<DWORD>(-1),
                                                 data, body.GetSize(), body.GetSize(), 0) &&
                              Http().ReceiveResponse(request_, nullptr);
        if (answered) return true;
        const DWORD error = GetLastError();
        if (error == ERROR_WINHTTP_RESEND_REQUEST) return false;
        if (error != ERROR_WINHTTP_LOGIN_FAILURE) ATL::ThrowLastError();
        return true;
    }

    void ReadStatus() {
        DWORD status = 0;
        DWORD size = sizeof(status);
        RequireDone(Http().QueryHeaders(
            request_, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
            WINHTTP_HEADER_NAME_BY_INDEX, &status, &size, WINHTTP_NO_HEADER_INDEX));
        connection_.status = status;
    }

    bool Query(Schemes& schemes) {
        return Http().QueryAuthSchemes(request_, &schemes.supported, &schemes.first,
                                       &schemes.target) != FALSE;
    }

    void SetCredentials(DWORD target, DWORD scheme, const std::wstring& user,
                        const wchar_t* password) {
        RequireDone(
            Http().SetCredentials(request_, target, scheme, user.c_str(), password, nullptr));
    }

    // False when the scheme that is set was not offered. Basic and Digest go out with an empty
    // user rather than not at all.
    bool Answer(const Schemes& schemes) {
        const bool server = schemes.target == WINHTTP_AUTH_TARGET_SERVER;
        const DWORD scheme = server ? settings_.authType : settings_.proxyAuthType;
        const std::wstring& user = server ? settings_.user : settings_.proxyUser;
        const std::wstring& password = server ? settings_.password : settings_.proxyPassword;
        if ((scheme & schemes.supported) == 0) return false;
        const bool ownUser =
            scheme == WINHTTP_AUTH_SCHEME_NEGOTIATE || scheme == WINHTTP_AUTH_SCHEME_NTLM;
        if (user.empty() && ownUser) {
            SetNumber(request_, WINHTTP_OPTION_AUTOLOGON_POLICY,
                      WINHTTP_AUTOLOGON_SECURITY_LEVEL_LOW);
        } else {
            SetCredentials(schemes.target, scheme, user, password.c_str());
        }
        return true;
    }

    CStampConnection& connection_;
    HINTERNET request_;
    const StampSettings& settings_;
};

void OpenLibrary(CStampConnection& connection) {
    if (connection.library.Get() != nullptr) return;
    *connection.library.Fill() = Http().Open(kAgent, WINHTTP_ACCESS_TYPE_NO_PROXY,
                                             WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0);
    if (connection.library.Get() == nullptr) ATL::ThrowLastError();
}

void Fill(HttpHolder& holder, HINTERNET handle) {
    *holder.Fill() = handle;
    if (handle == nullptr) ATL::ThrowLastError();
}

}  // namespace

CBlob SendStampRequest(CStampConnection& connection, const CBlob& body) {
    connection.status = 0;
    // Credentials of an address and a proxy that was found are this exchange's alone.
    StampSettings settings = connection;
    const Address address = ReadAddress(settings);
    OpenLibrary(connection);
    if (!settings.proxy.empty()) {
        SplitProxy(settings);
    } else if (!settings.noProxyDetect) {
        DetectProxy(settings, connection.library.Get());
    }
    ApplyProxy(connection, settings);

    HttpHolder connect;
    Fill(connect, Http().Connect(connection.library.Get(), address.host.c_str(), address.port, 0));
    HttpHolder request;
    Fill(request, Http().OpenRequest(connect.Get(), L"POST", address.object.c_str(), nullptr,
                                     WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES,
                                     address.secure ? WINHTTP_FLAG_SECURE : 0));
    SetNumber(request.Get(), WINHTTP_OPTION_AUTOLOGON_POLICY,
              WINHTTP_AUTOLOGON_SECURITY_LEVEL_HIGH);
    ApplyClientCertificate(request.Get(), settings, address.secure);
    Exchange exchange(connection, request.Get(), settings);
    return exchange.Run(body) ? exchange.ReadBody() : CBlob();
}

}  // namespace Ferroline::PKI
