// Modules, memory blocks and end of the process.
#include <unistd.h>

#include <cstdlib>

#include "platform/base/ground.h"

HLOCAL WINAPI LocalFree(HLOCAL memory) {
    std::free(memory);
    return nullptr;
}

HMODULE WINAPI LoadLibraryA(LPCSTR) {
    SetLastError(ERROR_DLL_NOT_FOUND);
    return nullptr;
}

HMODULE WINAPI GetModuleHandleA(LPCSTR) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
}

DWORD WINAPI GetCurrentProcessId(void) { return static_cast<DWORD>(getpid()); }

void WINAPI ExitProcess(UINT code) {
    const int low = static_cast<int>(code & 0xFF);
    std::exit(low == 0 && code != 0 ? 255 : low);
}
