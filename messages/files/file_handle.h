// The holder of an open file of CreateFileA.
#pragma once

#include <windows.h>

#include <memory>

#include "front/core/holders.h"

namespace kestrel {

// Null and not INVALID_HANDLE_VALUE where there is no file.
using FileHandle = std::unique_ptr<void, Releaser<CloseHandle>>;

inline FileHandle HoldFile(HANDLE file) {
    return FileHandle(file != INVALID_HANDLE_VALUE ? file : nullptr);
}

}  // namespace kestrel
