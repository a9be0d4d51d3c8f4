#include "platform/providers/password_prompt.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/base/error.h"
#include "platform/base/language.h"
#include "platform/console/terminal.h"

namespace platform {
namespace {

constexpr std::size_t kLongestPassword = 1024;

struct Texts {
    const char* wrong;
    const char* password;
};
constexpr Texts kEnglish = {"Wrong password.\n", "Password of container "};
constexpr Texts kRussian = {"Неверный пароль.\n", "Пароль контейнера "};

// What is typed does not show while it lives.
class HiddenInput {
  public:
    explicit HiddenInput(int terminal) : terminal_(terminal) {
        if (terminal < 0 || tcgetattr(terminal, &before_) != 0) return;
        termios hidden = before_;
        hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL);
        hidden.c_lflag |= ICANON | ISIG;
        changed_ = SetTerminalModes(terminal, hidden);
    }
    ~HiddenInput() {
        if (changed_) SetTerminalModes(terminal_, before_);
    }
    HiddenInput(const HiddenInput&) = delete;
    HiddenInput& operator=(const HiddenInput&) = delete;

  private:
    int terminal_;
    bool changed_ = false;
    termios before_{};
};

// A terminal that cannot be written to still takes the password.
void Show(int terminal, const std::string& text) {
    for (std::size_t at = 0; terminal >= 0 && at < text.size();) {
        const ssize_t done = write(terminal, text.data() + at, text.size() - at);
        if (done < 0 && errno != EINTR) return;
        if (done > 0) at += static_cast<std::size_t>(done);
    }
}

bool ReadByte(int descriptor, std::uint8_t& byte) {
    ssize_t got = 0;
    do {
        got = read(descriptor, &byte, 1);
    } while (got < 0 && errno == EINTR);
    return got == 1;
}

// Byte by byte: what stands behind the line is for the next reader.
std::optional<Secret> ReadLine(int descriptor) {
    Bytes line;
    line.reserve(kLongestPassword);  // one buffer, so that one wipe is enough
    std::uint8_t byte = 0;
    bool any = false;
    while (ReadByte(descriptor, byte)) {
        any = true;
        if (byte == '\n') break;
        if (line.size() < kLongestPassword) line.push_back(byte);
    }
    if (!line.empty() && line.back() == '\r') line.pop_back();
    Wipe(&byte, 1);
    Secret password(line);
    Wipe(line);
    return any ? std::optional(std::move(password)) : std::nullopt;
}

}  // namespace

std::optional<Secret> AskPassword(const std::string& container, bool again) {
    const Texts& texts = RussianUser() ? kRussian : kEnglish;
    const int terminal = KeyTerminal();
    std::fflush(stdout);
    const HiddenInput hidden(terminal);
    Show(terminal, (again ? texts.wrong : "") + (texts.password + container) + ": ");
    std::optional<Secret> password = ReadLine(terminal < 0 ? STDIN_FILENO : terminal);
    Show(terminal, "\n");
    return password;
}

}  // namespace platform
