// Writing below containers/: the lock, hidden folders, and the renames that make them seen.
#include "platform/providers/container_folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "platform/base/error.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kFileMode = 0600;
constexpr mode_t kFolderMode = 0700;
// No container's name holds a backslash.
constexpr char kHidden = '\\';
constexpr const char* kLockFile = "\\lock";
constexpr const char* kStagePattern = "\\XXXXXX";
// A container that gives way stands in here where the system cannot exchange two names.
constexpr const char* kMovedFolder = "\\moved";

constexpr auto kPatience = std::chrono::seconds(20);
constexpr auto kPause = std::chrono::milliseconds(5);

fs::path EnsureContainers(Side side) {
    EnsureHome(side);
    fs::path root = ContainersOf(side);
    // Names of the machine's containers are everybody's to see, their content is not.
    const mode_t mode = side == Side::User ? kFolderMode : 0755;
    if (mkdir(root.c_str(), mode) == 0) {
        if (chmod(root.c_str(), mode) != 0) ThrowErrno(errno, root);
    } else if (errno != EEXIST) {
        ThrowErrno(errno, root);
    }
    return root;
}

void Rename(const fs::path& from, const fs::path& to) {
    if (rename(from.c_str(), to.c_str()) != 0) ThrowErrno(errno, to);
}

void RemoveTree(const fs::path& path) {
    std::error_code error;
    fs::remove_all(path, error);
    if (error) ThrowErrno(error.value(), path);
}

// A writer that could not exchange names was killed between two renames.
void PutBack(const fs::path& root) {
    const fs::path moved = root / kMovedFolder;
    if (!FileIsThere(moved)) return;
    for (const fs::path& entry : EntriesOf(moved)) {
        const fs::path place = root / entry.filename();
        if (!FileIsThere(place)) Rename(entry, place);
    }
    SyncFolder(root);
}

void Sweep(const fs::path& root) {
    PutBack(root);
    for (const fs::path& entry : EntriesOf(root)) {
        const std::string name = entry.filename();
        if (name.front() == kHidden && name != kLockFile) RemoveTree(entry);
    }
}

bool TryLock(int file) {
    if (flock(file, LOCK_EX | LOCK_NB) == 0) return true;
    if (errno != EWOULDBLOCK && errno != EINTR) throw Error(ERROR_LOCK_VIOLATION);
    return false;
}

std::shared_ptr<Descriptor> Lock(const fs::path& root) {
    const fs::path name = root / kLockFile;
    auto file = std::make_shared<Descriptor>(
        open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kFileMode));
    if (file->Get() < 0) ThrowErrno(errno, name);
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!TryLock(file->Get())) {
        if (std::chrono::steady_clock::now() > end) {
            throw Error(ERROR_SHARING_VIOLATION, name.string());
        }
        std::this_thread::sleep_for(kPause);
    }
    return file;
}

// Old file systems and those of networks know no exchange.
bool Unsupported(int error) {
    return error == EINVAL || error == ENOSYS || error == EOPNOTSUPP || error == ENOTSUP;
}

void ExchangeByMoving(const fs::path& root, const std::string& staged, const std::string& name) {
    const fs::path moved = root / kMovedFolder;
    if (mkdir(moved.c_str(), kFolderMode) != 0 && errno != EEXIST) ThrowErrno(errno, moved);
    Rename(root / name, moved / name);
    try {
        Rename(staged, root / name);
    } catch (const Error&) {
        Rename(moved / name, root / name);
        throw;
    }
    Rename(moved / name, staged);
    rmdir(moved.c_str());
}

}  // namespace

fs::path ContainersOf(Side side) { return HomeOf(side) / "containers"; }

bool FileIsThere(const fs::path& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) == 0) return true;
    if (errno != ENOENT) ThrowErrno(errno, file);
    return false;
}

std::vector<fs::path> EntriesOf(const fs::path& folder) {
    std::vector<fs::path> entries;
    std::error_code error;
    for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
        entries.push_back(at->path());
    }
    if (error) ThrowErrno(error.value(), folder);
    return entries;
}

void AddEmptyFile(const fs::path& file) {
    const Descriptor opened(open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, kFileMode));
    if (opened.Get() < 0) ThrowErrno(errno, file);
    SyncFolder(file.parent_path());
}

void RemoveFile(const fs::path& file) {
    if (unlink(file.c_str()) != 0 && errno != ENOENT) ThrowErrno(errno, file);
    SyncFolder(file.parent_path());
}

ContainerLock::ContainerLock(Side side) {
    static std::weak_ptr<Descriptor> held[2];
    std::weak_ptr<Descriptor>& mine = held[side == Side::User ? 0 : 1];
    file_ = mine.lock();
    if (file_ != nullptr) return;
    const fs::path root = EnsureContainers(side);
    file_ = Lock(root);
    Sweep(root);
    mine = file_;
}

StagedFolder::StagedFolder(Side side)
    : root_(ContainersOf(side)), path_((root_ / kStagePattern).string()) {
    if (mkdtemp(path_.data()) == nullptr) ThrowErrno(errno, root_);
}

StagedFolder::~StagedFolder() {
    std::error_code error;
    if (there_) fs::remove_all(path_, error);
}

void StagedFolder::Add(const std::string& file, ByteView content) const {
    const fs::path name = fs::path(path_) / file;
    Descriptor opened(open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode));
    if (opened.Get() < 0 || fchmod(opened.Get(), kFileMode) != 0 ||
        !WriteAll(opened.Get(), content) || fsync(opened.Get()) != 0 || !opened.Close()) {
        ThrowErrno(errno, name);
    }
}

void StagedFolder::Publish(const std::string& name) {
    if (FileIsThere(root_ / name)) throw Error(NTE_EXISTS, name);
    SyncFolder(path_);
    Rename(path_, root_ / name);
    there_ = false;
    SyncFolder(root_);
}

void StagedFolder::Replace(const std::string& name) {
    SyncFolder(path_);
    const fs::path place = root_ / name;
    if (renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, place.c_str(), RENAME_EXCHANGE) != 0) {
        if (!Unsupported(errno)) ThrowErrno(errno, place);
        ExchangeByMoving(root_, path_, name);
    }
    Remove();
}

void StagedFolder::TakeAway(const std::string& name) {
    Rename(root_ / name, path_);
    Remove();
}

// A key that could not be removed is no secret to pass over: the failure names it.
void StagedFolder::Remove() {
    SyncFolder(root_);
    there_ = false;
    RemoveTree(path_);
}

}  // namespace platform
