// The ground on Linux: the subset of the Windows HTTP client interface that the program
// uses, under its documented names. Declarations only; what stands behind them is in
// platform/http. Texts are wide and end in 0; handles are closed with WinHttpCloseHandle.
// Every call that answers BOOL or a handle sets the last error when it fails: ERROR_INVALID_HANDLE
// for a handle that is not open, ERROR_WINHTTP_INCORRECT_HANDLE_TYPE for one of another level,
// ERROR_WINHTTP_INCORRECT_HANDLE_STATE for a call that comes too early.
#pragma once

#include <windows.h>

typedef LPVOID HINTERNET;
typedef HINTERNET* LPHINTERNET;
typedef WORD INTERNET_PORT;
typedef INTERNET_PORT* LPINTERNET_PORT;
typedef int INTERNET_SCHEME, *LPINTERNET_SCHEME;

#define INTERNET_DEFAULT_PORT 0
#define INTERNET_DEFAULT_HTTP_PORT 80
#define INTERNET_DEFAULT_HTTPS_PORT 443
#define INTERNET_SCHEME_HTTP 1
#define INTERNET_SCHEME_HTTPS 2

// ---- sessions, connections, requests -----------------------------------------

#define WINHTTP_ACCESS_TYPE_DEFAULT_PROXY 0
#define WINHTTP_ACCESS_TYPE_NO_PROXY 1
#define WINHTTP_ACCESS_TYPE_NAMED_PROXY 3
#define WINHTTP_NO_PROXY_NAME NULL
#define WINHTTP_NO_PROXY_BYPASS NULL

#define WINHTTP_FLAG_SECURE 0x00800000
#define WINHTTP_NO_REFERER NULL
#define WINHTTP_DEFAULT_ACCEPT_TYPES NULL
#define WINHTTP_NO_ADDITIONAL_HEADERS NULL
#define WINHTTP_NO_REQUEST_DATA NULL
#define WINHTTP_NO_CLIENT_CERT_CONTEXT NULL

#define WINHTTP_ADDREQ_FLAG_ADD_IF_NEW 0x10000000
#define WINHTTP_ADDREQ_FLAG_ADD 0x20000000
#define WINHTTP_ADDREQ_FLAG_REPLACE 0x80000000

// ---- options -----------------------------------------------------------------

#define WINHTTP_OPTION_SECURITY_FLAGS 31
#define WINHTTP_OPTION_PROXY 38
#define WINHTTP_OPTION_CLIENT_CERT_CONTEXT 47
#define WINHTTP_OPTION_AUTOLOGON_POLICY 77

#define SECURITY_FLAG_IGNORE_UNKNOWN_CA 0x00000100
#define SECURITY_FLAG_IGNORE_CERT_WRONG_USAGE 0x00000200
#define SECURITY_FLAG_IGNORE_CERT_CN_INVALID 0x00001000
#define SECURITY_FLAG_IGNORE_CERT_DATE_INVALID 0x00002000

#define WINHTTP_AUTOLOGON_SECURITY_LEVEL_MEDIUM 0
#define WINHTTP_AUTOLOGON_SECURITY_LEVEL_LOW 1
#define WINHTTP_AUTOLOGON_SECURITY_LEVEL_HIGH 2
#define WINHTTP_AUTOLOGON_SECURITY_LEVEL_DEFAULT WINHTTP_AUTOLOGON_SECURITY_LEVEL_MEDIUM

#define WINHTTP_AUTH_SCHEME_BASIC 0x00000001
#define WINHTTP_AUTH_SCHEME_NTLM 0x00000002
#define WINHTTP_AUTH_SCHEME_DIGEST 0x00000008
#define WINHTTP_AUTH_SCHEME_NEGOTIATE 0x00000010
#define WINHTTP_AUTH_TARGET_SERVER 0x00000000
#define WINHTTP_AUTH_TARGET_PROXY 0x00000001

// ---- headers of an answer ----------------------------------------------------

