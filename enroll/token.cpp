// Logging in with a token.
#include "enroll/token.h"

#include <cstring>

#include "enroll/options.h"
#include "enroll/unix_request_impl.h"
#include "front/core/catalogue.h"

namespace kestrel {

namespace {

constexpr std::size_t kLongestTokenPassword = 19;

}  // namespace

Reported CheckTokenPassword(const char* password) {
    const bool fits = password == nullptr || std::strlen(password) <= kLongestTokenPassword;
    return fits ? Reported() : ReportError(kWrongKey, "tpassword");
}

Reported SetTokenAuth(UnixRequest& client, const char* token, const char* password) {
    const char* const given = password != nullptr ? password : "";
    if (const Reported failure = CheckTokenPassword(given)) return failure;
    const HRESULT result =
        client.SetAuth(nullptr, static_cast<LONG>(AuthType::UserName), kAuthFlag, token, given);
    return result == S_OK ? Reported() : ReportResult(result);
}

}  // namespace kestrel
