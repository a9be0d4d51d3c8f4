// The procedures of winhttp.dll and wininet.dll by name.

#include "platform/http/curl_library.h"
#include "platform/http/ground.h"
#include "platform/http/modules.h"

namespace platform {
namespace {

template <class Function>
FARPROC AddressOf(Function* function) {
    return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(function));
}

#define ROW(call) \
    Procedure { #call, AddressOf(&call) }

const Procedure kWinHttp[] = {
    ROW(WinHttpAddRequestHeaders),
    ROW(WinHttpCloseHandle),
    ROW(WinHttpConnect),
    ROW(WinHttpCrackUrl),
    ROW(WinHttpGetIEProxyConfigForCurrentUser),
    ROW(WinHttpGetProxyForUrl),
    ROW(WinHttpOpen),
    ROW(WinHttpOpenRequest),
    ROW(WinHttpQueryAuthSchemes),
    ROW(WinHttpQueryDataAvailable),
    ROW(WinHttpQueryHeaders),
    ROW(WinHttpReadData),
    ROW(WinHttpReceiveResponse),
    ROW(WinHttpSendRequest),
    ROW(WinHttpSetCredentials),
    ROW(WinHttpSetOption),
    ROW(WinHttpSetTimeouts),
    ROW(WinHttpWriteData),
};

const Procedure kWinInet[] = {
    ROW(HttpAddRequestHeadersA), ROW(HttpOpenRequestA), ROW(HttpQueryInfoA), ROW(HttpSendRequestA),
    ROW(InternetCloseHandle),    ROW(InternetConnectA), ROW(InternetOpenA),  ROW(InternetReadFile),
};

#undef ROW

}  // namespace

const Module& WinHttpModule() {
    static const Module module{"winhttp", false, [] { Curl(); }, kWinHttp};
    return module;
}

const Module& WinInetModule() {
    static const Module module{"wininet", true, [] { Curl(); }, kWinInet};
    return module;
}

}  // namespace platform
