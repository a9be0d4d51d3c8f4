#include "kestrelctl/password.h"

#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iostream>

namespace kestrelctl {
namespace {

// Echo off while this lives.
class QuietTerminal {
  public:
    QuietTerminal() {
        if (tcgetattr(STDIN_FILENO, &saved_) != 0) return;
        termios quiet = saved_;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        active_ = tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet) == 0;
    }
    ~QuietTerminal() {
        if (active_) tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved_);
    }
    QuietTerminal(const QuietTerminal&) = delete;
    QuietTerminal& operator=(const QuietTerminal&) = delete;

  private:
    termios saved_{};
    bool active_ = false;
};

platform::Secret TakeLine(std::istream& input, const char* missing) {
    std::string line;
    if (!std::getline(input, line)) throw Failure(missing);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    platform::Secret secret(platform::ViewOf(line));
    platform::Wipe(line);
    return secret;
}

}  // namespace

platform::Secret AskPassword(const std::string& prompt) {
    if (isatty(STDIN_FILENO) == 0) return TakeLine(std::cin, "no password on standard input");
    std::fprintf(stderr, "%s", prompt.c_str());
    const QuietTerminal quiet;
    platform::Secret secret = TakeLine(std::cin, "no password given");
    std::fprintf(stderr, "\n");
    return secret;
}

platform::Secret AskNewPassword(const std::string& prompt) {
    platform::Secret secret = AskPassword(prompt);
    if (isatty(STDIN_FILENO) != 0 &&
        !platform::Equal(secret.View(), AskPassword("Once more: ").View())) {
        throw Failure("the passwords differ");
    }
    return secret;
}

platform::Secret FilePassword(const Arguments& arguments, bool isNew) {
    if (const auto given = arguments.Find("password")) {
        return platform::Secret(platform::ViewOf(*given));
    }
    if (const auto file = arguments.Find("password-file")) {
        std::ifstream input(*file);
        if (!input) throw Failure("cannot read '" + *file + "'");
        return TakeLine(input, "the password file is empty");
    }
    const std::string prompt = "Password of the PKCS #12 file: ";
    return isNew ? AskNewPassword(prompt) : AskPassword(prompt);
}

}  // namespace kestrelctl
