// Options of sessions and requests.
#include "platform/http/options.h"

#include <cstring>

#include "platform/base/error.h"
#include "platform/base/text.h"

namespace platform {
namespace {

template <class T>
T& Level(InternetObject& object) {
    auto* const level = dynamic_cast<T*>(&object);
    if (level == nullptr) throw Error(ERROR_WINHTTP_INCORRECT_HANDLE_TYPE);
    return *level;
}

template <class Value>
Value ValueOf(const void* data, DWORD size) {
    if (data == nullptr || size != sizeof(Value)) throw Error(ERROR_INVALID_PARAMETER);
    Value value;
    std::memcpy(&value, data, sizeof value);
    return value;
}

// Sessions and requests hold some things by the same names.
template <class Change>
void OnSessionOrRequest(InternetObject& object, Change change) {
    if (auto* const session = dynamic_cast<Session*>(&object)) return change(*session);
    change(Level<Request>(object));
}

void SetSecurityFlags(Request& request, DWORD flags) {
    constexpr DWORD kKnown =
        SECURITY_FLAG_IGNORE_UNKNOWN_CA | SECURITY_FLAG_IGNORE_CERT_WRONG_USAGE |
        SECURITY_FLAG_IGNORE_CERT_CN_INVALID | SECURITY_FLAG_IGNORE_CERT_DATE_INVALID;
    if ((flags & ~kKnown) != 0) throw Error(ERROR_INVALID_PARAMETER);
    request.ignoredFaults = flags;
}

void SetClientCertificate(Request& request, const void* value, DWORD size) {
    if (value == nullptr && size == 0) return request.SetClientCertificate(nullptr);
    if (size != sizeof(CERT_CONTEXT)) throw Error(ERROR_INVALID_PARAMETER);
    request.SetClientCertificate(Certificate::Of(static_cast<PCCERT_CONTEXT>(value)));
}

void SetAutologon(Request& request, DWORD level) {
    if (level > WINHTTP_AUTOLOGON_SECURITY_LEVEL_HIGH) throw Error(ERROR_INVALID_PARAMETER);
    request.autologon = level;
}

}  // namespace

ProxyRules ProxiesOf(DWORD accessType, LPCWSTR proxy, LPCWSTR bypass) {
    switch (accessType) {
        case WINHTTP_ACCESS_TYPE_NO_PROXY:
            return {};
        case WINHTTP_ACCESS_TYPE_DEFAULT_PROXY:
            return UserProxyRules();
        case WINHTTP_ACCESS_TYPE_NAMED_PROXY:
            if (proxy == nullptr || *proxy == L'\0') throw Error(ERROR_INVALID_PARAMETER);
            return {Narrow(proxy), bypass == nullptr ? std::string() : Narrow(bypass)};
        default:
            throw Error(ERROR_INVALID_PARAMETER);
    }
}

void SetOption(InternetObject& object, DWORD option, const void* value, DWORD size) {
    switch (option) {
        case WINHTTP_OPTION_PROXY: {
            const auto info = ValueOf<WINHTTP_PROXY_INFO>(value, size);
            const ProxyRules rules =
                ProxiesOf(info.dwAccessType, info.lpszProxy, info.lpszProxyBypass);
            return OnSessionOrRequest(object, [&](auto& level) { level.proxies = rules; });
        }
        case WINHTTP_OPTION_SECURITY_FLAGS:
            return SetSecurityFlags(Level<Request>(object), ValueOf<DWORD>(value, size));
        case WINHTTP_OPTION_CLIENT_CERT_CONTEXT:
            return SetClientCertificate(Level<Request>(object), value, size);
        case WINHTTP_OPTION_AUTOLOGON_POLICY:
            return SetAutologon(Level<Request>(object), ValueOf<DWORD>(value, size));
        default:
            throw Error(ERROR_WINHTTP_INVALID_OPTION);
    }
}

void SetTimeouts(InternetObject& object, Timeouts timeouts) {
    for (int* each : {&timeouts.resolve, &timeouts.connect, &timeouts.send, &timeouts.receive}) {
        if (*each < -1) throw Error(ERROR_INVALID_PARAMETER);
        if (*each == -1) *each = 0;
    }
    OnSessionOrRequest(object, [&](auto& level) { level.timeouts = timeouts; });
}

bool IsOneScheme(DWORD scheme) {
    return scheme == WINHTTP_AUTH_SCHEME_BASIC || scheme == WINHTTP_AUTH_SCHEME_NTLM ||
           scheme == WINHTTP_AUTH_SCHEME_DIGEST || scheme == WINHTTP_AUTH_SCHEME_NEGOTIATE;
}

}  // namespace platform
