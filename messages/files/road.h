// The input side of the streaming road: a file is read in chunks and fed to a message
// object. Failures have been reported, behind the end of the percent line where one
// was shown.
#pragma once

#include <windows.h>

#include <functional>

#include "front/core/encoding.h"
#include "messages/files/files.h"

namespace kestrel {

inline constexpr DWORD kChunkSize = 0x10000;

// For a message that is written: the last block is the first that is shorter than a
// chunk, so it may be empty. 0, the platform's error, or kCannotOpenFile if the file
// cannot be read to its end.
Reported FeedEncoder(HCRYPTMSG message, InputFile& input);

// Looks at the message after each piece that it took. Another result than 0 ends the
// reading and was reported.
using AfterUpdate = std::function<Reported()>;

// For a message that is read: a first byte "M" or "-" means BASE64, anything else is
// fed as it stands. Text is decoded up to the last line feed of each chunk. As
// FeedEncoder, and kBadBase64 and kNoMemory.
Reported FeedDecoder(HCRYPTMSG message, InputFile& input, const AfterUpdate& afterUpdate);

}  // namespace kestrel
