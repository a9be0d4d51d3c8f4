// The login of a user who has a token.
#pragma once

#include "enroll/unix_request.h"
#include "front/core/result.h"

namespace kestrel {

// Longer than any token's would only be cut (enroll-30). May be null. 0 or a reported code.
Reported CheckTokenPassword(const char* password);

// Tells the client who the user is. `password` may be null, which is an empty one, and has 19
// characters at most; the caller wipes it. 0 or a reported code.
Reported SetTokenAuth(UnixRequest& client, const char* token, const char* password);

}  // namespace kestrel
