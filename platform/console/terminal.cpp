#include "platform/console/terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <initializer_list>

namespace platform {
namespace {

// What to put back. A signal handler reads it, so `armed` is set last.
struct Original {
    int terminal = -1;
    termios modes{};
    volatile std::sig_atomic_t armed = 0;
};

Original original;

void Restore() {
    if (original.armed != 0) tcsetattr(original.terminal, TCSANOW, &original.modes);
}

// The handler is gone after one use, so that the signal takes its usual course.
extern "C" void RestoreAndDie(int signal) {
    Restore();
    raise(signal);
}

void HandleSignals() {
    struct sigaction action {};
    action.sa_handler = RestoreAndDie;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        struct sigaction present {};
        // A signal that is ignored on purpose (nohup) stays so.
        if (sigaction(signal, nullptr, &present) == 0 && present.sa_handler == SIG_DFL) {
            sigaction(signal, &action, nullptr);
        }
    }
}

// The terminal stays the same one for the whole process.
bool RememberOriginal(int terminal) {
    if (original.armed != 0) return true;
    if (tcgetattr(terminal, &original.modes) != 0) return false;
    original.terminal = terminal;
    std::atexit(Restore);
    HandleSignals();
    original.armed = 1;
    return true;
}

}  // namespace

int KeyTerminal() {
    static const int controlling = open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY);
    return isatty(STDIN_FILENO) != 0 ? STDIN_FILENO : controlling;
}

bool SetTerminalModes(int terminal, const termios& modes) {
    if (!RememberOriginal(terminal)) return false;
    while (tcsetattr(terminal, TCSANOW, &modes) != 0) {
        if (errno != EINTR) return false;
    }
    return true;
}

RawKeys::RawKeys(int terminal) : terminal_(terminal) {
    if (tcgetattr(terminal, &before_) != 0) return;
    termios raw = before_;
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ECHONL);
    raw.c_lflag |= ISIG;
    raw.c_cc[VMIN] = 1;
    raw.c_cc[VTIME] = 0;
    changed_ = SetTerminalModes(terminal, raw);
}

RawKeys::~RawKeys() {
    if (changed_) SetTerminalModes(terminal_, before_);
}

bool InputWaits(int descriptor, int milliseconds) {
    pollfd wanted{descriptor, POLLIN, 0};
    return poll(&wanted, 1, milliseconds) > 0 && (wanted.revents & POLLIN) != 0;
}

}  // namespace platform
