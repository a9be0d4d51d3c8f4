// The version of the system, which an administrator may set.
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

using namespace platform;

DWORD WINAPI GetVersion(void) {
    const LastErrorKeeper keeper;
    // A damaged settings file shows where settings are read for their own sake.
    return Guarded(kVersion, ConfiguredVersion);
}
