// The user's own proxy settings: the environment's, or else the registry's.
#include <algorithm>
#include <cstdlib>

#include "platform/base/error.h"
#include "platform/http/proxy.h"
#include "platform/registry/registry.h"

namespace platform {
namespace {

// Empty when it is not set. A web server hands a request's "Proxy" header to its programs
// as HTTP_PROXY.
std::string Environment(const std::string& lower) {
    if (const char* value = std::getenv(lower.c_str()); value != nullptr && *value != '\0') {
        return value;
    }
    std::string upper = lower;
    for (char& c : upper) c = c == '_' ? c : static_cast<char>(c & ~0x20);
    if (upper == "HTTP_PROXY" && std::getenv("REQUEST_METHOD") != nullptr) return {};
    const char* value = std::getenv(upper.c_str());
    return value == nullptr ? std::string() : value;
}

// One address, on its way into a list: what parts the list may stand in its password.
std::string ProxyIn(const std::string& variable) {
    std::string address;
    for (const char c : Environment(variable)) {
        if (c == ';') {
            address += "%3B";
        } else if (c == '=') {
            address += "%3D";
        } else {
            address += c;
        }
    }
    return address;
}

// A domain there means its hosts too, with a dot before it or without; an address of IPv6 may
// stand without its brackets.
std::string BypassOf(std::string_view noProxy) {
    std::string bypass;
    for (const std::string_view word : Words(noProxy, ", \t")) {
        std::string host(word.substr(std::min(word.find_first_not_of('.'), word.size())));
        if (std::ranges::count(host, ':') > 1 && !host.starts_with('[')) host = "[" + host + "]";
        bypass.append(bypass.empty() ? "" : ";").append(host);
        if (host.find('*') == host.npos) bypass.append(";*.").append(host);
    }
    return bypass;
}

std::optional<ProxySettings> FromEnvironment() {
    const std::string any = ProxyIn("all_proxy");
    std::string http = ProxyIn("http_proxy");
    std::string https = ProxyIn("https_proxy");
    if (http.empty()) http = any;
    if (https.empty()) https = any;
    if (http.empty() && https.empty()) return std::nullopt;
    ProxySettings settings;
    if (!http.empty()) settings.proxies = "http=" + http;
    if (!https.empty()) settings.proxies.append(http.empty() ? "" : ";").append("https=" + https);
    if (http == https) settings.proxies = http;
    settings.bypass = BypassOf(Environment("no_proxy"));
    return settings;
}

// ---- the registry ------------------------------------------------------------------

constexpr const char* kSettingsKey =
    "Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";

std::string TextNamed(const RegistryNode& key, const char* name) {
    const RegistryValue* value = key.FindValue(name);
    return value == nullptr ? std::string() : TextOf(*value);
}

std::optional<ProxySettings> FromRegistry(Side side) {
    const auto key = FindKey(LoadSide(side)->Root(), kSettingsKey);
    if (key == nullptr) return std::nullopt;
    ProxySettings settings;
    const RegistryValue* enabled = key->FindValue("ProxyEnable");
    if (enabled != nullptr && NumberOf(*enabled).value_or(0) != 0) {
        settings.proxies = TextNamed(*key, "ProxyServer");
        settings.bypass = TextNamed(*key, "ProxyOverride");
    }
    settings.scriptUrl = TextNamed(*key, "AutoConfigURL");
    if (enabled == nullptr && settings.scriptUrl.empty()) return std::nullopt;
    return settings;
}

}  // namespace

std::optional<ProxySettings> UserProxySettings() {
    if (auto settings = FromEnvironment()) return settings;
    if (auto settings = FromRegistry(Side::User)) return settings;
    return FromRegistry(Side::Machine);
}

ProxyRules UserProxyRules() {
    const auto settings = UserProxySettings();
    return settings ? ProxyRules(settings->proxies, settings->bypass) : ProxyRules();
}

}  // namespace platform
