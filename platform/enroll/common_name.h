// The common name of a subject.
#pragma once

#include <string>

#include "platform/base/bytes.h"

namespace platform {

// In UTF-8; empty when the Name has none that is text.
std::string CommonNameOf(ByteView subject);

}  // namespace platform
