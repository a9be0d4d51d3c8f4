// The HTTP ground as the platform's own units include it; see platform/base/ground.h. The
// sockets behind libcurl's header have one name more that means something else there.
#pragma once

#include "platform/base/ground.h"

#undef CMSG_DATA

#include <winhttp.h>
#include <wininet.h>
