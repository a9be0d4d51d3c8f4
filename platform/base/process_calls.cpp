// The exported calls on memory blocks and the end of the process.
#include <unistd.h>

#include <cstdlib>

#include "platform/base/ground.h"
#include "platform/base/process.h"

namespace platform {
namespace {

int ExitStatus(UINT code) {
    const int low = static_cast<int>(code & 0xFF);
    if (code != 0) return low == 0 ? 255 : low;
    // There is nowhere left to say it but here.
    return OutputArrived() ? 0 : ERROR_WRITE_FAULT;
}

}  // namespace
}  // namespace platform

using namespace platform;

HLOCAL WINAPI LocalFree(HLOCAL memory) {
    std::free(memory);
    return nullptr;
}

HGLOBAL WINAPI GlobalFree(HGLOBAL memory) {
    std::free(memory);
    return nullptr;
}

DWORD WINAPI GetCurrentProcessId(void) { return static_cast<DWORD>(getpid()); }

void WINAPI ExitProcess(UINT code) { std::exit(ExitStatus(code)); }
