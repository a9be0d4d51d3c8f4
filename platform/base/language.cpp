// The user's language by the variables of the C library.
#include "platform/base/language.h"

#include <cstdlib>
#include <string_view>

namespace platform {
namespace {

// The first that is set decides, as it does for the C library.
std::string_view LanguageName() {
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(variable);
        if (value != nullptr && *value != '\0') return value;
    }
    return {};
}

}  // namespace

bool RussianUser() { return LanguageName().starts_with("ru"); }

}  // namespace platform
