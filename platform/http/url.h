// Addresses: taken apart for the caller, put together for a transfer.
#pragma once

#include "platform/http/ground.h"

#include <optional>
#include <string>
#include <string_view>

namespace platform {

// Where a request goes. The host is as it stands in an address: "[::1]" with its brackets.
struct HttpUrl {
    bool secure = false;
    std::string host;
    WORD port = INTERNET_DEFAULT_HTTP_PORT;
    std::string object = "/";  // path with query, as it is sent

    [[nodiscard]] std::string HostAndPort() const { return host + ":" + std::to_string(port); }
    [[nodiscard]] std::string Text() const;
    // Scheme, host and port are the same: what is secret between both ends may go there.
    [[nodiscard]] bool SameOrigin(const HttpUrl& other) const;
};

constexpr WORD DefaultPort(bool secure) {
    return secure ? INTERNET_DEFAULT_HTTPS_PORT : INTERNET_DEFAULT_HTTP_PORT;
}

// A server's name, with a port behind it or not. Throws ERROR_WINHTTP_INVALID_URL.
struct ServerName {
    std::string host;
    std::optional<WORD> port;
};
ServerName ParseServerName(std::string_view text);

// The object of a request as it is sent: with its slash, blanks and bytes that no address
// may hold escaped.
std::string TargetOf(std::string_view name);

// Of one request or download.
inline constexpr int kMostRedirects = 10;

// Where a Location leads from `base` (RFC 3986 5.2). Credentials in it are left out. No
// value for an address that is malformed or of another scheme than http and https.
std::optional<HttpUrl> ResolveLocation(const HttpUrl& base, const std::string& location);

// The pieces of an absolute address, as views into it. An absent piece is empty; where it
// would begin is kept for the path and what follows.
struct UrlPieces {
    bool secure = false;
    std::wstring_view scheme;
    std::wstring_view host;
    WORD port = 0;
    std::wstring_view user;
    std::wstring_view password;
    std::wstring_view path;
    std::wstring_view extra;  // from "?" or "#" on
};
// Throws ERROR_WINHTTP_UNRECOGNIZED_SCHEME and ERROR_WINHTTP_INVALID_URL.
UrlPieces CrackUrl(std::wstring_view url);

}  // namespace platform
