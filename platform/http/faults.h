// From libcurl's outcomes to the documented ones.
#pragma once

#include "platform/http/curl_library.h"

namespace platform {

// ERROR_WINHTTP_INTERNAL_ERROR for one that has no row.
DWORD FaultOf(CURLcode outcome);

}  // namespace platform
