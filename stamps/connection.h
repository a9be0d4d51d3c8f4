// The way of a time-stamp request to its service and back (RFC 3161 3.4), over HTTP or HTTPS.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

#include "stamps/blob.h"
#include "stamps/http_calls.h"

namespace Ferroline::PKI {

// What an exchange works with. Schemes are the bits of the HTTP client: 0 none, 1 Basic, 2
// NTLM, 8 Digest, 16 Negotiate.
struct StampSettings {
    std::wstring url;
    std::uint32_t authType = 0;
    std::wstring user;
    std::wstring password;
    PCCERT_CONTEXT clientCertificate = nullptr;  // borrowed
    std::wstring proxy;
    bool noProxyDetect = false;  // an empty proxy is a direct connection
    std::wstring proxyBypass;
    std::uint32_t proxyAuthType = 0;
    std::wstring proxyUser;
    std::wstring proxyPassword;
};

// The settings, and what stays of one exchange for the next.
struct CStampConnection : StampSettings {
    std::uint32_t status = 0;  // of HTTP; 0 before the first answer
    HTTP::HttpHolder library;
    bool proxyChanged = true;
    std::wstring lastProxy;
};

// Posts the DER of a request. An empty result with a status of 401, 407 or outside 200 to 299
// is a normal return: whoever asked judges the status. Throws the HTTP client's error.
[[nodiscard]] CBlob SendStampRequest(CStampConnection& connection, const CBlob& body);

// Fills proxy and bypass from the user's settings; without any they stay.
void DetectProxy(StampSettings& settings, HINTERNET library);

}  // namespace Ferroline::PKI
