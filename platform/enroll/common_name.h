// The common name of a subject.
#pragma once

#include <string>
#include <vector>

#include "platform/base/bytes.h"

namespace platform {

// In UTF-8, those that are text, in the order of the Name. Throws what reading the Name throws.
std::vector<std::string> CommonNamesOf(ByteView subject);
// The first; empty when there is none.
std::string CommonNameOf(ByteView subject);

}  // namespace platform
