// Calls on files by name: attributes, folders, deleting, renaming.
#include "platform/base/file_entry.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/base/descriptor.h"
#include "platform/base/error.h"
#include "platform/base/file_name.h"

namespace platform {
namespace {

// "No such file" is an answer that callers want for each of many names, so it is not thrown.
DWORD AttributesOfName(const std::string& name) {
    struct stat status {};
    if (stat(name.c_str(), &status) == 0) return AttributesOf(status);
    SetLastError(FileErrorCode(errno, name));
    return INVALID_FILE_ATTRIBUTES;
}

void MakeFolder(const std::string& name) {
    if (mkdir(name.c_str(), 0777) == 0) return;
    if (errno == EEXIST) throw Error(ERROR_ALREADY_EXISTS, name);
    if (errno == ENOENT) throw Error(ERROR_PATH_NOT_FOUND, name);
    ThrowFileError(errno, name);
}

// For file systems that cannot refuse an existing target: a second link cannot replace
// anything either. Where there are no links, a look must do.
bool RenameByLink(const char* from, const char* to) {
    if (link(from, to) == 0) return unlink(from) == 0;
    struct stat status {};
    if (errno != EEXIST && lstat(to, &status) == 0) errno = EEXIST;
    return errno != EEXIST && rename(from, to) == 0;
}

bool RenameToFree(const char* from, const char* to) {
    if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return true;
    const bool unsupported = errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
    return unsupported && RenameByLink(from, to);
}

void SyncFile(const std::string& name) {
    const Descriptor file(open(name.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.Get() < 0 || fsync(file.Get()) != 0) ThrowFileError(errno, name);
}

void Move(const std::string& from, const std::string& to, DWORD flags) {
    const bool durable = (flags & MOVEFILE_WRITE_THROUGH) != 0;
    if (durable) SyncFile(from);
    const bool replacing = (flags & MOVEFILE_REPLACE_EXISTING) != 0;
    const bool moved =
        replacing ? rename(from.c_str(), to.c_str()) == 0 : RenameToFree(from.c_str(), to.c_str());
    if (!moved && errno == EEXIST) throw Error(ERROR_ALREADY_EXISTS, to);
    if (!moved) ThrowFileError(errno, to);
    if (durable) SyncFolder(FolderOf(to));
}

}  // namespace

DWORD AttributesOf(const struct stat& status) {
    DWORD attributes = 0;
    if (S_ISDIR(status.st_mode)) attributes |= FILE_ATTRIBUTE_DIRECTORY;
    if (!S_ISDIR(status.st_mode) && !S_ISREG(status.st_mode)) attributes |= FILE_ATTRIBUTE_DEVICE;
    if ((status.st_mode & 0222) == 0) attributes |= FILE_ATTRIBUTE_READONLY;
    return attributes != 0 ? attributes : FILE_ATTRIBUTE_NORMAL;
}

}  // namespace platform

DWORD WINAPI GetFileAttributesA(LPCSTR name) {
    return platform::Guarded<DWORD>(INVALID_FILE_ATTRIBUTES, [&] {
        return platform::AttributesOfName(platform::FileArgument(name));
    });
}

BOOL WINAPI CreateDirectoryA(LPCSTR name, LPSECURITY_ATTRIBUTES) {
    return platform::GuardedBool([&] { platform::MakeFolder(platform::FileArgument(name)); });
}

BOOL WINAPI DeleteFileA(LPCSTR name) {
    return platform::GuardedBool([&] {
        const std::string file = platform::FileArgument(name);
        if (unlink(file.c_str()) != 0) platform::ThrowFileError(errno, file);
    });
}

BOOL WINAPI MoveFileExA(LPCSTR from, LPCSTR to, DWORD flags) {
    return platform::GuardedBool([&] {
        if ((flags & ~DWORD{MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH}) != 0) {
            throw platform::Error(ERROR_INVALID_PARAMETER);
        }
        platform::Move(platform::FileArgument(from), platform::FileArgument(to), flags);
    });
}
