// Putting a file in the place of another, whose links and traits stay.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>

#include "platform/base/descriptor.h"
#include "platform/base/error.h"
#include "platform/base/file_name.h"
#include "platform/base/file_traits.h"

namespace platform {
namespace {

// As many as the system follows itself.
constexpr int kMostLinks = 40;

// The file that is to get the content.
struct Target {
    std::string name;     // with its last part no symbolic link, unless it is pinned
    bool exists = false;  // a link may lead to a name that is still free
    bool pinned = false;  // the name must go on leading to this very file
    struct stat status {};
};

std::string ReadLink(const std::string& name) {
    char text[PATH_MAX];
    const ssize_t length = readlink(name.c_str(), text, sizeof text);
    if (length < 0) ThrowFileError(errno, name);
    const std::string lead(text, static_cast<std::size_t>(length));
    return lead.starts_with('/') ? lead : FolderOf(name) + lead;
}

// Links there (/dev/stdout leads through one) stand for files that are open: what they
// read as is no more than a hint.
bool StandsForOpenFile(const struct stat& link) {
    struct stat processes {};
    return stat("/proc/self", &processes) == 0 && processes.st_dev == link.st_dev;
}

// The system may forbid to follow a link that another user has put there.
void CheckFollowed(const std::string& link, struct stat& status) {
    if (stat(link.c_str(), &status) != 0 && errno != ENOENT) ThrowFileError(errno, link);
}

Target FindTarget(const std::string& replaced) {
    Target target;
    target.name = replaced;
    for (int links = 0; links < kMostLinks; ++links) {
        struct stat link {};
        target.exists = lstat(target.name.c_str(), &link) == 0;
        if (!target.exists && (errno != ENOENT || links == 0)) ThrowFileError(errno, target.name);
        target.status = link;
        if (!target.exists || !S_ISLNK(link.st_mode)) return target;
        CheckFollowed(target.name, target.status);
        target.pinned = StandsForOpenFile(link);
        if (target.pinned) return target;
        target.name = ReadLink(target.name);
    }
    ThrowFileError(ELOOP, replaced);
}

// A rename needs no right to write the file that it replaces; a caller of this does.
void CheckTarget(const Target& target, const struct stat& replacement) {
    if (!target.exists) return;
    if (!S_ISREG(target.status.st_mode)) ThrowFileError(EISDIR, target.name);
    if (faccessat(AT_FDCWD, target.name.c_str(), W_OK, AT_EACCESS) != 0) {
        ThrowFileError(errno, target.name);
    }
    if (target.status.st_dev == replacement.st_dev && target.status.st_ino == replacement.st_ino) {
        throw Error(ERROR_SHARING_VIOLATION, target.name);
    }
}

// What keeps a name from being renamed to and leaves the file itself to be written: rights
// on the folder, a sticky folder, a file that is mounted.
bool BarsRename(const Target& target) {
    return target.exists && (errno == EACCES || errno == EPERM || errno == EBUSY || errno == EROFS);
}

// The replacement, as opened for reading.
struct Source {
    std::string name;
    Descriptor file;
    struct stat status {};
};

Source OpenSource(const std::string& name) {
    Source source{name, Descriptor(open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK))};
    if (source.file.Get() < 0 || fstat(source.file.Get(), &source.status) != 0) {
        ThrowFileError(errno, name);
    }
    if (!S_ISREG(source.status.st_mode)) ThrowFileError(EISDIR, name);
    return source;
}

void SyncIf(bool durable, int file, const std::string& name) {
    if (durable && fsync(file) != 0) ThrowFileError(errno, name);
}

// All of these answer false when the file cannot be replaced by a rename and kept as it is.

bool Dress(int file, const Source& source, const Target& target) {
    return target.exists ? CarryTraits(target.name, target.status, file)
                         : CarryTraits(source.name, source.status, file);
}

bool RenameSource(const Source& source, const Target& target, bool durable) {
    if (!Dress(source.file.Get(), source, target)) return false;
    SyncIf(durable, source.file.Get(), source.name);
    if (rename(source.name.c_str(), target.name.c_str()) == 0) return true;
    if (!BarsRename(target)) ThrowFileError(errno, target.name);
    return false;
}

bool RenameCopy(const Source& source, const Target& target, bool durable) {
    TemporaryFile copy(FolderOf(target.name) + "kestrel-XXXXXX");
    if (copy.Get() < 0) {
        if (!BarsRename(target)) ThrowFileError(errno, target.name);
        return false;
    }
    if (!CopyContent(source.file.Get(), copy.Get())) ThrowFileError(errno, target.name);
    if (!Dress(copy.Get(), source, target)) return false;
    SyncIf(durable, copy.Get(), target.name);
    if (copy.RenameTo(target.name)) {
        unlink(source.name.c_str());
        return true;
    }
    if (!BarsRename(target)) ThrowFileError(errno, target.name);
    return false;
}

// A file that comes from another folder has the access rules of that folder, and perhaps
// lies on another disk, so the real file's folder gets a copy.
bool ReplaceByRename(const Source& source, const Target& target, bool durable) {
    if (target.pinned || (target.exists && target.status.st_nlink > 1)) return false;
    const std::string folder = FolderOf(target.name);
    const bool replaced = folder == FolderOf(source.name) ? RenameSource(source, target, durable)
                                                          : RenameCopy(source, target, durable);
    if (replaced && durable) SyncFolder(folder);
    return replaced;
}

// Takes the room that new content needs, so that a full disk shows while the old content
// is still there. What holds more already needs nothing.
void ReserveRoom(int file, const Target& target, off_t size) {
    if (size == 0) return;
    int error = 0;
    do {
        error = fallocate(file, FALLOC_FL_KEEP_SIZE, 0, size) == 0 ? 0 : errno;
    } while (error == EINTR);
    const off_t before = target.status.st_size;
    if (error == EOPNOTSUPP || error == ENOSYS) {
        error = size > before ? posix_fallocate(file, before, size - before) : 0;
    }
    if (error == 0) return;
    // What was taken so far is given back.
    if (ftruncate(file, before) != 0) ThrowFileError(errno, target.name);
    ThrowFileError(error, target.name);
}

// The replacement stays until the end: a process killed on the way leaves it whole.
void Overwrite(const Source& source, const Target& target, bool durable) {
    Descriptor file(open(target.name.c_str(), O_WRONLY | O_CLOEXEC));
    if (file.Get() < 0) ThrowFileError(errno, target.name);
    SyncIf(durable, source.file.Get(), source.name);
    if (durable) SyncFolder(FolderOf(source.name));
    const off_t size = source.status.st_size;
    ReserveRoom(file.Get(), target, size);
    if (!CopyContent(source.file.Get(), file.Get()) || ftruncate(file.Get(), size) != 0 ||
        (durable && fsync(file.Get()) != 0) || !file.Close()) {
        throw Error(ERROR_UNABLE_TO_MOVE_REPLACEMENT, source.name);
    }
    unlink(source.name.c_str());
}

void Replace(const std::string& replaced, const std::string& replacement, bool durable) {
    const Source source = OpenSource(replacement);
    const Target target = FindTarget(replaced);
    CheckTarget(target, source.status);
    if (ReplaceByRename(source, target, durable)) return;
    if (!target.exists) ThrowFileError(EACCES, target.name);
    Overwrite(source, target, durable);
}

}  // namespace
}  // namespace platform

BOOL WINAPI ReplaceFileA(LPCSTR replaced, LPCSTR replacement, LPCSTR backup, DWORD flags,
                         LPVOID exclude, LPVOID reserved) {
    return platform::GuardedBool([&] {
        if (backup != nullptr || exclude != nullptr || reserved != nullptr ||
            (flags & ~DWORD{REPLACEFILE_WRITE_THROUGH}) != 0) {
            throw platform::Error(ERROR_INVALID_PARAMETER);
        }
        platform::Replace(platform::FileArgument(replaced), platform::FileArgument(replacement),
                          (flags & REPLACEFILE_WRITE_THROUGH) != 0);
    });
}
