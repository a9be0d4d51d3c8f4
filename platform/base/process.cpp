// Modules, memory blocks and end of the process.
#include <unistd.h>

#include <cstdlib>

#include "platform/base/ground.h"

HLOCAL WINAPI LocalFree(HLOCAL memory) {
    std::free(memory);
    return nullptr;
}

HGLOBAL WINAPI GlobalFree(HGLOBAL memory) {
    std::free(memory);
    return nullptr;
}

DWORD WINAPI GetCurrentProcessId(void) { return static_cast<DWORD>(getpid()); }

void WINAPI ExitProcess(UINT code) {
    const int low = static_cast<int>(code & 0xFF);
    std::exit(low == 0 && code != 0 ? 255 : low);
}
