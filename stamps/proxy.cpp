// The user's proxy settings.
#include "stamps/connection.h"
#include "stamps/failure.h"

namespace Ferroline::PKI {
namespace {

using HTTP::Http;

// A text of the HTTP client, given back once taken.
bool Take(LPWSTR text, std::wstring& value) {
    if (text == nullptr) return false;
    value = text;
    GlobalFree(text);
    return true;
}

struct AutoSettings {
    bool detect = false;
    std::wstring configUrl;
};

// False when there is nothing left to do: no settings, or a fixed proxy.
bool ReadUserSettings(StampSettings& settings, AutoSettings& automatic) {
    WINHTTP_CURRENT_USER_IE_PROXY_CONFIG config{};
    config.fAutoDetect = TRUE;
    if (!Http().GetIEProxyConfigForCurrentUser(&config)) {
        if (GetLastError() == ERROR_FILE_NOT_FOUND) return false;
        ATL::ThrowLastError();
    }
    automatic.detect = config.fAutoDetect != FALSE;
    Take(config.lpszAutoConfigUrl, automatic.configUrl);
    Take(config.lpszProxyBypass, settings.proxyBypass);
    Take(config.lpszProxy, settings.proxy);
    return settings.proxy.empty() && (automatic.detect || !automatic.configUrl.empty());
}

WINHTTP_AUTOPROXY_OPTIONS OptionsOf(const AutoSettings& automatic) {
    WINHTTP_AUTOPROXY_OPTIONS options{};
    options.dwFlags = WINHTTP_AUTOPROXY_RUN_INPROCESS;
    options.fAutoLogonIfChallenged = TRUE;
    if (automatic.detect) {
        options.dwFlags |= WINHTTP_AUTOPROXY_AUTO_DETECT;
        options.dwAutoDetectFlags = WINHTTP_AUTO_DETECT_TYPE_DHCP | WINHTTP_AUTO_DETECT_TYPE_DNS_A;
    } else {
        options.dwFlags |= WINHTTP_AUTOPROXY_CONFIG_URL;
        options.lpszAutoConfigUrl = automatic.configUrl.c_str();
    }
    return options;
}

}  // namespace

void DetectProxy(StampSettings& settings, HINTERNET library) {
    AutoSettings automatic;
    if (!ReadUserSettings(settings, automatic)) return;
    WINHTTP_AUTOPROXY_OPTIONS options = OptionsOf(automatic);
    WINHTTP_PROXY_INFO info{};
    if (!Http().GetProxyForUrl(library, settings.url.c_str(), &options, &info)) {
        if (GetLastError() == ERROR_WINHTTP_AUTODETECTION_FAILED) return;
        ATL::ThrowLastError();
    }
    if (!Take(info.lpszProxy, settings.proxy)) settings.proxy.clear();
    if (!Take(info.lpszProxyBypass, settings.proxyBypass)) settings.proxyBypass.clear();
}

}  // namespace Ferroline::PKI
