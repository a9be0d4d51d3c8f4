// doctor: files, their modes and owners, and what killed runs left.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "kestrelctl/findings.h"
#include "platform/base/descriptor.h"
#include "platform/chain/answer_cache.h"
#include "platform/enroll/waiting_requests.h"
#include "platform/providers/container_folder.h"
#include "platform/registry/registry.h"

namespace kestrelctl {
namespace {

namespace fs = std::filesystem;
using platform::Side;

constexpr mode_t kAllRights = 07777;

constexpr const char* kLock = "\\lock";
constexpr auto kPatience = std::chrono::seconds(5);
constexpr auto kPause = std::chrono::milliseconds(5);

platform::Descriptor OpenLock(const fs::path& file) {
    return platform::Descriptor(platform::OpenUninterrupted(file.string(), O_RDONLY | O_NONBLOCK));
}

bool IsTaken(const platform::Descriptor& file) {
    return flock(file.Get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

// Whether somebody works on it: all of ours lock what they work on. Looking does not disturb them.
enum class Use { None, Some, Unknown };

Use UseOf(const fs::path& file) {
    const platform::Descriptor opened = OpenLock(file);
    if (opened.Get() < 0) return errno == EACCES || errno == EPERM ? Use::Unknown : Use::None;
    return IsTaken(opened) ? Use::Some : Use::None;
}

std::string Octal(mode_t mode) {
    constexpr mode_t kDigit = 7;
    std::string text;
    for (const int shift : {9, 6, 3, 0}) {
        const mode_t digit = mode >> shift & kDigit;
        if (shift != 9 || digit != 0) text += static_cast<char>('0' + digit);
    }
    return text;
}

// ---- modes -----------------------------------------------------------------------

struct Rights {
    mode_t forbidden;
    mode_t wanted;
    const char* remedy;  // of chmod
};
constexpr Rights kOwnersAlone{077, 0, "go-rwx"};
constexpr Rights kNotOthersToWrite{022, 0, "go-w"};
constexpr Rights kEverybodysToRead{022, 044, "a+rX,go-w"};

// Root looks after a home for the user whose it is.
uid_t OwnerOf(const Findings& findings) {
    if (findings.GetSide() == Side::Machine) return 0;
    struct stat status {};
    const bool isThere = stat(findings.Home().c_str(), &status) == 0;
    return geteuid() == 0 && isThere ? status.st_uid : geteuid();
}

// Root needs none, and may have none.
std::string Sudo() { return geteuid() == 0 ? "" : "sudo "; }

std::string ChangeOwner(const Findings& findings, const fs::path& file) {
    return Sudo() + "chown -R " + std::to_string(OwnerOf(findings)) + " " +
           ShellWord(file.string());
}

// Below a folder of somebody else's what is theirs was told with the folder.
bool IsOwnersOwn(const Findings& findings, const fs::path& file, uid_t owner) {
    if (owner == OwnerOf(findings)) return true;
    if (file == findings.Home()) return findings.GetSide() == Side::Machine && owner == geteuid();
    struct stat folder {};
    return file.native().starts_with(findings.Home().native()) &&
           stat(file.parent_path().c_str(), &folder) == 0 && folder.st_uid == owner;
}

void CheckOwner(Findings& findings, const fs::path& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0 || IsOwnersOwn(findings, file, status.st_uid)) return;
    findings.Add("owner", file.string(),
                 "belongs to user " + std::to_string(status.st_uid) + ", who can change it",
                 ChangeOwner(findings, file));
}

void CheckMode(Findings& findings, const fs::path& file, const Rights& rights) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) return;
    // A device or a pipe is told as such, and a device is not ours to change.
    if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) return;
    const mode_t mode = status.st_mode & kAllRights;
    const bool tooMuch = (mode & rights.forbidden) != 0;
    if (!tooMuch && (mode & rights.wanted) == rights.wanted) return;
    const bool readable = (rights.forbidden & 044) != 0;
    const char* const words = !tooMuch   ? "cannot be read by all users"
                              : readable ? "is open to other users"
                                         : "may be written by other users";
    findings.Add("mode", file.string(), std::string(words) + " (mode " + Octal(mode) + ")",
                 (status.st_uid == geteuid() ? "" : Sudo()) + "chmod " + rights.remedy + " " +
                     ShellWord(file.string()));
}

