// The C library's error numbers in the platform's codes.
#pragma once

#include "platform/base/ground.h"

namespace platform {

// Never 0: an unknown number is ERROR_GEN_FAILURE.
DWORD ErrnoToCode(int error) noexcept;

}  // namespace platform
