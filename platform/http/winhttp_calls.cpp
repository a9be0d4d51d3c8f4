// The exported calls on sessions, connections and requests.

#include "platform/base/error.h"
#include "platform/base/text.h"
#include "platform/http/call_parts.h"
#include "platform/http/curl_library.h"
#include "platform/http/headers_out.h"
#include "platform/http/options.h"
#include "platform/http/session.h"

namespace platform {
namespace {

std::string TextOr(LPCWSTR text, const char* other) {
    return text == nullptr || *text == L'\0' ? other : Narrow(text);
}

std::string HeaderLines(LPCWSTR lines, DWORD length) {
    if (lines == nullptr) return {};
    constexpr DWORD kTerminated = static_cast<DWORD>(-1);
    return Narrow(length == kTerminated ? std::wstring_view(lines)
                                        : std::wstring_view(lines, length));
}

std::string AcceptLine(LPCWSTR* types) {
    std::string list;
    for (; types != nullptr && *types != nullptr; ++types) {
        list.append(list.empty() ? "" : ", ").append(Narrow(*types));
    }
    return list;
}

}  // namespace
}  // namespace platform

using namespace platform;

HINTERNET WINAPI WinHttpOpen(LPCWSTR agent, DWORD accessType, LPCWSTR proxy, LPCWSTR bypass,
                             DWORD flags) {
    return Guarded<HINTERNET>(nullptr, [&]() -> HINTERNET {
        DemandArgument(flags == 0);
        Curl();
        auto session = std::make_shared<Session>(TextOr(agent, ""));
        session->proxies = ProxiesOf(accessType, proxy, bypass);
        return Publish(std::move(session));
    });
}

HINTERNET WINAPI WinHttpConnect(HINTERNET session, LPCWSTR server, INTERNET_PORT port,
                                DWORD reserved) {
    return Guarded<HINTERNET>(nullptr, [&]() -> HINTERNET {
        auto parent = InternetHandleOf<Session>(session);
        DemandArgument(server != nullptr && reserved == 0);
        return Publish(std::make_shared<Connection>(std::move(parent), Narrow(server), port));
    });
}

HINTERNET WINAPI WinHttpOpenRequest(HINTERNET connection, LPCWSTR verb, LPCWSTR object,
                                    LPCWSTR version, LPCWSTR referrer, LPCWSTR* acceptTypes,
                                    DWORD flags) {
    return Guarded<HINTERNET>(nullptr, [&] {
        const auto parent = InternetHandleOf<Connection>(connection);
        DemandArgument((flags & ~static_cast<DWORD>(WINHTTP_FLAG_SECURE)) == 0);
        return Publish(MakeRequest(*parent, {.verb = TextOr(verb, "GET"),
                                             .object = TextOr(object, ""),
                                             .version = TextOr(version, "HTTP/1.1"),
                                             .referrer = TextOr(referrer, ""),
                                             .accept = AcceptLine(acceptTypes),
                                             .secure = flags != 0}));
    });
}

BOOL WINAPI WinHttpCloseHandle(HINTERNET handle) {
    return GuardedBool([&] { ReleaseHandle(handle, Kind::Internet, ERROR_INVALID_HANDLE); });
}

BOOL WINAPI WinHttpSetOption(HINTERNET handle, DWORD option, LPVOID value, DWORD size) {
    return GuardedBool(
        [&] { SetOption(*InternetHandleOf<InternetObject>(handle), option, value, size); });
}

BOOL WINAPI WinHttpSetTimeouts(HINTERNET handle, int resolve, int connect, int send, int receive) {
    return GuardedBool([&] {
        SetTimeouts(*InternetHandleOf<InternetObject>(handle), {resolve, connect, send, receive});
    });
}