void CheckEntry(Findings& findings, const fs::path& file, const Rights& rights) {
    CheckOwner(findings, file);
    CheckMode(findings, file, rights);
}

void CheckEntriesOf(Findings& findings, const fs::path& folder) {
    std::error_code barred;
    for (fs::directory_iterator at(folder, barred), end; !barred && at != end;
         at.increment(barred)) {
        CheckEntry(findings, at->path(), kOwnersAlone);
    }
}

// What begins with a backslash is no container either, and is looked at below.
bool IsStray(const fs::directory_entry& entry) {
    std::error_code error;
    return !entry.is_directory(error) && !entry.path().filename().string().starts_with('\\');
}

void CheckModes(Findings& findings) {
    const fs::path home = findings.Home();
    const bool machine = findings.GetSide() == Side::Machine;
    CheckEntry(findings, home, machine ? kEverybodysToRead : kOwnersAlone);
    for (const fs::path& file : platform::RegistryFiles(findings.GetSide())) {
        CheckEntry(findings, file, machine ? kEverybodysToRead : kNotOthersToWrite);
    }
    CheckEntry(findings, home / "stores.db", machine ? kEverybodysToRead : kNotOthersToWrite);
    CheckEntry(findings, home / "waiting", kOwnersAlone);
    CheckEntriesOf(findings, home / "waiting");
    const fs::path containers = platform::ContainersOf(findings.GetSide());
    CheckEntry(findings, containers, kNotOthersToWrite);
    std::error_code none;
    for (fs::directory_iterator at(containers, none), end; !none && at != end; at.increment(none)) {
        if (IsStray(*at)) {
            findings.Add("damaged", at->path().string(), "is no container",
                         "rm " + ShellWord(at->path().string()) + "  # or move it elsewhere");
            continue;
        }
        CheckEntry(findings, at->path(), kOwnersAlone);
        CheckEntriesOf(findings, at->path());
    }
}

// A request that an authority has not answered yet: the authority takes the same one again.
void CheckWaiting(Findings& findings) {
    if (findings.GetSide() != Side::User) return;
    std::error_code error;
    for (fs::directory_iterator at(findings.Home() / "waiting", error), end; !error && at != end;
         at.increment(error)) {
        if (!IsFileOrNothing(findings, at->path())) return;
    }
    for (const fs::path& file : platform::DamagedWaiting()) {
        findings.Add("damaged", file.string(), "is damaged and waits for no answer",
                     "rm " + ShellWord(file.string()) + "  # and ask the authority again");
    }
}

// ---- what killed runs left ---------------------------------------------------------

// Who may not ask for the lock is not to remove what somebody may be working on.
void AddPerhapsInUse(Findings& findings, const fs::path& file) {
    findings.Add("leftover", file.string(), "may be in use, or was left by a killed run",
                 "sudo kestrelctl doctor  # tells which");
}

// A draft that nobody may write is the one whole copy of what was to be overwritten.
void CheckDraft(Findings& findings, const fs::directory_entry& entry) {
    const std::string name = entry.path().filename();
    std::error_code error;
    if (!name.starts_with("kestrel-") || !name.ends_with(".tmp")) return;
    if (!entry.is_regular_file(error)) return;
    const Use use = UseOf(entry.path());
    if (use == Use::Unknown) return AddPerhapsInUse(findings, entry.path());
    if (use == Use::Some || !entry.exists(error)) return;
    const bool whole =
        (entry.status(error).permissions() & fs::perms::owner_write) == fs::perms::none;
    const std::string file = ShellWord(entry.path().string());
    findings.Add("leftover", entry.path().string(),
                 whole ? "is the whole copy of a file that a killed run was overwriting"
                       : "was left by a killed run",
                 whole ? "mv " + file + " FILE  # the one that was cut off" : "rm " + file);
}

void CheckDrafts(Findings& findings) {
    for (const fs::path& folder :
         {findings.Home(), findings.Home() / "cache", findings.Home() / "waiting"}) {
        std::error_code error;
        for (fs::directory_iterator at(folder, error), end; !error && at != end;
             at.increment(error)) {
            CheckDraft(findings, *at);
        }
    }
}

