// The exported calls of the older client interface, on the sessions and requests of the newer one.
// The numbers of both are the same, their errors included.

#include "platform/base/error.h"
#include "platform/base/text.h"
#include "platform/http/call_parts.h"
#include "platform/http/curl_library.h"
#include "platform/http/headers_out.h"
#include "platform/http/options.h"
#include "platform/http/session.h"

namespace platform {
namespace {

std::string NarrowOr(LPCSTR text, const char* other) {
    return text == nullptr || *text == '\0' ? other : text;
}

std::wstring WideOrEmpty(LPCSTR text) { return text == nullptr ? std::wstring() : Widen(text); }

std::string_view LinesOf(LPCSTR lines, DWORD length) {
    if (lines == nullptr) return {};
    constexpr DWORD kUpToZero = static_cast<DWORD>(-1);
    return length == kUpToZero ? std::string_view(lines) : std::string_view(lines, length);
}

std::string AcceptedTypes(LPCSTR* types) {
    std::string list;
    for (; types != nullptr && *types != nullptr; ++types) {
        list.append(list.empty() ? "" : ", ").append(*types);
    }
    return list;
}

// One read of the transfer gives what is there; a caller here waits for all that it asked for.
std::size_t ReadFully(Request& request, void* buffer, std::size_t size) {
    auto* const bytes = static_cast<char*>(buffer);
    std::size_t count = 0;
    while (count < size) {
        const std::size_t more = request.Read(bytes + count, size - count);
        if (more == 0) break;
        count += more;
    }
    return count;
}

}  // namespace
}  // namespace platform

using namespace platform;

HINTERNET WINAPI InternetOpenA(LPCSTR agent, DWORD accessType, LPCSTR proxy, LPCSTR bypass,
                               DWORD flags) {
    return Guarded<HINTERNET>(nullptr, [&]() -> HINTERNET {
        DemandArgument(flags == 0);
        Curl();
        auto session = std::make_shared<Session>(NarrowOr(agent, ""));
        session->proxies =
            ProxiesOf(accessType, WideOrEmpty(proxy).c_str(), WideOrEmpty(bypass).c_str());
        return Publish(std::move(session));
    });
}

HINTERNET WINAPI InternetConnectA(HINTERNET internet, LPCSTR server, INTERNET_PORT port,
                                  LPCSTR user, LPCSTR password, DWORD service, DWORD flags,
                                  DWORD_PTR) {
    return Guarded<HINTERNET>(nullptr, [&]() -> HINTERNET {
        auto parent = InternetHandleOf<Session>(internet);
        DemandArgument(server != nullptr && user == nullptr && password == nullptr);
        DemandArgument(service == INTERNET_SERVICE_HTTP && flags == 0);
        return Publish(std::make_shared<Connection>(std::move(parent), server, port));
    });
}

HINTERNET WINAPI HttpOpenRequestA(HINTERNET connection, LPCSTR verb, LPCSTR object, LPCSTR version,
                                  LPCSTR referrer, LPCSTR* acceptTypes, DWORD flags, DWORD_PTR) {
    return Guarded<HINTERNET>(nullptr, [&] {
        const auto parent = InternetHandleOf<Connection>(connection);
        DemandArgument(flags == 0);
        return Publish(MakeRequest(*parent, {.verb = NarrowOr(verb, "GET"),
                                             .object = NarrowOr(object, ""),
                                             .version = NarrowOr(version, "HTTP/1.1"),
                                             .referrer = NarrowOr(referrer, ""),
                                             .accept = AcceptedTypes(acceptTypes)}));
    });
}

BOOL WINAPI HttpAddRequestHeadersA(HINTERNET request, LPCSTR headers, DWORD length,
                                   DWORD modifiers) {
    return GuardedBool([&] {
        constexpr DWORD kKnown =
            HTTP_ADDREQ_FLAG_ADD | HTTP_ADDREQ_FLAG_ADD_IF_NEW | HTTP_ADDREQ_FLAG_REPLACE;
        const auto object = InternetHandleOf<Request>(request);
        DemandArgument(headers != nullptr && (modifiers & ~kKnown) == 0);
        object->headers.Add(LinesOf(headers, length), modifiers);
    });
}

BOOL WINAPI HttpSendRequestA(HINTERNET request, LPCSTR headers, DWORD headersLength,
                             LPVOID optional, DWORD optionalLength) {
    return GuardedBool([&] {
        const auto object = InternetHandleOf<Request>(request);
        const ByteView body = BodyOf(optional, optionalLength);
        object->headers.Add(LinesOf(headers, headersLength),
                            HTTP_ADDREQ_FLAG_ADD | HTTP_ADDREQ_FLAG_REPLACE);
        object->Send(body, optionalLength);
        object->Receive();
    });
}

BOOL WINAPI HttpQueryInfoA(HINTERNET request, DWORD infoLevel, LPVOID buffer, LPDWORD size,
                           LPDWORD index) {
    return GuardedBool([&] {
        const auto object = InternetHandleOf<Request>(request);
        const DWORD query = infoLevel & ~static_cast<DWORD>(HTTP_QUERY_FLAG_NUMBER);
        DemandArgument(size != nullptr);
        DemandArgument(query == HTTP_QUERY_STATUS_CODE || query == HTTP_QUERY_SET_COOKIE);
        CopyHeaderOut(object->Head(), infoLevel, buffer, *size, index);
    });
}

BOOL WINAPI InternetReadFile(HINTERNET request, LPVOID buffer, DWORD size, LPDWORD read) {
    return GuardedBool([&] {
        const auto object = InternetHandleOf<Request>(request);
        DemandArgument(buffer != nullptr && read != nullptr);
        *read = 0;
        *read = static_cast<DWORD>(ReadFully(*object, buffer, size));
    });
}

BOOL WINAPI InternetCloseHandle(HINTERNET handle) {
    return GuardedBool([&] { ReleaseHandle(handle, Kind::Internet, ERROR_INVALID_HANDLE); });
}
