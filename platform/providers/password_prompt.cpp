// Asks the user for the password of a key container.
#include "platform/providers/password_prompt.h"

#include "platform/base/language.h"
#include "platform/console/hidden_line.h"

namespace platform {
namespace {

struct Texts {
    const char* wrong;
    const char* password;
};
constexpr Texts kEnglish = {"Wrong password.\n", "Password of container "};
constexpr Texts kRussian = {"Неверный пароль.\n", "Пароль контейнера "};

}  // namespace

std::optional<Secret> AskPassword(const std::string& container, bool again) {
    const Texts& texts = RussianUser() ? kRussian : kEnglish;
    return AskHiddenLine((again ? texts.wrong : "") + (texts.password + container) + ": ");
}

}  // namespace platform
