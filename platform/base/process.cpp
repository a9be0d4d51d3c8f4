// Memory blocks, version and end of the process.
#include <unistd.h>

#include <cstdlib>

#include "platform/base/error.h"
#include "platform/registry/registry.h"

namespace platform {
namespace {

constexpr DWORD kVersion = 10;

DWORD ConfiguredVersion() {
    const auto version = ReadMachineDword("Software\\Kestrel\\Platform", "Version");
    return version.value_or(kVersion);
}

}  // namespace
}  // namespace platform

HLOCAL WINAPI LocalFree(HLOCAL memory) {
    std::free(memory);
    return nullptr;
}

HGLOBAL WINAPI GlobalFree(HGLOBAL memory) {
    std::free(memory);
    return nullptr;
}

DWORD WINAPI GetVersion(void) {
    const platform::LastErrorKeeper keeper;
    // A damaged settings file shows where settings are read for their own sake.
    return platform::Guarded(platform::kVersion, platform::ConfiguredVersion);
}

DWORD WINAPI GetCurrentProcessId(void) { return static_cast<DWORD>(getpid()); }

void WINAPI ExitProcess(UINT code) {
    const int low = static_cast<int>(code & 0xFF);
    std::exit(low == 0 && code != 0 ? 255 : low);
}
