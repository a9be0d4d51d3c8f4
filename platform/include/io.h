// Low-level file queries of the C runtime.
#pragma once

#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

int _fileno(FILE* file);
// Sets the length of an open file. 0 or an errno value.
int _chsize_s(int descriptor, int64_t length);
// Length of an open file in bytes, -1 with errno on failure.
int64_t _filelengthi64(int descriptor);
int _fseeki64(FILE* file, int64_t offset, int origin);
int64_t _ftelli64(FILE* file);

#ifdef __cplusplus
}
#endif