#define WINHTTP_QUERY_CONTENT_TYPE 1
#define WINHTTP_QUERY_CONTENT_LENGTH 5
#define WINHTTP_QUERY_VERSION 18
#define WINHTTP_QUERY_STATUS_CODE 19
#define WINHTTP_QUERY_STATUS_TEXT 20
#define WINHTTP_QUERY_RAW_HEADERS_CRLF 22
#define WINHTTP_QUERY_LOCATION 33
#define WINHTTP_QUERY_RETRY_AFTER 36
#define WINHTTP_QUERY_WWW_AUTHENTICATE 40
#define WINHTTP_QUERY_PROXY_AUTHENTICATE 41
#define WINHTTP_QUERY_CUSTOM 65535
#define WINHTTP_QUERY_FLAG_NUMBER 0x20000000

#define WINHTTP_HEADER_NAME_BY_INDEX NULL
#define WINHTTP_NO_OUTPUT_BUFFER NULL
#define WINHTTP_NO_HEADER_INDEX NULL

// ---- error values ------------------------------------------------------------

#define WINHTTP_ERROR_BASE 12000
#define ERROR_WINHTTP_TIMEOUT 12002
#define ERROR_WINHTTP_INTERNAL_ERROR 12004
#define ERROR_WINHTTP_INVALID_URL 12005
#define ERROR_WINHTTP_UNRECOGNIZED_SCHEME 12006
#define ERROR_WINHTTP_NAME_NOT_RESOLVED 12007
#define ERROR_WINHTTP_INVALID_OPTION 12009
#define ERROR_WINHTTP_LOGIN_FAILURE 12015
#define ERROR_WINHTTP_INCORRECT_HANDLE_TYPE 12018
#define ERROR_WINHTTP_INCORRECT_HANDLE_STATE 12019
#define ERROR_WINHTTP_CANNOT_CONNECT 12029
#define ERROR_WINHTTP_CONNECTION_ERROR 12030
#define ERROR_WINHTTP_RESEND_REQUEST 12032
#define ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED 12044
#define ERROR_WINHTTP_HEADER_NOT_FOUND 12150
#define ERROR_WINHTTP_INVALID_SERVER_RESPONSE 12152
#define ERROR_WINHTTP_HEADER_ALREADY_EXISTS 12155
#define ERROR_WINHTTP_REDIRECT_FAILED 12156
#define ERROR_WINHTTP_SECURE_FAILURE 12175
#define ERROR_WINHTTP_AUTODETECTION_FAILED 12180
#define ERROR_WINHTTP_CLIENT_CERT_NO_PRIVATE_KEY 12185

// ---- structures --------------------------------------------------------------

typedef struct {
    DWORD dwStructSize;
    LPWSTR lpszScheme;
    DWORD dwSchemeLength;
    INTERNET_SCHEME nScheme;
    LPWSTR lpszHostName;
    DWORD dwHostNameLength;
    INTERNET_PORT nPort;
    LPWSTR lpszUserName;
    DWORD dwUserNameLength;
    LPWSTR lpszPassword;
    DWORD dwPasswordLength;
    LPWSTR lpszUrlPath;
    DWORD dwUrlPathLength;
    LPWSTR lpszExtraInfo;
    DWORD dwExtraInfoLength;
} URL_COMPONENTS, *LPURL_COMPONENTS;

typedef struct {
    DWORD dwAccessType;
    LPWSTR lpszProxy;
    LPWSTR lpszProxyBypass;
} WINHTTP_PROXY_INFO, *LPWINHTTP_PROXY_INFO;

typedef struct {
    BOOL fAutoDetect;
    LPWSTR lpszAutoConfigUrl;
    LPWSTR lpszProxy;
    LPWSTR lpszProxyBypass;
} WINHTTP_CURRENT_USER_IE_PROXY_CONFIG;

#define WINHTTP_AUTO_DETECT_TYPE_DHCP 0x00000001
#define WINHTTP_AUTO_DETECT_TYPE_DNS_A 0x00000002
#define WINHTTP_AUTOPROXY_AUTO_DETECT 0x00000001
#define WINHTTP_AUTOPROXY_CONFIG_URL 0x00000002
#define WINHTTP_AUTOPROXY_RUN_INPROCESS 0x00010000

typedef struct {
    DWORD dwFlags;
    DWORD dwAutoDetectFlags;
    LPCWSTR lpszAutoConfigUrl;
    LPVOID lpvReserved;
    DWORD dwReserved;
    BOOL fAutoLogonIfChallenged;
} WINHTTP_AUTOPROXY_OPTIONS;

