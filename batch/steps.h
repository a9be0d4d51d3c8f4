// Steps that the operations of a batch have in common. A failure has ended the file's
// line when its code is returned.
#pragma once

#include <windows.h>

#include "front/core/catalogue.h"
#include "messages/files/files.h"

namespace kestrel {

inline constexpr MessageId kReadingFailed = 136;
inline constexpr MessageId kWritingFailed = 137;
inline constexpr MessageId kFileDone = 143;

// Ends the line with a message, and returns the code.
DWORD EndLine(MessageId message, DWORD code);

// Brings a terminal up to date within a line. Elsewhere nothing waits for half a line,
// and a call to the system for each piece would cost more than the work on a small file.
void ShowOnTerminal();

// Opens a source and takes its length. 0 or kCannotOpenFile.
DWORD OpenSource(const char* name, InputFile& source);

// True from 2 GiB on, which no command of a batch takes.
bool IsTooLarge(const InputFile& source);

struct Block {
    BytesHolder data;
    DWORD size = 0;
};

// A source as a whole; of an empty one `data` is not null. 0, kCannotOpenFile,
// kFileTooLarge or kNoMemory.
DWORD ReadSource(const char* name, Block& block);

}  // namespace kestrel
