// What is put right when a signal ends the process.
#include "platform/base/cleanup.h"

#include <cerrno>
#include <cstddef>
#include <initializer_list>

namespace platform {
namespace {

constexpr auto kEnding = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

// Each caller adds its action once, so that a few places do.
constexpr std::size_t kMostActions = 4;
void (*volatile actions[kMostActions])() = {};

// The handler is gone after one use, so that the signal then takes its usual course.
extern "C" void CleanUpAndDie(int signal) {
    for (const auto action : actions) {
        if (action != nullptr) action();
    }
    raise(signal);
}

void HandleSignals() {
    struct sigaction action {};
    action.sa_handler = CleanUpAndDie;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    for (const int signal : kEnding) {
        struct sigaction present {};
        if (sigaction(signal, nullptr, &present) == 0 && present.sa_handler == SIG_DFL) {
            sigaction(signal, &action, nullptr);
        }
    }
}

}  // namespace

void AtSignal(void (*action)()) {
    for (auto& place : actions) {
        if (place == action) return;
        if (place != nullptr) continue;
        place = action;
        return HandleSignals();
    }
}

SignalsHeld::SignalsHeld() {
    sigset_t held{};
    sigemptyset(&held);
    for (const int signal : kEnding) sigaddset(&held, signal);
    sigprocmask(SIG_BLOCK, &held, &before_);
}

SignalsHeld::~SignalsHeld() {
    const int kept = errno;
    sigprocmask(SIG_SETMASK, &before_, nullptr);
    errno = kept;
}

}  // namespace platform
