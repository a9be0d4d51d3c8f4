// Where the platform keeps things.
#include "platform/base/home.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string>

#include "platform/base/descriptor.h"
#include "platform/base/errno_map.h"
#include "platform/base/error.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

fs::path FromEnvironment(const char* variable) {
    const char* value = std::getenv(variable);
    return value == nullptr ? fs::path() : fs::path(value);
}

fs::path LoginHome() {
    fs::path home = FromEnvironment("HOME");
    if (!home.empty()) return home;
    const passwd* entry = getpwuid(geteuid());
    return entry == nullptr ? "/" : entry->pw_dir;
}

fs::path DataHome() {
    fs::path data = FromEnvironment("XDG_DATA_HOME");
    // The base directory specification has relative paths ignored.
    return data.is_absolute() ? data : LoginHome() / ".local/share";
}

std::size_t SizeOf(int descriptor, const fs::path& file) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0) ThrowErrno(errno, file);
    if (S_ISDIR(status.st_mode)) ThrowErrno(EISDIR, file);
    return S_ISREG(status.st_mode) ? static_cast<std::size_t>(status.st_size) : 0;
}

// Far more than anything that is read at once, and an end for files that have none.
constexpr std::size_t kLargestFile = std::size_t{1} << 30;

Descriptor OpenToRead(const fs::path& file, int flags = 0) {
    Descriptor opened(OpenUninterrupted(file, O_RDONLY | flags));
    if (opened.Get() < 0) ThrowErrno(errno, file);
    return opened;
}

Bytes ReadToEnd(int opened, const fs::path& file) {
    Bytes content(SizeOf(opened, file) + 1);
    std::size_t length = 0;
    for (;;) {
        if (length > kLargestFile) throw Error(ERROR_FILE_TOO_LARGE, file.string());
        if (length == content.size()) content.resize(content.size() * 2);
        const ssize_t got = read(opened, content.data() + length, content.size() - length);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) ThrowErrno(errno, file);
        if (got == 0) break;
        length += static_cast<std::size_t>(got);
    }
    content.resize(length);
    return content;
}

}  // namespace

fs::path HomeOf(Side side) {
    const bool user = side == Side::User;
    fs::path home = FromEnvironment(user ? "KESTREL_HOME" : "KESTREL_MACHINE_HOME");
    if (!home.empty()) return home;
    return user ? DataHome() / "kestrel" : fs::path("/var/lib/kestrel");
}

fs::path EnsureHome(Side side) {
    fs::path home = HomeOf(side);
    const mode_t mode = side == Side::User ? 0700 : 0755;
    std::error_code error;
    if (fs::is_directory(home, error)) return home;
    // Folders on the way are made with the user's own mask, the home itself without it.
    if (home.has_parent_path()) fs::create_directories(home.parent_path(), error);
    if (mkdir(home.c_str(), mode) != 0 && errno != EEXIST) ThrowErrno(errno, home);
    if (!fs::is_directory(home, error)) ThrowErrno(ENOTDIR, home);
    if (chmod(home.c_str(), mode) != 0) ThrowErrno(errno, home);
    return home;
}

Bytes ReadWholeFile(const fs::path& file) { return ReadToEnd(OpenToRead(file).Get(), file); }

Bytes ReadOwnFile(const fs::path& file, DWORD otherwise) {
    const Descriptor opened = OpenToRead(file, O_NONBLOCK);
    struct stat status {};
    if (fstat(opened.Get(), &status) != 0) ThrowErrno(errno, file);
    if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) throw Error(otherwise, file.string());
    return ReadToEnd(opened.Get(), file);
}

void ThrowErrno(int error, const fs::path& file, const std::source_location& where) {
    throw Error(ErrnoToCode(error), file.string(), where);
}

}  // namespace platform
