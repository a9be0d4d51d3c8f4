// Starting another process.
#include <fcntl.h>
#include <process.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/base/file_name.h"
#include "platform/base/text.h"

namespace platform {
namespace {

struct Command {
    std::string program;
    std::vector<std::string> arguments;
};

// What the process between tells of the one that it started.
struct Outcome {
    int error = 0;
    pid_t process = -1;
};

bool OnSearchPath(std::string_view program) {
    const char* path = std::getenv("PATH");
    std::string_view rest = path == nullptr ? "" : path;
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find(':'), rest.size());
        const std::filesystem::path candidate =
            std::filesystem::path(rest.substr(0, end)) / program;
        if (access(candidate.c_str(), X_OK) == 0) return true;
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return false;
}

// A name with a leading "-" would be read as an option.
std::string FileArgument(std::string_view file) {
    std::string name = SystemFileName(file);
    return name.starts_with('-') ? "./" + name : name;
}

// `cmd /c FILE` asks the desktop's handler where there is no such interpreter.
Command Translate(Command command) {
    const auto& arguments = command.arguments;
    const bool opensFile =
        SameName(command.program, "cmd") && arguments.size() == 3 && SameName(arguments[1], "/c");
    if (!opensFile || OnSearchPath(command.program)) return command;
    return {"xdg-open", {"xdg-open", FileArgument(arguments[2])}};
}

// What this process ignores for itself (see process.cpp) is not for others.
class SpawnAttributes {
  public:
    SpawnAttributes() {
        sigset_t defaults{};
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGXFSZ);
        sigaddset(&defaults, SIGPIPE);
        posix_spawnattr_init(&attributes_);
        posix_spawnattr_setsigdefault(&attributes_, &defaults);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF);
    }
    ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;

    [[nodiscard]] const posix_spawnattr_t* Get() const { return &attributes_; }

  private:
    posix_spawnattr_t attributes_{};
};

Outcome Start(const Command& command) {
    std::vector<char*> arguments;
    for (const std::string& argument : command.arguments) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    Outcome outcome;
    const SpawnAttributes attributes;
    outcome.error = posix_spawnp(&outcome.process, command.program.c_str(), nullptr,
                                 attributes.Get(), arguments.data(), environ);
    return outcome;
}

int WaitFor(pid_t process) {
    int status = 0;
    while (waitpid(process, &status, 0) < 0) {
        if (errno != EINTR) return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// A process between starts the wanted one and ends, which leaves the wanted one to the
// system: nobody here would collect it later.
Outcome StartDetached(const Command& command) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return {errno, -1};
    const pid_t between = fork();
    if (between == 0) {
        const Outcome outcome = Start(command);
        _exit(write(ends[1], &outcome, sizeof outcome) == sizeof outcome ? 0 : 1);
    }
    Outcome outcome{errno, -1};
    close(ends[1]);
    if (between > 0) {
        WaitFor(between);
        ssize_t got = 0;
        do {
            got = read(ends[0], &outcome, sizeof outcome);
        } while (got < 0 && errno == EINTR);
        if (got != sizeof outcome) outcome = {ECHILD, -1};
    }
    close(ends[0]);
    return outcome;
}

std::intptr_t Spawn(int mode, const Command& command) {
    const Outcome outcome =
        mode == _P_WAIT ? Start(Translate(command)) : StartDetached(Translate(command));
    if (outcome.error != 0) {
        errno = outcome.error;
        return -1;
    }
    return mode == _P_WAIT ? WaitFor(outcome.process) : outcome.process;
}

}  // namespace
}  // namespace platform

using namespace platform;

intptr_t _spawnlp(int mode, const char* program, const char* argument0, ...) {
    if (program == nullptr || argument0 == nullptr || (mode != _P_WAIT && mode != _P_NOWAIT)) {
        errno = EINVAL;
        return -1;
    }
    va_list rest;
    va_start(rest, argument0);
    intptr_t result = -1;
    try {
        Command command{program, {argument0}};
        while (const char* argument = va_arg(rest, const char*)) {
            command.arguments.emplace_back(argument);
        }
        result = Spawn(mode, command);
    } catch (...) {
        errno = ENOMEM;
    }
    va_end(rest);
    return result;
}
