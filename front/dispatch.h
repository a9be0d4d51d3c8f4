// The road from a command's number to its routine.
#pragma once

#include "front/core/state.h"

namespace kestrel {

using CommandRoutine = DWORD (*)();

// Null for a number that has no command.
CommandRoutine FindRoutine(CommandNumber number);

}  // namespace kestrel
