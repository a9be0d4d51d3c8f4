// The exported calls on sessions, connections and requests.

#include "platform/base/error.h"
#include "platform/base/text.h"
#include "platform/http/curl_library.h"
#include "platform/http/headers_out.h"
#include "platform/http/options.h"
#include "platform/http/session.h"

namespace platform {
namespace {

template <class T>
std::shared_ptr<T> HandleOf(HINTERNET handle) {
    auto object = std::dynamic_pointer_cast<T>(Resolve<InternetObject>(handle));
    if (object == nullptr) throw Error(ERROR_WINHTTP_INCORRECT_HANDLE_TYPE);
    return object;
}

void Demand(bool condition) {
    if (!condition) throw Error(ERROR_INVALID_PARAMETER);
}

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

HINTERNET OpenRequest(const Connection& connection, const std::string& verb, LPCWSTR object,
                      const std::string& version, LPCWSTR referrer, LPCWSTR* acceptTypes,
                      DWORD flags) {
    Demand((flags & ~static_cast<DWORD>(WINHTTP_FLAG_SECURE)) == 0);
    Demand(version == "HTTP/1.1" || version == "HTTP/1.0");
    Demand(verb.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz-_") ==
           std::string::npos);
    auto request = std::make_shared<Request>(connection, verb, TextOr(object, ""), flags != 0,
                                             version == "HTTP/1.0");
    const auto header = [&](const char* name, const std::string& value) {
        if (value.empty()) return;
        request->headers.Add(std::string(name) + ": " + value, WINHTTP_ADDREQ_FLAG_ADD);
    };
    header("Referer", TextOr(referrer, ""));
    header("Accept", AcceptLine(acceptTypes));
    return Publish(std::move(request));
}

ByteView BodyOf(LPCVOID data, DWORD size) {
    Demand(data != nullptr || size == 0);
    return ViewOf(data, size);
}

}  // namespace
}  // namespace platform

using namespace platform;

HINTERNET WINAPI WinHttpOpen(LPCWSTR agent, DWORD accessType, LPCWSTR proxy, LPCWSTR bypass,
                             DWORD flags) {
    return Guarded<HINTERNET>(nullptr, [&]() -> HINTERNET {
        Demand(flags == 0);
        Curl();
        auto session = std::make_shared<Session>(TextOr(agent, ""));
        session->proxies = ProxiesOf(accessType, proxy, bypass);
        return Publish(std::move(session));
    });
}

HINTERNET WINAPI WinHttpConnect(HINTERNET session, LPCWSTR server, INTERNET_PORT port,
                                DWORD reserved) {
    return Guarded<HINTERNET>(nullptr, [&]() -> HINTERNET {
        auto parent = HandleOf<Session>(session);
        Demand(server != nullptr && reserved == 0);
        return Publish(std::make_shared<Connection>(std::move(parent), Narrow(server), port));
    });
}

HINTERNET WINAPI WinHttpOpenRequest(HINTERNET connection, LPCWSTR verb, LPCWSTR object,
                                    LPCWSTR version, LPCWSTR referrer, LPCWSTR* acceptTypes,
                                    DWORD flags) {
    return Guarded<HINTERNET>(nullptr, [&] {
        return OpenRequest(*HandleOf<Connection>(connection), TextOr(verb, "GET"), object,
                           TextOr(version, "HTTP/1.1"), referrer, acceptTypes, flags);
    });
}

BOOL WINAPI WinHttpCloseHandle(HINTERNET handle) {
    return GuardedBool([&] { ReleaseHandle(handle, Kind::Internet, ERROR_INVALID_HANDLE); });
}

BOOL WINAPI WinHttpSetOption(HINTERNET handle, DWORD option, LPVOID value, DWORD size) {
    return GuardedBool([&] { SetOption(*HandleOf<InternetObject>(handle), option, value, size); });
}

BOOL WINAPI WinHttpSetTimeouts(HINTERNET handle, int resolve, int connect, int send, int receive) {
    return GuardedBool([&] {
        SetTimeouts(*HandleOf<InternetObject>(handle), {resolve, connect, send, receive});
    });
}

BOOL WINAPI WinHttpSetCredentials(HINTERNET request, DWORD target, DWORD scheme, LPCWSTR user,
                                  LPCWSTR password, LPVOID reserved) {
    return GuardedBool([&] {
        const auto object = HandleOf<Request>(request);
        Demand(target <= WINHTTP_AUTH_TARGET_PROXY && user != nullptr && reserved == nullptr);
        Demand(IsOneScheme(scheme));
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
        const auto object = HandleOf<Request>(request);
        Demand(headers != nullptr && (modifiers & ~kKnown) == 0);
        object->headers.Add(HeaderLines(headers, length), modifiers);
    });
}

BOOL WINAPI WinHttpSendRequest(HINTERNET request, LPCWSTR headers, DWORD headersLength,
                               LPVOID optional, DWORD optionalLength, DWORD total, DWORD_PTR) {
    return GuardedBool([&] {
        const auto object = HandleOf<Request>(request);
        const ByteView body = BodyOf(optional, optionalLength);
        if (total == 0) total = optionalLength;
        Demand(total >= optionalLength);
        // Sent once more, the request has one line of each name all the same.
        object->headers.Add(HeaderLines(headers, headersLength),
                            WINHTTP_ADDREQ_FLAG_ADD | WINHTTP_ADDREQ_FLAG_REPLACE);
        object->Send(body, total);
    });
}

BOOL WINAPI WinHttpWriteData(HINTERNET request, LPCVOID data, DWORD size, LPDWORD written) {
    return GuardedBool([&] {
        const auto object = HandleOf<Request>(request);
        object->Write(BodyOf(data, size));
        if (written != nullptr) *written = size;
    });
}

BOOL WINAPI WinHttpReceiveResponse(HINTERNET request, LPVOID reserved) {
    return GuardedBool([&] {
        const auto object = HandleOf<Request>(request);
        Demand(reserved == nullptr);
        object->Receive();
    });
}

BOOL WINAPI WinHttpQueryHeaders(HINTERNET request, DWORD infoLevel, LPCWSTR name, LPVOID buffer,
                                LPDWORD size, LPDWORD index) {
    return GuardedBool([&] {
        const auto object = HandleOf<Request>(request);
        Demand(size != nullptr);
        CopyHeaderOut(object->Head(), infoLevel, name, buffer, *size, index);
    });
}

BOOL WINAPI WinHttpQueryAuthSchemes(HINTERNET request, LPDWORD supported, LPDWORD first,
                                    LPDWORD target) {
    return GuardedBool([&] {
        const auto object = HandleOf<Request>(request);
        Demand(supported != nullptr && first != nullptr && target != nullptr);
        const auto challenge = ChallengeOf(object->Head());
        if (!challenge) throw Error(ERROR_INVALID_OPERATION);
        *supported = challenge->supported;
        *first = challenge->first;
        *target = challenge->target;
    });
}

BOOL WINAPI WinHttpQueryDataAvailable(HINTERNET request, LPDWORD available) {
    return GuardedBool([&] {
        const std::size_t count = HandleOf<Request>(request)->Await();
        if (available != nullptr) *available = static_cast<DWORD>(count);
    });
}

BOOL WINAPI WinHttpReadData(HINTERNET request, LPVOID buffer, DWORD size, LPDWORD read) {
    return GuardedBool([&] {
        const auto object = HandleOf<Request>(request);
        Demand(buffer != nullptr && read != nullptr);
        *read = 0;
        *read = static_cast<DWORD>(object->Read(buffer, size));
    });
}
