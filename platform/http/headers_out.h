// A header of an answer on its way into the caller's buffer.
#pragma once

#include "platform/http/ground.h"

#include "platform/http/headers.h"

namespace platform {

// `infoLevel` is a WINHTTP_QUERY_* value; `index`, null for the first, is moved on. Throws
// ERROR_INSUFFICIENT_BUFFER with the need in `size`, ERROR_WINHTTP_HEADER_NOT_FOUND,
// ERROR_INVALID_PARAMETER for a value that is not known or a number that is none.
void CopyHeaderOut(const ResponseHead& head, DWORD infoLevel, LPCWSTR name, void* buffer,
                   DWORD& size, DWORD* index);
// The same as narrow text, byte for byte as the server sent it; WINHTTP_QUERY_CUSTOM has no name.
void CopyHeaderOut(const ResponseHead& head, DWORD infoLevel, void* buffer, DWORD& size,
                   DWORD* index);

}  // namespace platform
