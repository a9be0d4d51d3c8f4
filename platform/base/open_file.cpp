// Opening files as CreateFileA does.
#include "platform/base/open_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

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

bool IsTemporary(const OpenRequest& request) {
    return (request.attributes & FILE_ATTRIBUTE_TEMPORARY) != 0;
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

struct stat StatusOf(int file, const std::string& name) {
    struct stat status {};
    if (fstat(file, &status) != 0) ThrowFileError(errno, name);
    return status;
}

Descriptor OpenPlainly(const OpenRequest& request, int flags) {
    const mode_t mode = IsTemporary(request) ? 0600 : 0666;
    Descriptor file(OpenUninterrupted(request.name, WithoutWaiting(flags), mode));
    if (file.Get() < 0) ThrowFileError(errno, request.name);
    if (WithoutWaiting(flags) != flags) WaitAgain(file.Get());
    // A folder opens for reading, and every read from it fails.
    const bool reads = (flags & O_ACCMODE) == O_RDONLY;
    if (reads && S_ISDIR(StatusOf(file.Get(), request.name).st_mode)) {
        ThrowFileError(EISDIR, request.name);
    }
    return file;
}

// ---- sharing -------------------------------------------------------------------

// What tells a file and its content from another.
struct Identity {
    dev_t device;
    ino_t number;
    off_t size;
    timespec written;
    timespec changed;

    explicit Identity(const struct stat& status)
        : device(status.st_dev),
          number(status.st_ino),
          size(status.st_size),
          written(status.st_mtim),
          changed(status.st_ctim) {}
    [[nodiscard]] bool SameFile(const Identity& other) const {
        return device == other.device && number == other.number;
    }
    [[nodiscard]] bool SameContent(const Identity& other) const {
        const auto same = [](const timespec& first, const timespec& second) {
            return first.tv_sec == second.tv_sec && first.tv_nsec == second.tv_nsec;
        };
        return SameFile(other) && size == other.size && same(written, other.written) &&
               same(changed, other.changed);
    }
};

Identity IdentityOf(const std::string& name) {
    struct stat status {};
    if (stat(name.c_str(), &status) != 0) ThrowFileError(errno, name);
    return Identity(status);
}

struct HeldFile {
    std::string name;
    Identity identity;
};

std::vector<const HeldFile*>& HeldFiles() {
    static auto* const files = new std::vector<const HeldFile*>;
    return *files;
}

class LockedFile : public OpenFile {
  public:
    LockedFile(Descriptor file, HeldFile held) : OpenFile(std::move(file)), held_(std::move(held)) {
        HeldFiles().push_back(&held_);
    }
    ~LockedFile() override { std::erase(HeldFiles(), &held_); }
    LockedFile(const LockedFile&) = delete;
    LockedFile& operator=(const LockedFile&) = delete;

  private:
    HeldFile held_;
};

// File systems without locks leave it to the comparison.
void Lock(int file, const std::string& name) {
    while (flock(file, LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK) throw Error(ERROR_SHARING_VIOLATION, name);
        if (errno != EINTR) return;
    }
}

// Whoever had the lock before may have put another file under the name since it was opened.
std::shared_ptr<OpenFile> OpenLocked(const OpenRequest& request, int flags) {
    for (;;) {
        Descriptor file = OpenPlainly(request, flags);
        if (!S_ISREG(StatusOf(file.Get(), request.name).st_mode)) {
            return std::make_shared<OpenFile>(std::move(file));
        }
        Lock(file.Get(), request.name);
        const Identity identity(StatusOf(file.Get(), request.name));
        if (!identity.SameFile(IdentityOf(request.name))) continue;
        return std::make_shared<LockedFile>(std::move(file), HeldFile{request.name, identity});
    }
}

}  // namespace

// A draft stays open. A temporary one waits also when this fails: whoever deletes it by its
// name then means no other file.
void OpenFile::Close() {
    if (!draft_) {
        if (!descriptor_.Close()) throw Error(ErrnoToCode(errno));
        return;
    }
    const auto draft = std::move(draft_);
    if (isTemporary_) KeepDraft(draft);
    if (!WritesArrived(draft->Get())) ThrowFileError(errno, draft->Name());
    if (isTemporary_) return;
    if (!draft->GiveName()) ThrowFileError(errno, draft->Name());
    draft->Settle();
}

std::shared_ptr<OpenFile> Open(const OpenRequest& request) {
    constexpr DWORD kKnown = FILE_ATTRIBUTE_NORMAL | FILE_ATTRIBUTE_TEMPORARY;
    constexpr DWORD kShares = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    if ((request.attributes & ~kKnown) != 0 || (request.share & ~kShares) != 0) {
        throw Error(ERROR_INVALID_PARAMETER);
    }
    const int access = AccessFlags(request.access);
    const int flags = access | DispositionFlags(request.disposition);
    if (request.disposition == CREATE_NEW && request.share == 0 && access != O_RDONLY) {
        const auto who =
            IsTemporary(request) ? Draft::Access::OwnerAlone : Draft::Access::Everybody;
        return std::make_shared<OpenFile>(std::make_shared<Draft>(request.name, who),
                                          IsTemporary(request));
    }
    const bool locks = request.disposition == OPEN_EXISTING &&
                       (request.share & FILE_SHARE_WRITE) == 0 && access != O_RDONLY;
    if (locks) return OpenLocked(request, flags);
    return std::make_shared<OpenFile>(OpenPlainly(request, flags));
}

void CheckHeld(const std::string& name) {
    for (const HeldFile* held : HeldFiles()) {
        if (held->name == name && !held->identity.SameContent(IdentityOf(name))) {
            throw Error(ERROR_SHARING_VIOLATION, name);
        }
    }
}

}  // namespace platform
