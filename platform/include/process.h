// Starting another process.
#pragma once

#include <stdint.h>

#define _P_WAIT 0
#define _P_NOWAIT 1

#ifdef __cplusplus
extern "C" {
#endif

// The argument list ends in a null pointer. Returns a process handle, -1 with errno
// on failure. `cmd /c FILE` opens the file with the desktop's handler where no
// command interpreter of that name is on the search path.
intptr_t _spawnlp(int mode, const char* program, const char* argument0, ...);

#ifdef __cplusplus
}
#endif
