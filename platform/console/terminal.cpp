// The terminal and its input modes.
#include "platform/console/terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include "platform/base/cleanup.h"

namespace platform {
namespace {

// What to put back, and what to set again after a stop. Signal handlers read it, so `armed`
// is set last.
struct Modes {
    int terminal = -1;
    termios original{};
    termios wanted{};
    volatile std::sig_atomic_t armed = 0;
};

Modes modes;

// In the background the terminal is another's, who got it as it was when this process stopped;
// setting modes would stop this one again and keep it from ending.
void Restore() {
    if (modes.armed == 0) return;
    const pid_t front = tcgetpgrp(modes.terminal);
    if (front > 0 && front != getpgrp()) return;
    tcsetattr(modes.terminal, TCSANOW, &modes.original);
}

// The shell gets its terminal as it was. When the process goes on in front, it goes on as it
// was stopped; from the background, setting the modes waits for that.
extern "C" void StopAndGoOn(int signal) {
    const int kept = errno;
    Restore();
    struct sigaction stop {};
    struct sigaction handler {};
    stop.sa_handler = SIG_DFL;
    sigaction(signal, &stop, &handler);
    sigset_t stopping{};
    sigset_t before{};
    sigemptyset(&stopping);
    sigaddset(&stopping, signal);
    raise(signal);
    sigprocmask(SIG_UNBLOCK, &stopping, &before);
    sigprocmask(SIG_SETMASK, &before, nullptr);
    sigaction(signal, &handler, nullptr);
    if (modes.armed != 0) tcsetattr(modes.terminal, TCSANOW, &modes.wanted);
    errno = kept;
}

void HandleStops() {
    struct sigaction present {};
    if (sigaction(SIGTSTP, nullptr, &present) != 0 || present.sa_handler != SIG_DFL) return;
    struct sigaction action {};
    action.sa_handler = StopAndGoOn;
    action.sa_flags = SA_RESTART;
    sigaction(SIGTSTP, &action, nullptr);
}

// The terminal stays the same one for the whole process.
bool RememberOriginal(int terminal) {
    if (modes.armed != 0) return true;
    if (tcgetattr(terminal, &modes.original) != 0) return false;
    modes.terminal = terminal;
    modes.wanted = modes.original;
    std::atexit(Restore);
    AtSignal(Restore);
    HandleStops();
    modes.armed = 1;
    return true;
}

}  // namespace

int KeyTerminal() {
    static const int controlling = open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY);
    return isatty(STDIN_FILENO) != 0 ? STDIN_FILENO : controlling;
}

bool SetTerminalModes(int terminal, const termios& wanted) {
    if (!RememberOriginal(terminal)) return false;
    modes.wanted = wanted;
    while (tcsetattr(terminal, TCSANOW, &wanted) != 0) {
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

HiddenInput::HiddenInput(int terminal) : terminal_(terminal) {
    if (terminal < 0 || tcgetattr(terminal, &before_) != 0) return;
    termios hidden = before_;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL);
    hidden.c_lflag |= ICANON | ISIG;
    changed_ = SetTerminalModes(terminal, hidden);
}

HiddenInput::~HiddenInput() {
    if (changed_) SetTerminalModes(terminal_, before_);
}

bool InputWaits(int descriptor, int milliseconds) {
    pollfd wanted{descriptor, POLLIN, 0};
    int ready = 0;
    do {
        ready = poll(&wanted, 1, milliseconds);
    } while (ready < 0 && errno == EINTR);
    return ready > 0 && (wanted.revents & POLLIN) != 0;
}

int ReadByte(int descriptor) {
    unsigned char byte = 0;
    ssize_t got = 0;
    do {
        got = read(descriptor, &byte, 1);
    } while (got < 0 && errno == EINTR);
    return got == 1 ? byte : -1;
}

}  // namespace platform
