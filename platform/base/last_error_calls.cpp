// The exported calls on the last error.
#include "platform/base/error.h"

using namespace platform;

DWORD WINAPI GetLastError(void) { return LastError(); }

void WINAPI SetLastError(DWORD code) { PutLastError(code); }