void CheckStaged(Findings& findings) {
    const fs::path root = platform::ContainersOf(findings.GetSide());
    const Use use = UseOf(root / kLock);
    if (use == Use::Some) return;
    std::error_code error;
    for (fs::directory_iterator at(root, error), end; !error && at != end; at.increment(error)) {
        const std::string name = at->path().filename();
        if (!name.starts_with('\\') || name == kLock) continue;
        if (use == Use::Unknown) {
            AddPerhapsInUse(findings, at->path());
            continue;
        }
        const std::string folder = ShellWord(at->path().string());
        findings.Add("leftover", at->path().string(),
                     name == "\\moved" ? "holds containers that a killed run was replacing"
                                       : "was left by a killed run that changed a container",
                     name == "\\moved" ? "mv -n " + folder + "/* " + ShellWord(root.string())
                                       : "rm -r " + folder);
    }
}

void CheckCache(Findings& findings) {
    for (const fs::path& file : platform::DamagedAnswers(findings.GetSide())) {
        findings.Add("damaged", file.string(), "is damaged and counts as absent",
                     "rm " + ShellWord(file.string()));
    }
}

}  // namespace

std::string GiveAccess(const Findings& findings, const fs::path& wanted) {
    fs::path at = wanted.is_absolute() ? wanted : findings.Home();
    struct stat status {};
    // The folder that bars the way is the one above what cannot even be looked at.
    while (stat(at.c_str(), &status) != 0 && at.has_relative_path()) at = at.parent_path();
    if (status.st_uid != OwnerOf(findings)) return ChangeOwner(findings, at);
    if (findings.GetSide() == Side::User) return "chmod u+rwX " + ShellWord(at.string());
    return Sudo() + "chmod a+rX " + ShellWord(at.string());
}

ContainersHeld::ContainersHeld(Side side) : lock_(OpenLock(platform::ContainersOf(side) / kLock)) {
    if (lock_.Get() < 0) return;
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (IsTaken(lock_)) {
        if (std::chrono::steady_clock::now() > end) {
            throw platform::Error(ERROR_SHARING_VIOLATION, platform::ContainersOf(side).string());
        }
        std::this_thread::sleep_for(kPause);
    }
}

namespace {

bool IsOrNothing(Findings& findings, const fs::path& file, mode_t kind, const std::string& word) {
    struct stat status {};
    if (lstat(file.c_str(), &status) != 0) return true;
    const bool isThere = stat(file.c_str(), &status) == 0;
    // Reading tells what is barred.
    if (isThere ? (status.st_mode & S_IFMT) == kind : errno == EACCES) return true;
    const std::string name = ShellWord(file.string());
    findings.Add("damaged", file.string(),
                 (isThere ? "is no " : "is a link that leads to no ") + word,
                 "mv " + name + " " + ShellWord(file.string() + ".old"));
    return false;
}

}  // namespace

bool IsFileOrNothing(Findings& findings, const fs::path& file) {
    return IsOrNothing(findings, file, S_IFREG, "file");
}

bool IsFolderOrNothing(Findings& findings, const fs::path& folder) {
    return IsOrNothing(findings, folder, S_IFDIR, "folder");
}

bool CheckFiles(Findings& findings) {
    const fs::path home = findings.Home();
    struct stat status {};
    if (stat(home.c_str(), &status) != 0) {
        if (errno == ENOENT) return false;
        findings.Try(home.string(), std::string(), [&] { platform::ThrowErrno(errno, home); });
        return false;
    }
    if (!S_ISDIR(status.st_mode)) {
        findings.Add("damaged", home.string(), "is no folder",
                     "mv " + ShellWord(home.string()) + " " + ShellWord(home.string() + ".old"));
        return false;
    }
    CheckModes(findings);
    CheckDrafts(findings);
    CheckStaged(findings);
    CheckCache(findings);
    findings.Try((home / "waiting").string(), std::string(), [&] { CheckWaiting(findings); });
    return true;
}

}  // namespace kestrelctl
