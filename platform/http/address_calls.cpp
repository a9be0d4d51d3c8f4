// The exported calls that take addresses apart and tell proxies.

#include <cstdlib>
#include <cstring>

#include "platform/base/error.h"
#include "platform/base/text.h"
#include "platform/http/proxy.h"
#include "platform/http/session.h"
#include "platform/http/url.h"

namespace platform {
namespace {

bool Wanted(const wchar_t* text, DWORD length) { return text != nullptr || length != 0; }

// Points the component out inside the address, or copies it into the caller's buffer.
void PutComponent(std::wstring_view piece, LPWSTR& text, DWORD& length) {
    if (!Wanted(text, length)) return;
    const auto size = static_cast<DWORD>(piece.size());
    if (text == nullptr) {
        text = const_cast<LPWSTR>(piece.data());
    } else {
        if (length <= size) {
            length = size + 1;
            throw Error(ERROR_INSUFFICIENT_BUFFER);
        }
        piece.copy(text, piece.size());
        text[piece.size()] = L'\0';
    }
    length = size;
}

void PutComponents(const UrlPieces& pieces, URL_COMPONENTS& out) {
    // Nobody who leaves the query aside loses it.
    const bool apart = Wanted(out.lpszExtraInfo, out.dwExtraInfoLength);
    const std::wstring_view path =
        apart ? pieces.path
              : std::wstring_view(pieces.path.data(), pieces.path.size() + pieces.extra.size());
    PutComponent(pieces.scheme, out.lpszScheme, out.dwSchemeLength);
    PutComponent(pieces.host, out.lpszHostName, out.dwHostNameLength);
    PutComponent(pieces.user, out.lpszUserName, out.dwUserNameLength);
    PutComponent(pieces.password, out.lpszPassword, out.dwPasswordLength);
    PutComponent(path, out.lpszUrlPath, out.dwUrlPathLength);
    PutComponent(pieces.extra, out.lpszExtraInfo, out.dwExtraInfoLength);
    out.nScheme = pieces.secure ? INTERNET_SCHEME_HTTPS : INTERNET_SCHEME_HTTP;
    out.nPort = pieces.port;
}

// For GlobalFree; null for no text.
LPWSTR GlobalCopy(const std::string& narrow) {
    if (narrow.empty()) return nullptr;
    const std::wstring text = Widen(narrow);
    const std::size_t bytes = (text.size() + 1) * sizeof(wchar_t);
    void* copy = std::malloc(bytes);
    if (copy == nullptr) throw Error(ERROR_OUTOFMEMORY);
    return static_cast<LPWSTR>(std::memcpy(copy, text.c_str(), bytes));
}

void PutSettings(const ProxySettings& settings, WINHTTP_CURRENT_USER_IE_PROXY_CONFIG& out) {
    out = {};
    try {
        out.lpszAutoConfigUrl = GlobalCopy(settings.scriptUrl);
        out.lpszProxy = GlobalCopy(settings.proxies);
        out.lpszProxyBypass = GlobalCopy(settings.bypass);
    } catch (...) {
        for (LPWSTR text : {out.lpszAutoConfigUrl, out.lpszProxy}) std::free(text);
        out = {};
        throw;
    }
}

}  // namespace
}  // namespace platform

using namespace platform;

BOOL WINAPI WinHttpCrackUrl(LPCWSTR url, DWORD length, DWORD flags, LPURL_COMPONENTS components) {
    return GuardedBool([&] {
        if (url == nullptr || components == nullptr || flags != 0 ||
            components->dwStructSize != sizeof *components) {
            throw Error(ERROR_INVALID_PARAMETER);
        }
        PutComponents(
            CrackUrl(length == 0 ? std::wstring_view(url) : std::wstring_view(url, length)),
            *components);
    });
}

BOOL WINAPI WinHttpGetIEProxyConfigForCurrentUser(WINHTTP_CURRENT_USER_IE_PROXY_CONFIG* config) {
    return GuardedBool([&] {
        if (config == nullptr) throw Error(ERROR_INVALID_PARAMETER);
        const auto settings = UserProxySettings();
        if (!settings) throw Error(ERROR_FILE_NOT_FOUND);
        PutSettings(*settings, *config);
    });
}

// No script from the network is run inside this process.
BOOL WINAPI WinHttpGetProxyForUrl(HINTERNET session, LPCWSTR url,
                                  WINHTTP_AUTOPROXY_OPTIONS* options, WINHTTP_PROXY_INFO* info) {
    return GuardedBool([&] {
        const auto object = Resolve<InternetObject>(session);
        if (std::dynamic_pointer_cast<Session>(object) == nullptr) {
            throw Error(ERROR_WINHTTP_INCORRECT_HANDLE_TYPE);
        }
        if (url == nullptr || options == nullptr || info == nullptr) {
            throw Error(ERROR_INVALID_PARAMETER);
        }
        throw Error(ERROR_WINHTTP_AUTODETECTION_FAILED);
    });
}
