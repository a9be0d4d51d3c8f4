// Logging in with a token.
#include "enroll/token.h"

#include <cstring>

#include "enroll/options.h"
#include "enroll/unix_request_impl.h"
#include "front/core/catalogue.h"

namespace kestrel {

namespace {

// A longer one cannot be a token's: it would only be cut (enroll-30).
constexpr std::size_t kLongestTokenPassword = 19;

}  // namespace

Reported SetTokenAuth(UnixRequest& client, const char* token, const char* password) {
    const char* const given = password != nullptr ? password : "";
    if (std::strlen(given) > kLongestTokenPassword) return ReportError(kWrongKey, "tpassword");
    const HRESULT result =
        client.SetAuth(nullptr, static_cast<LONG>(AuthType::UserName), kAuthFlag, token, given);
    return result == S_OK ? Reported() : ReportResult(result);
}

}  // namespace kestrel
