// Text comparison that folds case and takes a multi-byte character as one. The
// narrow code page is UTF-8.
#pragma once

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

int _mbsicmp(const unsigned char* first, const unsigned char* second);
// At most `bytes` bytes of each text take part.
int _mbsnbicmp(const unsigned char* first, const unsigned char* second, size_t bytes);

#ifdef __cplusplus
}
#endif