BOOL WINAPI WinHttpSetCredentials(HINTERNET request, DWORD target, DWORD scheme, LPCWSTR user,
                                  LPCWSTR password, LPVOID reserved) {
    return GuardedBool([&] {
        const auto object = InternetHandleOf<Request>(request);
        DemandArgument(target <= WINHTTP_AUTH_TARGET_PROXY && user != nullptr &&
                       reserved == nullptr);
        DemandArgument(IsOneScheme(scheme));
        std::string secret = TextOr(password, "");
        object->SetCredentials(target, scheme, Narrow(user), Secret(ViewOf(secret)));
        Wipe(secret);
    });
}

BOOL WINAPI WinHttpAddRequestHeaders(HINTERNET request, LPCWSTR headers, DWORD length,
                                     DWORD modifiers) {
    return GuardedBool([&] {
        constexpr DWORD kKnown =
            WINHTTP_ADDREQ_FLAG_ADD | WINHTTP_ADDREQ_FLAG_ADD_IF_NEW | WINHTTP_ADDREQ_FLAG_REPLACE;
        const auto object = InternetHandleOf<Request>(request);
        DemandArgument(headers != nullptr && (modifiers & ~kKnown) == 0);
        object->headers.Add(HeaderLines(headers, length), modifiers);
    });
}

BOOL WINAPI WinHttpSendRequest(HINTERNET request, LPCWSTR headers, DWORD headersLength,
                               LPVOID optional, DWORD optionalLength, DWORD total, DWORD_PTR) {
    return GuardedBool([&] {
        const auto object = InternetHandleOf<Request>(request);
        const ByteView body = BodyOf(optional, optionalLength);
        if (total == 0) total = optionalLength;
        DemandArgument(total >= optionalLength);
        // Sent once more, the request has one line of each name all the same.
        object->headers.Add(HeaderLines(headers, headersLength),
                            WINHTTP_ADDREQ_FLAG_ADD | WINHTTP_ADDREQ_FLAG_REPLACE);
        object->Send(body, total);
    });
}

BOOL WINAPI WinHttpWriteData(HINTERNET request, LPCVOID data, DWORD size, LPDWORD written) {
    return GuardedBool([&] {
        const auto object = InternetHandleOf<Request>(request);
        object->Write(BodyOf(data, size));
        if (written != nullptr) *written = size;
    });
}

BOOL WINAPI WinHttpReceiveResponse(HINTERNET request, LPVOID reserved) {
    return GuardedBool([&] {
        const auto object = InternetHandleOf<Request>(request);
        DemandArgument(reserved == nullptr);
        object->Receive();
    });
}

BOOL WINAPI WinHttpQueryHeaders(HINTERNET request, DWORD infoLevel, LPCWSTR name, LPVOID buffer,
                                LPDWORD size, LPDWORD index) {
    return GuardedBool([&] {
        const auto object = InternetHandleOf<Request>(request);
        DemandArgument(size != nullptr);
        CopyHeaderOut(object->Head(), infoLevel, name, buffer, *size, index);
    });
}

BOOL WINAPI WinHttpQueryAuthSchemes(HINTERNET request, LPDWORD supported, LPDWORD first,
                                    LPDWORD target) {
    return GuardedBool([&] {
        const auto object = InternetHandleOf<Request>(request);
        DemandArgument(supported != nullptr && first != nullptr && target != nullptr);
        const auto challenge = ChallengeOf(object->Head());
        if (!challenge) throw Error(ERROR_INVALID_OPERATION);
        *supported = challenge->supported;
        *first = challenge->first;
        *target = challenge->target;
    });
}

BOOL WINAPI WinHttpQueryDataAvailable(HINTERNET request, LPDWORD available) {
    return GuardedBool([&] {
        const std::size_t count = InternetHandleOf<Request>(request)->Await();
        if (available != nullptr) *available = static_cast<DWORD>(count);
    });
}

BOOL WINAPI WinHttpReadData(HINTERNET request, LPVOID buffer, DWORD size, LPDWORD read) {
    return GuardedBool([&] {
        const auto object = InternetHandleOf<Request>(request);
        DemandArgument(buffer != nullptr && read != nullptr);
        *read = 0;
        *read = static_cast<DWORD>(object->Read(buffer, size));
    });
}
