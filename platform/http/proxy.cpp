// Lists of proxies and of hosts that need none, as sessions are given them.
#include "platform/http/proxy.h"

#include <algorithm>
#include <utility>

#include "platform/base/bytes.h"
#include "platform/base/error.h"
#include "platform/base/text.h"

namespace platform {
namespace {

constexpr std::string_view kSeparators = "; \t\r\n";

}  // namespace

std::vector<std::string_view> Words(std::string_view text, std::string_view separators) {
    std::vector<std::string_view> words;
    while (true) {
        const std::size_t begin = text.find_first_not_of(separators);
        if (begin == text.npos) return words;
        text.remove_prefix(begin);
        const std::size_t end = std::min(text.find_first_of(separators), text.size());
        words.push_back(text.substr(0, end));
        text.remove_prefix(end);
    }
}

namespace {

std::string Unescaped(std::string_view text) {
    std::string plain;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool pair = text[at] == '%' && at + 2 < text.size() && HexValue(text[at + 1]) >= 0 &&
                          HexValue(text[at + 2]) >= 0;
        plain += pair ? static_cast<char>(HexValue(text[at + 1]) * 16 + HexValue(text[at + 2]))
                      : text[at];
        if (pair) at += 2;
    }
    return plain;
}

// A connection to the proxy itself is never TLS here: it would be trusted by other rules.
constexpr std::pair<std::string_view, WORD> kProxySchemes[] = {
    {"http", INTERNET_DEFAULT_HTTP_PORT},
    {"socks4", 1080},
    {"socks4a", 1080},
    {"socks5", 1080},
    {"socks5h", 1080},
};

Proxy ParseProxy(std::string_view text, std::string_view defaultScheme) {
    Proxy proxy;
    constexpr std::string_view kMark = "://";
    const std::size_t mark = text.find(kMark);
    const std::string_view scheme = mark == text.npos ? defaultScheme : text.substr(0, mark);
    if (mark != text.npos) text.remove_prefix(mark + kMark.size());
    const auto* const row =
        std::find_if(std::begin(kProxySchemes), std::end(kProxySchemes),
                     [&](const auto& known) { return SameName(known.first, scheme); });
    if (row == std::end(kProxySchemes)) throw Error(ERROR_WINHTTP_UNRECOGNIZED_SCHEME);
    proxy.scheme = row->first;
    if (const std::size_t at = text.rfind('@'); at != text.npos) {
        const std::string_view info = text.substr(0, at);
        const std::size_t colon = std::min(info.find(':'), info.size());
        proxy.user = Unescaped(info.substr(0, colon));
        std::string password = Unescaped(info.substr(std::min(colon + 1, info.size())));
        proxy.password = Secret(ViewOf(password));
        Wipe(password);
        text.remove_prefix(at + 1);
    }
    if (text.ends_with('/')) text.remove_suffix(1);
    const ServerName server = ParseServerName(text);
    proxy.hostAndPort = server.host + ":" + std::to_string(server.port.value_or(row->second));
    return proxy;
}

// "*" stands for any text.
bool Matches(std::string_view pattern, std::string_view text) {
    std::size_t star = pattern.npos;
    std::size_t retry = 0;
    std::size_t at = 0;
    std::size_t p = 0;
    while (at < text.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            retry = at;
        } else if (p < pattern.size() && pattern[p] == text[at]) {
            ++p;
            ++at;
        } else if (star != pattern.npos) {
            p = star + 1;
            at = ++retry;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == pattern.npos;
}

std::string Lower(std::string_view text) { return Narrow(FoldCase(Widen(text))); }

}  // namespace

ProxyRules::ProxyRules(std::string_view proxies, std::string_view bypass) {
    for (std::string_view word : Words(proxies, kSeparators)) {
        Entry entry;
        if (const std::size_t equals = word.find('='); equals != word.npos) {
            entry.urlScheme = Lower(word.substr(0, equals));
            word.remove_prefix(equals + 1);
        }
        try {
            entry.proxy = ParseProxy(word, entry.urlScheme == "socks" ? "socks4" : "http");
        } catch (const Error& error) {
            // Nobody is to look for the fault in the address that was asked for.
            throw Error(error.Code(), "the address of the proxy");
        }
        if (entry.urlScheme == "socks") entry.urlScheme.clear();
        entries_.push_back(std::move(entry));
    }
    for (const std::string_view word : Words(bypass, kSeparators)) bypass_.push_back(Lower(word));
}

bool ProxyRules::Bypasses(const HttpUrl& url) const {
    const std::string host = Lower(url.host);
    const std::string withPort = host + ":" + std::to_string(url.port);
    const std::string scheme = url.secure ? "https://" : "http://";
    return std::any_of(bypass_.begin(), bypass_.end(), [&](const std::string& pattern) {
        if (pattern == "<local>") return host.find_first_of(".:") == host.npos;
        return Matches(pattern, host) || Matches(pattern, withPort) ||
               Matches(pattern, scheme + host) || Matches(pattern, scheme + withPort);
    });
}

Proxy ProxyRules::For(const HttpUrl& url) const {
    if (entries_.empty() || Bypasses(url)) return {};
    const std::string_view scheme = url.secure ? "https" : "http";
    for (const std::string_view wanted : {scheme, std::string_view()}) {
        for (const Entry& entry : entries_) {
            if (entry.urlScheme == wanted) return entry.proxy;
        }
    }
    return {};
}

}  // namespace platform
