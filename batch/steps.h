// Steps that the operations of a batch have in common. A failure has ended the file's
// line when its code is returned.
#pragma once

#include <windows.h>

#include "front/core/catalogue.h"
#include "messages/files/files.h"

namespace kestrel {

// Ends the line with a message, which is the report of the code.
Reported EndLine(MessageId message, DWORD code);

// Opens a source and takes its length. 0 or kCannotOpenFile.
Reported OpenSource(const char* name, InputFile& source);

// True from 2 GiB on, which no command of a batch takes.
bool IsTooLarge(const InputFile& source);

struct Block {
    BytesHolder data;
    DWORD size = 0;
};

// A source as a whole; of an empty one `data` is not null. 0, kCannotOpenFile,
// kFileTooLarge or kNoMemory.
Reported ReadSource(const char* name, Block& block);

}  // namespace kestrel
