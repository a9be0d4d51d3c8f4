// Putting a file in the place of another, whose links and traits stay.
#include "platform/base/replace_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <memory>

#include "platform/base/cleanup.h"
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
        if (!target.exists && errno != ENOENT) ThrowFileError(errno, target.name);
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

// Null where the folder takes no new file, but the file itself may be written.
std::unique_ptr<Draft> DraftBeside(const Target& target) {
    try {
        return Draft::In(FolderOf(target.name));
    } catch (const Error& error) {
        const bool barred = error.Code() == ERROR_ACCESS_DENIED ||
                            error.Code() == ERROR_WRITE_PROTECT || error.Code() == ERROR_BUSY;
        if (target.exists && barred) return nullptr;
        throw Error(error.Code(), target.name, error.Where());
    }
}

// The replacement, open for reading: a file by its name, or a draft, which is never looked for
// by its name. In a folder that others write to, another file may have that by now.
class Source {
  public:
    explicit Source(const std::string& name)
        : name_(name), opened_(OpenUninterrupted(name, O_RDONLY | O_NONBLOCK | O_NOFOLLOW)) {
        if (opened_.Get() < 0) ThrowFileError(errno, name);
        TakeStatus();
        if (!S_ISREG(status_.st_mode)) ThrowFileError(EISDIR, name);
    }
    explicit Source(Draft& draft) : name_(draft.Name()), draft_(&draft) { TakeStatus(); }

    [[nodiscard]] int Get() const { return draft_ != nullptr ? draft_->Get() : opened_.Get(); }
    [[nodiscard]] const std::string& Name() const {
        return draft_ != nullptr ? draft_->Name() : name_;
    }
    [[nodiscard]] const struct stat& Status() const { return status_; }

    [[nodiscard]] bool RenameTo(const std::string& target) const {
        return draft_ != nullptr ? draft_->RenameTo(target)
                                 : rename(name_.c_str(), target.c_str()) == 0;
    }
    // Whoever kills the process finds it.
    void Show() const {
        if (draft_ != nullptr && !draft_->GiveAnyName()) ThrowFileError(errno, Name());
    }
    void Leave() const {
        if (draft_ != nullptr) draft_->Settle();
    }
    void Remove() const {
        if (draft_ != nullptr) return draft_->Drop();
        unlink(name_.c_str());
    }

  private:
    void TakeStatus() {
        if (fstat(Get(), &status_) != 0) ThrowFileError(errno, name_);
    }
    std::string name_;
    Descriptor opened_{-1};
    Draft* draft_ = nullptr;
    struct stat status_ {};
};

void SyncIf(bool durable, int file, const std::string& name) {
    if (durable && !SyncFile(file)) ThrowFileError(errno, name);
}

// All of these answer false when the file cannot be replaced by a rename and kept as it is.

// A new file has the replacement's permissions.
bool Dress(int file, const Source& source, const Target& target) {
    constexpr mode_t kPermissions = S_IRWXU | S_IRWXG | S_IRWXO;
    return target.exists ? CarryTraits(target.name, target.status, file)
                         : fchmod(file, source.Status().st_mode & kPermissions) == 0;
}

bool RenameSource(const Source& source, const Target& target, bool durable) {
    if (!Dress(source.Get(), source, target)) return false;
    SyncIf(durable, source.Get(), source.Name());
    if (source.RenameTo(target.name)) return true;
    if (!BarsRename(target)) ThrowFileError(errno, target.name);
    return false;
}

