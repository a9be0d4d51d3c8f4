// The number by which an authority knows a request that waits there.
#pragma once

#include "front/core/result.h"

namespace kestrel {

// Writes it to the file (docs/files.md), or shows it where there is none. 0 or a reported code.
Reported TellRequestId(const char* file, int id);
// Reads it from such a file, or from the user where there is none. 0 or a reported code.
Reported AskRequestId(const char* file, int& id);

}  // namespace kestrel
