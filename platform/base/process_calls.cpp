// The exported calls on modules, memory blocks and the end of the process.
#include <unistd.h>

#include <cstdlib>

#include "platform/base/error.h"
#include "platform/base/file_name.h"
#include "platform/base/process.h"
#include "platform/base/text.h"

namespace platform {
namespace {

// Modules that have nothing but a table of texts here: a handle is the address of its name.
constexpr const char* kTextModules[] = {"wininet.dll", "winhttp.dll"};

HMODULE TextModule(LPCSTR name) {
    if (name == nullptr) throw Error(ERROR_INVALID_PARAMETER);
    for (const char* const& module : kTextModules) {
        if (SameName(module, name)) {
            return reinterpret_cast<HMODULE>(const_cast<const char**>(&module));
        }
    }
    throw Error(ERROR_MOD_NOT_FOUND, name);
}

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

HMODULE WINAPI LoadLibraryA(LPCSTR name) {
    return Guarded<HMODULE>(nullptr, [&]() -> HMODULE {
        throw Error(ERROR_DLL_NOT_FOUND, name == nullptr ? "" : name);
    });
}

HMODULE WINAPI GetModuleHandleA(LPCSTR name) {
    return Guarded<HMODULE>(nullptr, [&] { return TextModule(name); });
}

DWORD WINAPI GetCurrentProcessId(void) { return static_cast<DWORD>(getpid()); }

void WINAPI ExitProcess(UINT code) { std::exit(ExitStatus(code)); }