bool RenameCopy(const Source& source, const Target& target, bool durable) {
    const std::unique_ptr<Draft> copy = DraftBeside(target);
    if (!copy) return false;
    if (!CopyContent(source.Get(), copy->Get())) ThrowFileError(errno, target.name);
    if (!Dress(copy->Get(), source, target)) return false;
    SyncIf(durable, copy->Get(), target.name);
    if (copy->RenameTo(target.name)) {
        source.Remove();
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
    const bool replaced = folder == FolderOf(source.Name()) ? RenameSource(source, target, durable)
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
    if (!SetLength(file, before)) ThrowFileError(errno, target.name);
    ThrowFileError(error, target.name);
}

// The replacement stays until the end: a process killed on the way leaves it whole, and
// nobody may write it, by which those who clear up behind killed processes know it.
void Overwrite(const Source& source, const Target& target, bool durable) {
    Descriptor file(OpenUninterrupted(target.name, O_WRONLY));
    if (file.Get() < 0) ThrowFileError(errno, target.name);
    source.Show();
    SyncIf(durable, source.Get(), source.Name());
    if (durable) SyncFolder(FolderOf(source.Name()));
    const off_t size = source.Status().st_size;
    ReserveRoom(file.Get(), target, size);
    const SignalsHeld held;
    fchmod(source.Get(), 0400);
    if (!CopyContent(source.Get(), file.Get()) || !SetLength(file.Get(), size) ||
        (durable && !SyncFile(file.Get())) || !file.Close()) {
        source.Leave();
        throw Error(ERROR_UNABLE_TO_MOVE_REPLACEMENT, source.Name());
    }
    source.Remove();
}

void Put(const Source& source, const Target& target, bool durable) {
    CheckTarget(target, source.Status());
    if (ReplaceByRename(source, target, durable)) return;
    if (!target.exists) ThrowFileError(EACCES, target.name);
    Overwrite(source, target, durable);
}

// ---- content from memory -------------------------------------------------------

// Neither a file nor a folder; or a file that a process has open, which is no name to rename
// to.
bool IsWrittenTo(const Target& target) {
    return target.exists && !S_ISDIR(target.status.st_mode) &&
           (target.pinned || !S_ISREG(target.status.st_mode));
}

void WriteTo(const Target& target, ByteView content) {
    const int truncate = S_ISREG(target.status.st_mode) ? O_TRUNC : 0;
    Descriptor file(OpenUninterrupted(target.name, O_WRONLY | truncate));
    if (file.Get() < 0 || !WriteAll(file.Get(), content) || !file.Close()) {
        ThrowFileError(errno, target.name);
    }
}

// False when the target cannot be replaced by a rename and kept as it is.
bool RenameDraft(Draft& draft, const Target& target, mode_t mode, IfExists ifExists) {
    if (target.exists && target.status.st_nlink > 1) return false;
    if (target.exists && !CarryTraits(target.name, target.status, draft.Get())) return false;
    if (fchmod(draft.Get(), mode) != 0) ThrowFileError(errno, target.name);
    SyncIf(true, draft.Get(), target.name);
    const bool put =
        ifExists == IfExists::Refuse ? draft.LinkTo(target.name) : draft.RenameTo(target.name);
    if (!put && !BarsRename(target)) ThrowFileError(errno, target.name);
    if (put) SyncFolder(FolderOf(target.name));
    return put;
}

// What others may read is narrowed before a secret goes into it.
void NarrowTarget(const Target& target, mode_t mode) {
    constexpr mode_t kOthersRead = S_IRGRP | S_IROTH;
    if ((target.status.st_mode & ~mode & kOthersRead) == 0) return;
    if (chmod(target.name.c_str(), mode) != 0) ThrowFileError(errno, target.name);
}

// The folder takes no file beside it: a process that is killed on the way leaves a part.
void WriteInPlace(const Target& target, ByteView content) {
    Descriptor file(OpenUninterrupted(target.name, O_WRONLY));
    if (file.Get() < 0) ThrowFileError(errno, target.name);
    const auto size = static_cast<off_t>(content.size());
    ReserveRoom(file.Get(), target, size);
    const SignalsHeld held;
    if (!WriteAll(file.Get(), content) || !SetLength(file.Get(), size) || !SyncFile(file.Get()) ||
        !file.Close()) {
        ThrowFileError(errno, target.name);
    }
}

void CheckReplaced(const Target& target, const std::string& file, IfExists ifExists) {
    if (!target.exists) return;
    if (!S_ISREG(target.status.st_mode)) ThrowFileError(EISDIR, file);
    if (ifExists == IfExists::Refuse) ThrowFileError(EEXIST, file);
    if (faccessat(AT_FDCWD, target.name.c_str(), W_OK, AT_EACCESS) != 0) {
        ThrowFileError(errno, target.name);
    }
}

}  // namespace

void ReplaceFile(const std::filesystem::path& file, ByteView content, unsigned mode,
                 IfExists ifExists) {
    const Target target = FindTarget(file.string());
    if (IsWrittenTo(target)) return WriteTo(target, content);
    CheckReplaced(target, file.string(), ifExists);
    const std::unique_ptr<Draft> draft = DraftBeside(target);
    const auto wanted = static_cast<mode_t>(mode);
    if (!draft) {
        NarrowTarget(target, wanted);
        return WriteInPlace(target, content);
    }
    if (!WriteAll(draft->Get(), content)) ThrowFileError(errno, target.name);
    if (RenameDraft(*draft, target, wanted, ifExists)) return;
    NarrowTarget(target, wanted);
    Overwrite(Source(*draft), target, true);
}

std::string BehindLinks(const std::string& name) { return FindTarget(name).name; }

bool LeadsToOpenFile(const std::string& name) { return FindTarget(name).pinned; }

void ReplaceByFile(const std::string& replaced, const std::string& replacement, bool durable) {
    const Source source(replacement);
    const Target target = FindTarget(replaced);
    if (!target.exists && target.name == replaced) ThrowFileError(ENOENT, replaced);
    Put(source, target, durable);
}

void ReplaceByDraft(const std::string& replaced, Draft& draft, bool durable) {
    const Source source(draft);
    Put(source, FindTarget(replaced), durable);
}

}  // namespace platform
