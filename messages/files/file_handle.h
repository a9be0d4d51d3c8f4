// The holder of an open file of CreateFileA.
#pragma once

#include <windows.h>

#include <memory>

#include "front/core/holders.h"

namespace kestrel {

struct FileHandleCloser {
    void operator()(HANDLE file) const {
        const LastErrorKeeper keeper;
        CloseHandle(file);
    }
};

// Null and not INVALID_HANDLE_VALUE where there is no file.
using FileHandle = std::unique_ptr<void, FileHandleCloser>;

inline FileHandle HoldFile(HANDLE file) {
    return FileHandle(file != INVALID_HANDLE_VALUE ? file : nullptr);
}

}  // namespace kestrel