#ifdef __cplusplus
extern "C" {
#endif

// Fails with ERROR_DLL_NOT_FOUND while the library underneath is not installed.
HINTERNET WINAPI WinHttpOpen(LPCWSTR agent, DWORD accessType, LPCWSTR proxy, LPCWSTR bypass,
                             DWORD flags);
// A port in `server` wins over `port`.
HINTERNET WINAPI WinHttpConnect(HINTERNET session, LPCWSTR server, INTERNET_PORT port,
                                DWORD reserved);
// `acceptTypes` ends in a null pointer.
HINTERNET WINAPI WinHttpOpenRequest(HINTERNET connection, LPCWSTR verb, LPCWSTR object,
                                    LPCWSTR version, LPCWSTR referrer, LPCWSTR* acceptTypes,
                                    DWORD flags);
// A handle above others may be closed first; those below live on.
BOOL WINAPI WinHttpCloseHandle(HINTERNET handle);

// The proxy may be set on sessions and requests, the other options on requests alone.
BOOL WINAPI WinHttpSetOption(HINTERNET handle, DWORD option, LPVOID value, DWORD size);
// Milliseconds; 0 and -1: none.
BOOL WINAPI WinHttpSetTimeouts(HINTERNET handle, int resolve, int connect, int send, int receive);
BOOL WINAPI WinHttpSetCredentials(HINTERNET request, DWORD target, DWORD scheme, LPCWSTR user,
                                  LPCWSTR password, LPVOID reserved);
// Lines of "Name: value" parted by CR LF. `length` in characters, or (DWORD)-1.
BOOL WINAPI WinHttpAddRequestHeaders(HINTERNET request, LPCWSTR headers, DWORD length,
                                     DWORD modifiers);

// `total` counts `optional` and what WinHttpWriteData brings behind it; 0: `optional` alone.
// May be called again on the same handle. ERROR_WINHTTP_RESEND_REQUEST, from this or from
// WinHttpReceiveResponse, asks for that.
BOOL WINAPI WinHttpSendRequest(HINTERNET request, LPCWSTR headers, DWORD headersLength,
                               LPVOID optional, DWORD optionalLength, DWORD total,
                               DWORD_PTR context);
BOOL WINAPI WinHttpWriteData(HINTERNET request, LPCVOID data, DWORD size, LPDWORD written);
BOOL WINAPI WinHttpReceiveResponse(HINTERNET request, LPVOID reserved);
// A short or null buffer gives ERROR_INSUFFICIENT_BUFFER and the need in bytes, terminator
// included; a success the bytes without it. `index` counts headers of one name.
BOOL WINAPI WinHttpQueryHeaders(HINTERNET request, DWORD infoLevel, LPCWSTR name, LPVOID buffer,
                                LPDWORD size, LPDWORD index);
// Fails with ERROR_INVALID_OPERATION when the answer was no challenge.
BOOL WINAPI WinHttpQueryAuthSchemes(HINTERNET request, LPDWORD supported, LPDWORD first,
                                    LPDWORD target);
// 0 bytes: the end of the body. Both wait until there are some.
BOOL WINAPI WinHttpQueryDataAvailable(HINTERNET request, LPDWORD available);
BOOL WINAPI WinHttpReadData(HINTERNET request, LPVOID buffer, DWORD size, LPDWORD read);

// `flags` must be 0. A component with a null pointer and a length that is not 0 is pointed
// out inside `url`; with a buffer it is copied, terminated.
BOOL WINAPI WinHttpCrackUrl(LPCWSTR url, DWORD length, DWORD flags, LPURL_COMPONENTS components);
// The texts are the caller's, for GlobalFree.
BOOL WINAPI WinHttpGetIEProxyConfigForCurrentUser(WINHTTP_CURRENT_USER_IE_PROXY_CONFIG* config);
// Neither detects nor runs scripts: ERROR_WINHTTP_AUTODETECTION_FAILED.
BOOL WINAPI WinHttpGetProxyForUrl(HINTERNET session, LPCWSTR url,
                                  WINHTTP_AUTOPROXY_OPTIONS* options, WINHTTP_PROXY_INFO* info);

#ifdef __cplusplus
}
#endif
