// What the system knows of a file, in the platform's terms.
#pragma once

#include <sys/stat.h>

#include "platform/base/ground.h"

namespace platform {

// FILE_ATTRIBUTE_ values.
DWORD AttributesOf(const struct stat& status);

}  // namespace platform
