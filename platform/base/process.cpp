// What the platform does to its process when it starts and when it ends.
#include "platform/base/process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <initializer_list>

#include "platform/base/descriptor.h"

namespace platform {
namespace {

// A standard file that is closed would be the number of the next file opened, and what is
// printed would go into that. What stands there instead fails every read and write.
void OccupyStandardFiles() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) >= 0 || errno != EBADF) continue;
        const int access = descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY;
        static_cast<void>(!open("/dev/null", access));
    }
}

// Keys and passwords are in memory.
void ForbidDumps() {
    rlimit limit{};
    if (getrlimit(RLIMIT_CORE, &limit) == 0) {
        limit.rlim_cur = 0;
        setrlimit(RLIMIT_CORE, &limit);
    }
    prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
}

// A write past the limit on file sizes, or to a pipe that nobody reads, then fails, and is told
// and cleaned up behind as any other failed write.
void OutliveFailedWrites() {
    for (const int signal : {SIGXFSZ, SIGPIPE}) {
        struct sigaction present {};
        if (sigaction(signal, nullptr, &present) != 0 || present.sa_handler != SIG_DFL) continue;
        present.sa_handler = SIG_IGN;
        sigaction(signal, &present, nullptr);
    }
}

[[maybe_unused]] const bool started = [] {
    OccupyStandardFiles();
    ForbidDumps();
    OutliveFailedWrites();
    return true;
}();

}  // namespace

bool OutputArrived() {
    const bool flushed = std::fflush(stdout) == 0;
    // A file system on the network may only tell a close that it is full.
    return Descriptor(dup(STDOUT_FILENO)).Close() && flushed && std::ferror(stdout) == 0;
}

}  // namespace platform
