// What a thread needs while libcurl works in it.
#pragma once

#include <clocale>
#include <csignal>
#include <ctime>

namespace platform {

// A closed connection must not end the process: the TLS library writes with signals on. And
// names of hosts are UTF-8 whatever the C library's locale is.
class CallGuard {
  public:
    CallGuard() {
        static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
        if (utf8 != nullptr) locale_ = uselocale(utf8);
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        sigset_t pending;
        sigpending(&pending);
        wasPending_ = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &pipe_, &mask_);
    }
    ~CallGuard() {
        const timespec none{};
        while (!wasPending_ && sigtimedwait(&pipe_, nullptr, &none) > 0) continue;
        pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
        if (locale_ != nullptr) uselocale(locale_);
    }
    CallGuard(const CallGuard&) = delete;
    CallGuard& operator=(const CallGuard&) = delete;

  private:
    sigset_t pipe_{};
    sigset_t mask_{};
    bool wasPending_ = false;
    locale_t locale_ = nullptr;
};

}  // namespace platform
