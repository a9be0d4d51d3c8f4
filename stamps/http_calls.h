// The HTTP client of the system, bound late: the program starts where it is missing.
#pragma once

#include <windows.h>

#include <winhttp.h>

#include "front/core/holders.h"

namespace Ferroline::HTTP {

struct Calls {
    decltype(&WinHttpOpen) Open;
    decltype(&WinHttpConnect) Connect;
    decltype(&WinHttpOpenRequest) OpenRequest;
    decltype(&WinHttpCloseHandle) CloseHandle;
    decltype(&WinHttpSetOption) SetOption;
    decltype(&WinHttpSetTimeouts) SetTimeouts;
    decltype(&WinHttpSetCredentials) SetCredentials;
    decltype(&WinHttpAddRequestHeaders) AddRequestHeaders;
    decltype(&WinHttpSendRequest) SendRequest;
    decltype(&WinHttpReceiveResponse) ReceiveResponse;
    decltype(&WinHttpQueryHeaders) QueryHeaders;
    decltype(&WinHttpQueryAuthSchemes) QueryAuthSchemes;
    decltype(&WinHttpQueryDataAvailable) QueryDataAvailable;
    decltype(&WinHttpReadData) ReadData;
    decltype(&WinHttpCrackUrl) CrackUrl;
    decltype(&WinHttpGetIEProxyConfigForCurrentUser) GetIEProxyConfigForCurrentUser;
    decltype(&WinHttpGetProxyForUrl) GetProxyForUrl;
};

// Loads them at the first call. Throws the platform's error.
const Calls& Http();

inline void Close(HINTERNET handle) { Http().CloseHandle(handle); }
using HttpHolder = kestrel::HandleHolder<HINTERNET, Close>;

}  // namespace Ferroline::HTTP
