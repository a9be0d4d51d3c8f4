// The ground on Linux: the subset of the older Windows HTTP client interface that the program
// uses, under its documented names. Declarations only; what stands behind them is in
// platform/http. Texts are narrow and end in 0; handles are closed with InternetCloseHandle.
// Every call that answers BOOL or a handle sets the last error when it fails: ERROR_INVALID_HANDLE
// for a handle that is not open, ERROR_INTERNET_INCORRECT_HANDLE_TYPE for one of another level,
// ERROR_INTERNET_INCORRECT_HANDLE_STATE for a call that comes too early, ERROR_INVALID_PARAMETER
// for an argument that is not known here.
#pragma once

#include <windows.h>

typedef LPVOID HINTERNET;
typedef WORD INTERNET_PORT;

#define INTERNET_DEFAULT_HTTP_PORT 80

// Other ways to the network than the user's own settings: directly, by the proxy that is named.
#define INTERNET_OPEN_TYPE_PRECONFIG 0
#define INTERNET_OPEN_TYPE_DIRECT 1
#define INTERNET_OPEN_TYPE_PROXY 3

#define INTERNET_SERVICE_HTTP 3

#define HTTP_ADDREQ_FLAG_ADD_IF_NEW 0x10000000
#define HTTP_ADDREQ_FLAG_ADD 0x20000000
#define HTTP_ADDREQ_FLAG_REPLACE 0x80000000

#define HTTP_QUERY_STATUS_CODE 19
#define HTTP_QUERY_SET_COOKIE 43
#define HTTP_QUERY_FLAG_NUMBER 0x20000000

// ---- error values ------------------------------------------------------------

#define ERROR_INTERNET_TIMEOUT 12002
#define ERROR_INTERNET_INVALID_URL 12005
#define ERROR_INTERNET_NAME_NOT_RESOLVED 12007
#define ERROR_INTERNET_INCORRECT_HANDLE_TYPE 12018
#define ERROR_INTERNET_INCORRECT_HANDLE_STATE 12019
#define ERROR_INTERNET_CANNOT_CONNECT 12029
#define ERROR_INTERNET_CONNECTION_ABORTED 12030
#define ERROR_HTTP_HEADER_NOT_FOUND 12150
#define ERROR_HTTP_INVALID_SERVER_RESPONSE 12152
#define ERROR_HTTP_HEADER_ALREADY_EXISTS 12155
#define ERROR_HTTP_REDIRECT_FAILED 12156

#ifdef __cplusplus
extern "C" {
#endif

// `flags` must be 0. Fails with ERROR_DLL_NOT_FOUND while the library underneath is not installed.
HINTERNET WINAPI InternetOpenA(LPCSTR agent, DWORD accessType, LPCSTR proxy, LPCSTR bypass,
                               DWORD flags);
// INTERNET_SERVICE_HTTP alone, without name and password; `flags` must be 0. A port in `server`
// wins over `port`. ERROR_INTERNET_INVALID_URL for a server that cannot be one.
HINTERNET WINAPI InternetConnectA(HINTERNET internet, LPCSTR server, INTERNET_PORT port,
                                  LPCSTR user, LPCSTR password, DWORD service, DWORD flags,
                                  DWORD_PTR context);
// `acceptTypes` ends in a null pointer; `flags` must be 0. The referrer is sent as it is given, and
// so is the object, doubled slashes included.
HINTERNET WINAPI HttpOpenRequestA(HINTERNET connection, LPCSTR verb, LPCSTR object, LPCSTR version,
                                  LPCSTR referrer, LPCSTR* acceptTypes, DWORD flags,
                                  DWORD_PTR context);
// Lines of "Name: value" parted by CR LF. `length` in characters, or (DWORD)-1.
BOOL WINAPI HttpAddRequestHeadersA(HINTERNET request, LPCSTR headers, DWORD length,
                                   DWORD modifiers);
// Sends, follows redirects and waits for the head of the answer, whatever its status.
BOOL WINAPI HttpSendRequestA(HINTERNET request, LPCSTR headers, DWORD headersLength,
                             LPVOID optional, DWORD optionalLength);
// The two queries above. A short or null buffer gives ERROR_INSUFFICIENT_BUFFER and the need in
// bytes, terminator included; a success the bytes without it. `index` counts headers of one name,
// null is the first. ERROR_HTTP_HEADER_NOT_FOUND.
BOOL WINAPI HttpQueryInfoA(HINTERNET request, DWORD infoLevel, LPVOID buffer, LPDWORD size,
                           LPDWORD index);
// Waits until the buffer is full or the answer has ended. A failure has read nothing.
BOOL WINAPI InternetReadFile(HINTERNET request, LPVOID buffer, DWORD size, LPDWORD read);
// A handle above others may be closed first; those below live on.
BOOL WINAPI InternetCloseHandle(HINTERNET handle);

#ifdef __cplusplus
}
#endif
