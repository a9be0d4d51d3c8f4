// What is put right when a signal ends the process.
#pragma once

#include <csignal>

namespace platform {

// Adds an action for the moment when SIGINT, SIGTERM, SIGHUP or SIGQUIT ends the process. It
// may do only what a signal handler may. A signal that is ignored (nohup) stays so.
void AtSignal(void (*action)());

// While it lives these signals wait.
class SignalsHeld {
  public:
    SignalsHeld();
    ~SignalsHeld();
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

  private:
    sigset_t before_{};
};

}  // namespace platform
