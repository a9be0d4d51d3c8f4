// The console's language, told as its code page.
#include <cstdlib>
#include <string_view>

#include "platform/base/error.h"

namespace platform {
namespace {

constexpr UINT kCyrillicCodePage = 1251;

// The first that is set decides, as it does for the C library.
std::string_view LanguageName() {
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(variable);
        if (value != nullptr && *value != '\0') return value;
    }
    return {};
}

}  // namespace

bool RussianConsole() { return LanguageName().starts_with("ru"); }

}  // namespace platform

UINT WINAPI GetConsoleOutputCP(void) {
    return platform::RussianConsole() ? platform::kCyrillicCodePage : UINT{CP_UTF8};
}
