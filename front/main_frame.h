// What stands around every command: language, banner, arguments, and the line that closes.
#pragma once

#include <windows.h>

#include "front/core/catalogue.h"

namespace kestrel {

// The process entry: language, banner, parse, one command, close. Returns the exit value.
// Passwords among the arguments are overwritten once they were read.
DWORD RunMain(int argumentCount, char** arguments);

// Fills state.argumentCopies. Keys and file names refer to the copies, which live until
// the process ends.
void CopyArguments(int argumentCount, const char* const* arguments);

// Frees what the run gathered, the argument copies excepted, and closes its stores.
void ReleaseState();

// Runs the steps of a process and returns their result. What they throw is printed, and
// the last error closes the output and is the result then.
using ProcessSteps = DWORD (*)(int argumentCount, char** arguments);
DWORD RunGuarded(ProcessSteps steps, int argumentCount, char** arguments);

}  // namespace kestrel
