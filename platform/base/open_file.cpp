#include "platform/base/open_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/base/errno_map.h"
#include "platform/base/file_name.h"

namespace platform {
namespace {

int AccessFlags(DWORD access) {
    switch (access) {
        case GENERIC_READ:
            return O_RDONLY;
        case GENERIC_WRITE:
            return O_WRONLY;
        case GENERIC_READ | GENERIC_WRITE:
            return O_RDWR;
        default:
            throw Error(ERROR_INVALID_PARAMETER);
    }
}

int DispositionFlags(DWORD disposition) {
    switch (disposition) {
        case CREATE_NEW:
            return O_CREAT | O_EXCL;
        case CREATE_ALWAYS:
            return O_CREAT | O_TRUNC;
        case OPEN_EXISTING:
            return 0;
        default:
            throw Error(ERROR_INVALID_PARAMETER);
    }
}

int OpenUninterrupted(const std::string& name, int flags, mode_t mode) {
    for (;;) {
        const int descriptor = open(name.c_str(), flags | O_CLOEXEC | O_NOCTTY, mode);
        if (descriptor >= 0 || errno != EINTR) return descriptor;
    }
}

// An existing FIFO is opened for writing at once or, without a reader, not at all. What has
// been opened then waits as usual.
int WithoutWaiting(int flags) {
    const bool mayWait = (flags & O_ACCMODE) == O_WRONLY && (flags & O_CREAT) == 0;
    return mayWait ? flags | O_NONBLOCK : flags;
}

void WaitAgain(int descriptor) {
    const int flags = fcntl(descriptor, F_GETFL);
    if ((flags & O_NONBLOCK) != 0) fcntl(descriptor, F_SETFL, flags & ~O_NONBLOCK);
}

Descriptor Open(const std::string& name, int flags, DWORD attributes) {
    constexpr DWORD kKnown = FILE_ATTRIBUTE_NORMAL | FILE_ATTRIBUTE_TEMPORARY;
    if ((attributes & ~kKnown) != 0) throw Error(ERROR_INVALID_PARAMETER);
    const mode_t mode = (attributes & FILE_ATTRIBUTE_TEMPORARY) != 0 ? 0600 : 0666;
    Descriptor file(OpenUninterrupted(name, WithoutWaiting(flags), mode));
    if (file.Get() < 0) ThrowFileError(errno, name);
    if (WithoutWaiting(flags) != flags) WaitAgain(file.Get());
    // A folder opens for reading, and every read from it fails.
    struct stat status {};
    if ((flags & O_ACCMODE) == O_RDONLY && fstat(file.Get(), &status) == 0 &&
        S_ISDIR(status.st_mode)) {
        ThrowFileError(EISDIR, name);
    }
    return file;
}

void CheckDone(int result) {
    if (result != 0) throw Error(ErrnoToCode(errno));
}

}  // namespace

void OpenFile::Close() {
    if (!descriptor_.Close()) throw Error(ErrnoToCode(errno));
}

}  // namespace platform

HANDLE WINAPI CreateFileA(LPCSTR name, DWORD access, DWORD, LPSECURITY_ATTRIBUTES,
                          DWORD disposition, DWORD flags, HANDLE) {
    return platform::Guarded<HANDLE>(INVALID_HANDLE_VALUE, [&]() -> HANDLE {
        const std::string file = platform::FileArgument(name);
        const int how = platform::AccessFlags(access) | platform::DispositionFlags(disposition);
        return platform::Publish(
            std::make_shared<platform::OpenFile>(platform::Open(file, how, flags)));
    });
}

BOOL WINAPI FlushFileBuffers(HANDLE file) {
    return platform::GuardedBool(
        [&] { platform::CheckDone(fsync(platform::Resolve<platform::OpenFile>(file)->Get())); });
}

BOOL WINAPI SetEndOfFile(HANDLE file) {
    return platform::GuardedBool([&] {
        const int descriptor = platform::Resolve<platform::OpenFile>(file)->Get();
        const off_t position = lseek(descriptor, 0, SEEK_CUR);
        platform::CheckDone(position < 0 ? -1 : ftruncate(descriptor, position));
    });
}

BOOL WINAPI CloseHandle(HANDLE object) {
    return platform::GuardedBool([&] {
        const auto file = platform::Resolve<platform::OpenFile>(object);
        platform::ReleaseHandle(object, platform::Kind::File, ERROR_INVALID_HANDLE);
        file->Close();
    });
}
