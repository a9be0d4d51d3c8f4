// Addresses; RFC 3986 names the parts.
#include "platform/http/url.h"

#include <algorithm>
#include <cstdint>
#include <memory>

#include "platform/base/error.h"
#include "platform/base/text.h"
#include "platform/http/curl_library.h"

namespace platform {
namespace {

[[noreturn]] void ThrowInvalid() { throw Error(ERROR_WINHTTP_INVALID_URL); }

// 1 to 65535 in decimal digits alone.
template <class View>
WORD ParsePort(View digits) {
    constexpr std::size_t kMostDigits = 5;
    std::uint32_t port = 0;
    if (digits.empty() || digits.size() > kMostDigits) ThrowInvalid();
    for (const auto digit : digits) {
        if (digit < '0' || digit > '9') ThrowInvalid();
        port = port * 10 + static_cast<std::uint32_t>(digit - '0');
    }
    if (port == 0 || port > UINT16_MAX) ThrowInvalid();
    return static_cast<WORD>(port);
}

// Where the port's colon stands, npos without one. An address in brackets has its own.
template <class View>
std::size_t PortColon(View authority) {
    const auto bracket = authority.rfind(']');
    const auto colon = authority.rfind(':');
    if (colon == View::npos || (bracket != View::npos && colon < bracket)) return View::npos;
    return colon;
}

// What a host may not hold: parts of an address that would change where it leads.
template <class View>
void CheckHost(View host) {
    using Character = typename View::value_type;
    const bool bracketed = !host.empty() && host.front() == '[' && host.back() == ']';
    const View name = bracketed ? host.substr(1, host.size() - 2) : host;
    const auto bad = [bracketed](Character c) {
        const bool control = (c >= 0 && c <= ' ') || c == 0x7F;
        const bool colon = c == ':' && !bracketed;
        return control || colon ||
               std::string_view("/\\?#@[]<>\"%^`{|}")
                       .find(static_cast<char>(c > 0x7F || c < 0 ? 'a' : c)) !=
                   std::string_view::npos;
    };
    if (name.empty() || std::any_of(name.begin(), name.end(), bad)) ThrowInvalid();
}

bool MustEscape(unsigned char byte) {
    return byte <= ' ' || byte >= 0x7F ||
           std::string_view("\"<>\\^`{|}").find(static_cast<char>(byte)) != std::string_view::npos;
}

// ---- taking apart ----------------------------------------------------------------

std::size_t SchemeOf(std::wstring_view url, UrlPieces& pieces) {
    constexpr std::wstring_view kMark = L"://";
    const std::size_t mark = url.find(kMark);
    if (mark == url.npos || mark == 0) {
        throw Error(url.find(L':') == url.npos ? ERROR_WINHTTP_INVALID_URL
                                               : ERROR_WINHTTP_UNRECOGNIZED_SCHEME);
    }
    pieces.scheme = url.substr(0, mark);
    const std::wstring folded = FoldCase(pieces.scheme);
    if (folded != L"http" && folded != L"https") throw Error(ERROR_WINHTTP_UNRECOGNIZED_SCHEME);
    pieces.secure = folded == L"https";
    return mark + kMark.size();
}

void TakeUserInfo(std::wstring_view& authority, UrlPieces& pieces) {
    const std::size_t at = authority.rfind(L'@');
    if (at == authority.npos) return;
    const std::wstring_view info = authority.substr(0, at);
    authority.remove_prefix(at + 1);
    const std::size_t colon = info.find(L':');
    pieces.user = info.substr(0, colon);
    if (colon != info.npos) pieces.password = info.substr(colon + 1);
}

// ---- libcurl's addresses -----------------------------------------------------------

using UrlHolder = std::unique_ptr<CURLU, CurlFreer<&CurlLibrary::curl_url_cleanup>>;

std::string PartOf(const UrlHolder& url, CURLUPart part, unsigned flags = 0) {
    char* text = nullptr;
    if (Curl().curl_url_get(url.get(), part, &text, flags) != CURLUE_OK) return {};
    std::string copy = text;
    Curl().curl_free(text);
    return copy;
}

}  // namespace

std::string HttpUrl::Text() const {
    return (secure ? "https://" : "http://") + HostAndPort() + object;
}

bool HttpUrl::SameOrigin(const HttpUrl& other) const {
    return secure == other.secure && port == other.port && SameName(host, other.host);
}

ServerName ParseServerName(std::string_view text) {
    ServerName name;
    // An IPv6 address alone: more than one colon and no brackets.
    const bool bare = text.find('[') == text.npos && std::count(text.begin(), text.end(), ':') > 1;
    const std::size_t colon = bare ? text.npos : PortColon(text);
    name.host = bare ? "[" + std::string(text) + "]" : std::string(text.substr(0, colon));
    CheckHost(std::string_view(name.host));
    if (colon != text.npos) name.port = ParsePort(text.substr(colon + 1));
    return name;
}

std::string TargetOf(std::string_view name) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string object;
    if (!name.starts_with('/')) object += '/';
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        if (!MustEscape(byte)) {
            object += c;
            continue;
        }
        object += '%';
        object += kDigits[byte >> 4];
        object += kDigits[byte & 0xF];
    }
    return object;
}

std::optional<HttpUrl> ResolveLocation(const HttpUrl& base, const std::string& location) {
    const CurlLibrary& curl = Curl();
    const UrlHolder url(curl.curl_url());
    constexpr unsigned kFlags = CURLU_NON_SUPPORT_SCHEME | CURLU_URLENCODE;
    if (!url ||
        curl.curl_url_set(url.get(), CURLUPART_URL, base.Text().c_str(), CURLU_PATH_AS_IS) !=
            CURLUE_OK ||
        curl.curl_url_set(url.get(), CURLUPART_URL, location.c_str(), kFlags) != CURLUE_OK) {
        return std::nullopt;
    }
    const std::string scheme = PartOf(url, CURLUPART_SCHEME);
    HttpUrl result;
    result.secure = scheme == "https";
    if (!result.secure && scheme != "http") return std::nullopt;
    try {
        result.host = ParseServerName(PartOf(url, CURLUPART_HOST)).host;
        result.port = ParsePort(std::string_view(PartOf(url, CURLUPART_PORT, CURLU_DEFAULT_PORT)));
    } catch (const Error&) {
        return std::nullopt;
    }
    const std::string query = PartOf(url, CURLUPART_QUERY);
    result.object = TargetOf(PartOf(url, CURLUPART_PATH) + (query.empty() ? "" : "?" + query));
    return result;
}

UrlPieces CrackUrl(std::wstring_view url) {
    const auto bad = [](wchar_t c) { return (c >= 0 && c <= L' ') || c == 0x7F; };
    if (url.empty() || std::any_of(url.begin(), url.end(), bad)) ThrowInvalid();
    UrlPieces pieces;
    const std::size_t begin = SchemeOf(url, pieces);
    const std::size_t end = std::min(url.find_first_of(L"/?#", begin), url.size());
    std::wstring_view authority = url.substr(begin, end - begin);
    TakeUserInfo(authority, pieces);
    const std::size_t colon = PortColon(authority);
    pieces.host = authority.substr(0, colon);
    CheckHost(pieces.host);
    pieces.port = colon == authority.npos ? DefaultPort(pieces.secure)
                                          : ParsePort(authority.substr(colon + 1));
    const std::size_t extra = std::min(url.find_first_of(L"?#", end), url.size());
    pieces.path = url.substr(end, extra - end);
    pieces.extra = url.substr(extra);
    return pieces;
}

}  // namespace platform
