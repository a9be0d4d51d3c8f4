// Opening files with a sharing mode. Sharing is advisory on Linux and not enforced.
// "/" and "\" separate folders alike; an existing file with the literal name wins.
#pragma once

#include <stdio.h>

#define _SH_DENYNO 0x40

#ifdef __cplusplus
extern "C" {
#endif

FILE* _fsopen(const char* name, const char* mode, int sharing);

#ifdef __cplusplus
}
#endif
