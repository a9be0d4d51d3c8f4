// What the caller sets on handles, checked and put where it belongs.
#pragma once

#include "platform/http/session.h"

namespace platform {

// Throws ERROR_INVALID_PARAMETER for an access type that is not known, a named proxy without
// a name, and what ProxyRules throws.
ProxyRules ProxiesOf(DWORD accessType, LPCWSTR proxy, LPCWSTR bypass);

// Throws ERROR_WINHTTP_INVALID_OPTION for one that is not known,
// ERROR_WINHTTP_INCORRECT_HANDLE_TYPE for one of another level, ERROR_INVALID_PARAMETER.
void SetOption(InternetObject& object, DWORD option, const void* value, DWORD size);

// Values as the caller gives them: 0 and -1 are none. Throws ERROR_INVALID_PARAMETER.
void SetTimeouts(InternetObject& object, Timeouts timeouts);

// Exactly one of WINHTTP_AUTH_SCHEME_*.
bool IsOneScheme(DWORD scheme);

}  // namespace platform
