// A message that is read from its file whole and goes back in the form it came in.
#pragma once

#include <windows.h>

#include "front/core/holders.h"
#include "front/core/result.h"
#include "messages/files/file_handle.h"

namespace kestrel {

struct MessageFile {
    const char* name = nullptr;  // borrowed
    // From before it is read until it is written: what goes back is a change of what was read,
    // and of nothing that another process has put there since.
    FileHandle held;
    BytesHolder data;
    DWORD size = 0;
    int isDer = 0;  // 0: the file is BASE64 text
};

// 0 or a reported code, as ReadFileWhole; ERROR_SHARING_VIOLATION while another process
// changes the file.
Reported ReadMessageFile(const char* name, MessageFile& file);
// The same, as WriteFileRaw and WriteFileBase64. The data is gone afterwards.
Reported WriteMessageFile(MessageFile& file);

}  // namespace kestrel
