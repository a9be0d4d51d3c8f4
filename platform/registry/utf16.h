// UTF-16LE, the form of text inside a registry export.
#pragma once

#include <string>

#include "platform/base/bytes.h"

namespace platform {

// A surrogate without its partner stays as it is; an odd last byte is left out.
std::wstring FromUtf16(ByteView bytes);
Bytes ToUtf16(std::wstring_view text);

}  // namespace platform
