// The user's own proxy settings: the environment's, or else the registry's.
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

// A domain there means its hosts too, with a dot before it or without.
std::string BypassOf(std::string_view noProxy) {
    std::string bypass;
    for (std::string_view host : Words(noProxy, ", \t")) {
        while (host.starts_with('.')) host.remove_prefix(1);
        bypass.append(bypass.empty() ? "" : ";").append(host);
        if (host.find('*') == host.npos) bypass.append(";*.").append(host);
    }
    return bypass;
}

std::optional<ProxySettings> FromEnvironment() {
    const std::string any = Environment("all_proxy");
    std::string http = Environment("http_proxy");
    std::string https = Environment("https_proxy");
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
    return settings;
}

}  // namespace

std::optional<ProxySettings> UserProxySettings() {
    if (auto settings = FromEnvironment()) return settings;
    if (auto settings = FromRegistry(Side::User)) return settings;
    return FromRegistry(Side::Machine);
}

}  // namespace platform
