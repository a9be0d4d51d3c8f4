// A message that is read from its file whole and goes back in the form it came in.
#pragma once

#include <windows.h>

#include "front/core/holders.h"
#include "front/core/result.h"

namespace kestrel {

struct MessageFile {
    const char* name = nullptr;  // borrowed
    BytesHolder data;
    DWORD size = 0;
    int isDer = 0;  // 0: the file is BASE64 text
};

// 0 or a reported code, as ReadFileWhole.
Reported ReadMessageFile(const char* name, MessageFile& file);
// The same, as WriteFileRaw and WriteFileBase64. The data is gone afterwards.
Reported WriteMessageFile(MessageFile& file);

}  // namespace kestrel
