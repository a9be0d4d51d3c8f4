// One whole answer from an address that somebody else named: nothing goes there but what the
// request holds, and what comes back has its bounds in time and size.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "platform/base/bytes.h"

namespace platform {

struct DownloadRequest {
    std::string address;
    Bytes body;  // empty: it is a GET
    std::string contentType;
    std::chrono::milliseconds limit{};  // for all of it, redirects included
    std::size_t most = 0;               // octets of the answer
};

// Whether an address is one to be asked at all: http, https, or ldap with a host, without
// credentials, blanks and octets outside ASCII. Needs no libcurl.
bool IsDownloadable(std::string_view address);

// Whether a body can be sent there, which a directory has no use for.
bool TakesRequests(std::string_view address);

// Follows up to 10 redirects, never from https to http, and none with a body that the redirect
// would drop. The user's proxy settings and the rules of trust.h hold; no cookie, no login.
// Of an LDAP entry: its first binary value. Throws the faults of faults.h,
// ERROR_WINHTTP_UNRECOGNIZED_SCHEME, ERROR_FILE_TOO_LARGE, and
// ERROR_WINHTTP_INVALID_SERVER_RESPONSE with the status as detail when it is not 200.
Bytes Download(const DownloadRequest& request);

}  // namespace platform
