// The HTTP client of the system, found by name in its module.
#include "stamps/http_calls.h"

#include <cstring>

#include "stamps/failure.h"

namespace Ferroline::HTTP {
namespace {

template <class Call>
void Find(HMODULE module, const char* name, Call& call) {
    const auto address = GetProcAddress(module, name);
    if (address == nullptr) ATL::ThrowLastError();
    static_assert(sizeof(call) == sizeof(address));
    std::memcpy(&call, &address, sizeof(call));
}

Calls Load() {
    const HMODULE module = LoadLibraryA("winhttp.dll");
    if (module == nullptr) ATL::ThrowLastError();
    Calls calls{};
    Find(module, "WinHttpOpen", calls.Open);
    Find(module, "WinHttpConnect", calls.Connect);
    Find(module, "WinHttpOpenRequest", calls.OpenRequest);
    Find(module, "WinHttpCloseHandle", calls.CloseHandle);
    Find(module, "WinHttpSetOption", calls.SetOption);
    Find(module, "WinHttpSetTimeouts", calls.SetTimeouts);
    Find(module, "WinHttpSetCredentials", calls.SetCredentials);
    Find(module, "WinHttpAddRequestHeaders", calls.AddRequestHeaders);
    Find(module, "WinHttpSendRequest", calls.SendRequest);
    Find(module, "WinHttpReceiveResponse", calls.ReceiveResponse);
    Find(module, "WinHttpQueryHeaders", calls.QueryHeaders);
    Find(module, "WinHttpQueryAuthSchemes", calls.QueryAuthSchemes);
    Find(module, "WinHttpQueryDataAvailable", calls.QueryDataAvailable);
    Find(module, "WinHttpReadData", calls.ReadData);
    Find(module, "WinHttpCrackUrl", calls.CrackUrl);
    Find(module, "WinHttpGetIEProxyConfigForCurrentUser", calls.GetIEProxyConfigForCurrentUser);
    Find(module, "WinHttpGetProxyForUrl", calls.GetProxyForUrl);
    return calls;
}

}  // namespace

const Calls& Http() {
    static const Calls calls = Load();
    return calls;
}

}  // namespace Ferroline::HTTP
