// Files that are being made.
#include "platform/base/draft.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <string_view>
#include <vector>

#include "platform/base/cleanup.h"
#include "platform/base/error.h"
#include "platform/base/file_entry.h"
#include "platform/base/file_name.h"
#include "platform/base/text.h"

namespace platform {
namespace {

constexpr mode_t kOwnerAlone = 0600;
constexpr mode_t kEverybody = 0666;

// ---- names that a signal removes -----------------------------------------------

// Fixed memory: the handler reads it. More drafts than places are not removed by a signal,
// but by the next process, as after a kill.
struct Place {
    volatile std::sig_atomic_t taken = 0;
    char name[PATH_MAX];
};
Place places[8];

void RemoveNamed() {
    for (const Place& place : places) {
        if (place.taken != 0) unlink(place.name);
    }
}

int TakePlace(const std::string& name) {
    static const bool registered = [] {
        AtSignal(RemoveNamed);
        return std::atexit(RemoveNamed) == 0;
    }();
    static_cast<void>(registered);
    if (name.size() >= PATH_MAX) return -1;
    for (std::size_t i = 0; i < std::size(places); ++i) {
        if (places[i].taken != 0) continue;
        std::memcpy(places[i].name, name.c_str(), name.size() + 1);
        places[i].taken = 1;
        return static_cast<int>(i);
    }
    return -1;
}

// ---- what killed processes have left ---------------------------------------------

std::string_view LastPart(std::string_view name) { return name.substr(name.rfind('/') + 1); }

void SkipDigits(std::string_view& text) {
    while (!text.empty() && IsDigit(text.front())) text.remove_prefix(1);
}

constexpr std::string_view kTemporaryStem = "kestrel-";
constexpr std::string_view kTemporaryEnd = ".tmp";

// What is swept is called like this, and nothing else is.
bool IsTemporaryName(std::string_view name) {
    return name.starts_with(kTemporaryStem) && name.ends_with(kTemporaryEnd);
}

std::string TemporaryName(const std::string& folder, unsigned number) {
    return folder + std::string(kTemporaryStem) + std::to_string(getpid()) + "-" +
           std::to_string(number) + std::string(kTemporaryEnd);
}

// True when the names have numbers at the same places and are equal otherwise.
bool DifferInDigitsAlone(std::string_view first, std::string_view second) {
    bool digits = false;
    while (!first.empty() && !second.empty()) {
        if (IsDigit(first.front()) && IsDigit(second.front())) {
            SkipDigits(first);
            SkipDigits(second);
            digits = true;
        } else if (first.front() == second.front()) {
            first.remove_prefix(1);
            second.remove_prefix(1);
        } else {
            return false;
        }
    }
    return digits && first.empty() && second.empty();
}

// A file that nobody may write is the only whole copy of something (see replace_file.cpp).
bool IsLeftover(const struct stat& status) {
    return S_ISREG(status.st_mode) && status.st_uid == geteuid() && status.st_nlink == 1 &&
           (status.st_mode & S_IWUSR) != 0;
}

bool StillNames(const std::string& name, const struct stat& status) {
    struct stat present {};
    return lstat(name.c_str(), &present) == 0 && present.st_dev == status.st_dev &&
           present.st_ino == status.st_ino;
}

void RemoveLeftover(const std::string& name) {
    const Descriptor file(OpenUninterrupted(name, O_RDWR | O_NOFOLLOW | O_NONBLOCK));
    struct stat status {};
    if (file.Get() < 0 || fstat(file.Get(), &status) != 0 || !IsLeftover(status)) return;
    if (flock(file.Get(), LOCK_EX | LOCK_NB) != 0 || !StillNames(name, status)) return;
    unlink(name.c_str());
}

void Sweep(const std::string& folder, std::string_view like) {
    DIR* const directory = opendir(folder.c_str());
    if (directory == nullptr) return;
    while (const dirent* entry = readdir(directory)) {
        if (DifferInDigitsAlone(entry->d_name, like)) RemoveLeftover(folder + entry->d_name);
    }
    closedir(directory);
}

// Once a folder and process: a batch makes thousands of files in one.
void SweepOnce(const std::string& name) {
    static std::set<std::string> swept;
    const std::string folder = FolderOf(name);
    if (!IsTemporaryName(LastPart(name))) return;
    if (swept.insert(folder).second) Sweep(folder, LastPart(name));
}

// ---- opening -----------------------------------------------------------------

bool LacksUnnamedFiles(int error) {
    return error == EOPNOTSUPP || error == EISDIR || error == EINVAL || error == ENOENT;
}

std::string LinkOf(int file) { return "/proc/self/fd/" + std::to_string(file); }

// What a file without a name gets one by.
bool HasLinks() {
    struct stat status {};
    return lstat("/proc/self/fd", &status) == 0;
}

mode_t CurrentMask() {
    const mode_t mask = umask(0);
    umask(mask);
    return mask;
}

// The way through /proc costs more, and serves where the system lets only the privileged name
// a file by its descriptor.
bool LinkFile(int file, const std::string& name) {
    if (linkat(file, "", AT_FDCWD, name.c_str(), AT_EMPTY_PATH) == 0) return true;
    return errno != EEXIST &&
           linkat(AT_FDCWD, LinkOf(file).c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

bool NameIsFree(const std::string& name) {
    struct stat status {};
    return lstat(name.c_str(), &status) != 0;
}

// Those that are there, settled or not: a name of theirs may not be on the disk yet.
std::vector<const Draft*>& Drafts() {
    static auto* const drafts = new std::vector<const Draft*>;
    return *drafts;
}

bool IsDraft(const std::string& name) {
    return std::ranges::any_of(Drafts(), [&](const Draft* draft) { return draft->Name() == name; });
}

}  // namespace

// Whether another file has the name of one for its owner alone is found out when that is given
// its name, if ever.
Draft::Draft(std::string name, Access access) : name_(std::move(name)) {
    SweepOnce(name_);
    if (IsDraft(name_) || (access == Access::Everybody && !NameIsFree(name_))) {
        ThrowFileError(EEXIST, name_);
    }
    if (!OpenUnnamed(access)) OpenNamed(access);
    Drafts().push_back(this);
}

std::unique_ptr<Draft> Draft::In(const std::string& folder) {
    constexpr unsigned kMostTries = 10000;
    for (unsigned number = 0;; ++number) {
        try {
            return std::make_unique<Draft>(TemporaryName(folder, number), Access::OwnerAlone);
        } catch (const Error& error) {
            if (error.Code() != ERROR_FILE_EXISTS || number == kMostTries) throw;
        }
    }
}

// It is made with the permissions of any file, so that the mask and the folder's rules have
// their say: nobody else can open it without a name, so it is narrowed with that.
bool Draft::OpenUnnamed(Access access) {
    static const bool hasLinks = HasLinks();
    if (!hasLinks) return false;
    Descriptor file(OpenUninterrupted(FolderOf(name_), O_RDWR | O_TMPFILE, kEverybody));
    if (file.Get() < 0 && !LacksUnnamedFiles(errno)) ThrowFileError(errno, name_);
    if (file.Get() < 0) return false;
    struct stat status {};
    if (fstat(file.Get(), &status) != 0) ThrowFileError(errno, name_);
    ordinaryMode_ = status.st_mode & ~mode_t{S_IFMT};
    narrows_ = access == Access::OwnerAlone;
    file_ = std::move(file);
    return true;
}

// Before it is locked, a sweep may have taken it for a leftover.
void Draft::OpenNamed(Access access) {
    ordinaryMode_ = kEverybody & ~CurrentMask();
    const mode_t mode = access == Access::OwnerAlone ? kOwnerAlone : kEverybody;
    for (;;) {
        const SignalsHeld held;
        Descriptor file(OpenUninterrupted(name_, O_RDWR | O_CREAT | O_EXCL, mode));
        if (file.Get() < 0) ThrowFileError(errno, name_);
        static_cast<void>(flock(file.Get(), LOCK_EX));
        // Under a mask that takes the right to write, a leftover would not be known as one.
        if (access == Access::OwnerAlone) static_cast<void>(fchmod(file.Get(), kOwnerAlone));
        struct stat status {};
        if (fstat(file.Get(), &status) != 0) ThrowFileError(errno, name_);
        if (status.st_nlink == 0) continue;
        file_ = std::move(file);
        named_ = true;
        isNarrow_ = access == Access::OwnerAlone;
        return ShowToSignals();
    }
}

void Draft::ShowToSignals() { place_ = TakePlace(name_); }

Draft::~Draft() {
    Drop();
    std::erase(Drafts(), this);
}

void Draft::Drop() {
    if (named_ && !settled_) unlink(name_.c_str());
    Settle();
}

void Draft::Settle() {
    settled_ = true;
    if (place_ >= 0) places[place_].taken = 0;
    place_ = -1;
}

bool Draft::GiveName() {
    if (named_) return true;
    if (narrows_ && fchmod(Get(), kOwnerAlone) != 0) return false;
    isNarrow_ = narrows_;
    return LinkOwnName();
}

bool Draft::GiveAnyName() { return fchmod(Get(), kOwnerAlone) == 0 && (named_ || LinkAnyName()); }

// Unlocked, a sweep would take it for a leftover.
bool Draft::LinkOwnName() {
    if (named_) return true;
    static_cast<void>(flock(Get(), LOCK_EX | LOCK_NB));
    const SignalsHeld held;
    named_ = LinkFile(Get(), name_);
    if (named_) ShowToSignals();
    return named_;
}

// Whoever else makes files in the folder cannot foresee the names.
bool Draft::LinkAnyName() {
    constexpr int kMostTries = 100;
    for (int tries = 0; !LinkOwnName(); ++tries) {
        if (errno != EEXIST || tries == kMostTries) return false;
        name_ = TemporaryName(FolderOf(name_), arc4random());
    }
    return true;
}

bool Draft::SetReadOnly(bool readOnly) {
    const mode_t mode = WithReadOnly(ordinaryMode_, readOnly);
    if (mode == ordinaryMode_) return true;
    if (!isNarrow_ && fchmod(Get(), mode) != 0) return false;
    ordinaryMode_ = mode;
    return true;
}

bool Draft::Widen() {
    narrows_ = false;
    if (isNarrow_ && fchmod(Get(), ordinaryMode_) != 0) return false;
    isNarrow_ = false;
    return true;
}

// Its permissions are those that it is to keep, so the name on the way shows no more.
bool Draft::RenameTo(const std::string& target) {
    if (!LinkAnyName() || rename(name_.c_str(), target.c_str()) != 0) return false;
    Settle();
    return true;
}

bool Draft::LinkTo(const std::string& target) {
    if (named_) return RenameToFree(name_, target) && (Settle(), true);
    const bool linked = LinkFile(Get(), target);
    if (linked) Settle();
    return linked;
}

// ---- drafts that wait ----------------------------------------------------------

namespace {

using Waiting = std::map<std::string, std::shared_ptr<Draft>>;

// Never destroyed: what is left at exit goes by its name.
Waiting& WaitingDrafts() {
    static auto* const drafts = new Waiting;
    return *drafts;
}

}  // namespace

void KeepDraft(std::shared_ptr<Draft> draft) {
    std::string name = draft->Name();
    WaitingDrafts()[std::move(name)] = std::move(draft);
}

std::shared_ptr<Draft> FindDraft(const std::string& name) {
    const auto found = WaitingDrafts().find(name);
    return found == WaitingDrafts().end() ? nullptr : found->second;
}

void NameDraft(const std::string& name) {
    const auto draft = FindDraft(name);
    if (draft && !draft->GiveName()) ThrowFileError(errno, name);
}

bool DropDraft(const std::string& name) {
    const auto draft = FindDraft(name);
    WaitingDrafts().erase(name);
    if (!draft) return false;
    if (draft->IsNamed() && unlink(draft->Name().c_str()) != 0) ThrowFileError(errno, name);
    draft->Settle();
    return true;
}

void ForgetDraft(const std::string& name) {
    const auto found = WaitingDrafts().find(name);
    if (found == WaitingDrafts().end()) return;
    found->second->Settle();
    WaitingDrafts().erase(found);
}

}  // namespace platform
