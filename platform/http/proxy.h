// Which proxy a transfer takes: rules as a session holds them, and the user's settings.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/bytes.h"
#include "platform/http/url.h"

namespace platform {

// One proxy; without a server the connection is direct.
struct Proxy {
    std::string scheme;  // "http", "socks4", "socks4a", "socks5", "socks5h"
    std::string hostAndPort;
    std::string user;  // told by an address in the environment
    Secret password;

    [[nodiscard]] bool Direct() const { return hostAndPort.empty(); }
};

// A list of proxies and the hosts that need none.
class ProxyRules {
  public:
    ProxyRules() = default;
    // `proxies`: "[URL's scheme=][proxy's scheme://]server[:port]" parted by ";" or blanks.
    // `bypass`: hosts in the same way, "*" for any text, "<local>" for names without a dot.
    // Throws ERROR_WINHTTP_INVALID_URL and ERROR_WINHTTP_UNRECOGNIZED_SCHEME; the detail holds
    // nothing of the address, as there may be a password in it.
    ProxyRules(std::string_view proxies, std::string_view bypass);
    [[nodiscard]] Proxy For(const HttpUrl& url) const;

  private:
    [[nodiscard]] bool Bypasses(const HttpUrl& url) const;
    struct Entry {
        std::string urlScheme;  // empty: any
        Proxy proxy;
    };
    std::vector<Entry> entries_;
    std::vector<std::string> bypass_;
};

// Text parted by any of `separators`, without empty words.
std::vector<std::string_view> Words(std::string_view text, std::string_view separators);

// In the forms of ProxyRules.
struct ProxySettings {
    std::string proxies;
    std::string bypass;
    std::string scriptUrl;
};
// Of the environment or else of the registry. No value when neither says anything.
std::optional<ProxySettings> UserProxySettings();
ProxyRules UserProxyRules();

}  // namespace platform
