// Files by name: attributes, folders, deleting, renaming.
#include "platform/base/file_entry.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/base/descriptor.h"
#include "platform/base/draft.h"
#include "platform/base/error.h"
#include "platform/base/file_name.h"

namespace platform {
namespace {

// For file systems that cannot refuse an existing target: a second link cannot replace
// anything either. Where there are no links, a look must do.
bool RenameByLink(const char* from, const char* to) {
    if (link(from, to) == 0) return unlink(from) == 0;
    struct stat status {};
    if (errno != EEXIST && lstat(to, &status) == 0) errno = EEXIST;
    return errno != EEXIST && rename(from, to) == 0;
}

void SyncNamed(const std::string& name) {
    const Descriptor file(OpenUninterrupted(name, O_RDONLY));
    if (file.Get() < 0 || !SyncFile(file.Get())) ThrowFileError(errno, name);
}

// A temporary file that is moved is one no more.
bool MoveDraft(Draft& draft, const std::string& to, bool replacing, bool durable) {
    if (!draft.Widen() || (durable && !SyncFile(draft.Get()))) ThrowFileError(errno, draft.Name());
    return replacing ? draft.RenameTo(to) : draft.LinkTo(to);
}

bool MoveFile(const std::string& from, const std::string& to, bool replacing, bool durable) {
    if (durable) SyncNamed(from);
    return replacing ? rename(from.c_str(), to.c_str()) == 0 : RenameToFree(from, to);
}

}  // namespace

bool RenameToFree(const std::string& from, const std::string& to) {
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
    const bool unsupported = errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
    return unsupported && RenameByLink(from.c_str(), to.c_str());
}

void Move(const std::string& from, const std::string& to, DWORD flags) {
    constexpr DWORD kKnown = MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH;
    if ((flags & ~kKnown) != 0) throw Error(ERROR_INVALID_PARAMETER);
    const bool durable = (flags & MOVEFILE_WRITE_THROUGH) != 0;
    const bool replacing = (flags & MOVEFILE_REPLACE_EXISTING) != 0;
    const auto draft = FindDraft(from);
    const bool moved =
        draft ? MoveDraft(*draft, to, replacing, durable) : MoveFile(from, to, replacing, durable);
    if (!moved && errno == EEXIST) throw Error(ERROR_ALREADY_EXISTS, to);
    if (!moved) ThrowFileError(errno, to);
    ForgetDraft(from);
    if (durable) SyncFolder(FolderOf(to));
}

mode_t WithReadOnly(mode_t permissions, bool readOnly) {
    constexpr mode_t kWrite = S_IWUSR | S_IWGRP | S_IWOTH;
    if (readOnly) return permissions & ~kWrite;
    return (permissions & kWrite) != 0 ? permissions : permissions | S_IWUSR;
}

void SetReadOnly(const std::string& name, bool readOnly) {
    if (const auto draft = FindDraft(name)) {
        if (!draft->SetReadOnly(readOnly)) ThrowFileError(errno, name);
        return;
    }
    struct stat status {};
    if (stat(name.c_str(), &status) != 0) ThrowFileError(errno, name);
    const mode_t present = status.st_mode & ~mode_t{S_IFMT};
    const mode_t mode = WithReadOnly(present, readOnly);
    if (mode != present && chmod(name.c_str(), mode) != 0) ThrowFileError(errno, name);
}

void MakeFolder(const std::string& name) {
    if (mkdir(name.c_str(), 0777) == 0) return;
    if (errno == EEXIST) throw Error(ERROR_ALREADY_EXISTS, name);
    if (errno == ENOENT) throw Error(ERROR_PATH_NOT_FOUND, name);
    ThrowFileError(errno, name);
}

void DeleteNamed(const std::string& name) {
    if (DropDraft(name)) return;
    if (unlink(name.c_str()) != 0) ThrowFileError(errno, name);
}

DWORD AttributesOf(const struct stat& status) {
    DWORD attributes = 0;
    if (S_ISDIR(status.st_mode)) attributes |= FILE_ATTRIBUTE_DIRECTORY;
    if (!S_ISDIR(status.st_mode) && !S_ISREG(status.st_mode)) attributes |= FILE_ATTRIBUTE_DEVICE;
    if ((status.st_mode & 0222) == 0) attributes |= FILE_ATTRIBUTE_READONLY;
    return attributes != 0 ? attributes : FILE_ATTRIBUTE_NORMAL;
}

}  // namespace platform
