// The calls on files: masks, searching, opening, moving and replacing.
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "platform/base/ground.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>

#include "platform/base/file_mask.h"
#include "platform/base/handle.h"
#include "platform/base/replace_file.h"
#include "tests/support/folder.h"
#include "tests/support/workshop.h"

namespace platform {
namespace {

namespace fs = std::filesystem;
using testing::Outcome;

class FilesTest : public test_support::InFolderTest {
  protected:
    void SetUp() override {
        test_support::InFolderTest::SetUp();
        fs::permissions(other_, fs::perms::all);
    }
    void TearDown() override {
        EXPECT_EQ(LiveHandles(), liveBefore_);
        test_support::InFolderTest::TearDown();
    }

    // On another file system where there is one.
    const test_support::TemporaryFolder madeToo_{access("/dev/shm", W_OK) == 0 ? "/dev/shm"
                                                                               : "/tmp"};
    const fs::path other_ = madeToo_.Path();
    const std::size_t liveBefore_ = LiveHandles();
};

TEST(FileMask, Matches) {
    const struct {
        const char* mask;
        const char* name;
        bool matches;
    } rows[] = {
        {"*", "", true},
        {"*", ".hidden", true},
        {"*.*", "no dot", true},
        {"*.txt", "a.txt", true},
        {"*.txt", "a.txt2", false},
        {"*.txt", "A.TXT", false},
        {"a*b*c", "a.b.b.c", true},
        {"a*b*c", "a.c.b", false},
        {"?", "", false},
        {"?", "ж", true},
        {"??", "ж", false},
        {"?", "\xFF", true},
        {"??", "\xD0\xD0", true},
        {"*??", "€", false},
        {"?*?", "€", false},
        {"a?c", "a€c", true},
        {"a?", "a", false},
        {"**", "x", true},
        {"", "x", false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(MatchesMask(row.mask, row.name), row.matches) << row.mask << " " << row.name;
    }
    std::string stars;
    for (int i = 0; i < 100; ++i) stars += "a*";
    EXPECT_FALSE(MatchesMask(stars + "b", std::string(250, 'a'))) << "in this lifetime";
}

// "(code)" when the search cannot start, else the names in one text.
std::string Found(const char* mask) {
    WIN32_FIND_DATAA found;
    const HANDLE search = FindFirstFileA(mask, &found);
    if (search == INVALID_HANDLE_VALUE) return "(" + std::to_string(GetLastError()) + ")";
    std::set<std::string> names;
    do {
        names.insert(found.cFileName);
    } while (FindNextFileA(search, &found));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_FILES}) << mask;
    EXPECT_TRUE(FindClose(search));
    EXPECT_EQ(Outcome(FindNextFileA(search, &found)), DWORD{ERROR_INVALID_HANDLE})
        << "a closed search";
    std::string text;
    for (const std::string& name : names) text += name + " ";
    return text;
}

TEST_F(FilesTest, Searching) {
    fs::create_directory("sub");
    for (const char* name : {"a.txt", ".dot", "sub/b.txt", "sub/c"}) Write(name, "12345");
    fs::create_symlink("nowhere", "sub/dangling");
    const struct {
        const char* mask;
        const char* names;
    } rows[] = {
        {"*", ". .. .dot a.txt sub "},
        {"sub\\*.txt", "b.txt "},
        {"./sub/?", ". c "},
        {"sub/dang*", "dangling "},
        {"a.txt", "a.txt "},
        {"*.zip", "(2)"},
        {"none/*", "(3)"},
        {"a.txt/*", "(3)"},
        {"none\\below/*", "(3)"},
    };
    for (const auto& row : rows) EXPECT_EQ(Found(row.mask), row.names) << row.mask;

    WIN32_FIND_DATAA found;
    timespec times[] = {{0, 0}, {1, 500}};
    utimensat(AT_FDCWD, "a.txt", times, 0);
    FindClose(FindFirstFileA("a.txt", &found));
    EXPECT_EQ(found.nFileSizeLow, 5U);
    EXPECT_EQ(found.dwFileAttributes, DWORD{FILE_ATTRIBUTE_NORMAL});
    // 1970-01-01 00:00:01.0000005 in 100 ns since 1601.
    EXPECT_EQ(found.ftLastWriteTime.dwHighDateTime, 0x019DB1DEU);
    EXPECT_EQ(found.ftLastWriteTime.dwLowDateTime, 0xD5D71685U);
}

TEST_F(FilesTest, Attributes) {
    fs::create_directory("sub");
    Write("sub/a", "");
    Write("locked", "");
    chmod("locked", 0444);
    mkfifo("fifo", 0600);
    fs::create_symlink("sub/a", "link");
    fs::create_symlink("nowhere", "dangling");
    const struct {
        const char* name;
        DWORD attributes;
        DWORD error;
    } rows[] = {
        {"sub\\a", FILE_ATTRIBUTE_NORMAL, 0},
        {"sub/", FILE_ATTRIBUTE_DIRECTORY, 0},
        {"locked", FILE_ATTRIBUTE_READONLY, 0},
        {"fifo", FILE_ATTRIBUTE_DEVICE, 0},
        {"link", FILE_ATTRIBUTE_NORMAL, 0},
        {"dangling", INVALID_FILE_ATTRIBUTES, ERROR_FILE_NOT_FOUND},
        {"link/a", INVALID_FILE_ATTRIBUTES, ERROR_PATH_NOT_FOUND},
        {nullptr, INVALID_FILE_ATTRIBUTES, ERROR_INVALID_PARAMETER},
    };
    for (const auto& row : rows) {
        SetLastError(0);
        const char* shown = row.name == nullptr ? "(null)" : row.name;
        EXPECT_EQ(GetFileAttributesA(row.name), row.attributes) << shown;
        EXPECT_EQ(GetLastError(), row.error) << shown;
    }
}

using Call = std::function<BOOL()>;

BOOL Opens(const char* name, DWORD access, DWORD disposition) {
    const HANDLE file = CreateFileA(name, access, 0, nullptr, disposition, 0, nullptr);
    return file != INVALID_HANDLE_VALUE && CloseHandle(file);
}

TEST_F(FilesTest, Refusals) {
    fs::create_directory("sub");
    Write("a", "old");
    Write("b", "other");
    const struct {
        const char* name;
        Call call;
        DWORD error;
    } rows[] = {
        {"new over old", [] { return Opens("a", GENERIC_WRITE, CREATE_NEW); }, ERROR_FILE_EXISTS},
        {"new nowhere", [] { return Opens("none/a", GENERIC_WRITE, CREATE_NEW); },
         ERROR_PATH_NOT_FOUND},
        {"missing", [] { return Opens("c", GENERIC_READ, OPEN_EXISTING); }, ERROR_FILE_NOT_FOUND},
        {"folder", [] { return Opens("sub", GENERIC_READ, OPEN_EXISTING); }, ERROR_ACCESS_DENIED},
        {"disposition", [] { return Opens("a", GENERIC_READ, 9); }, ERROR_INVALID_PARAMETER},
        {"folder again", [] { return CreateDirectoryA("sub", nullptr); }, ERROR_ALREADY_EXISTS},
        {"two levels", [] { return CreateDirectoryA("x\\y", nullptr); }, ERROR_PATH_NOT_FOUND},
        {"move over", [] { return MoveFileExA("a", "b", 0); }, ERROR_ALREADY_EXISTS},
        {"move nothing", [] { return MoveFileExA("c", "d", 0); }, ERROR_FILE_NOT_FOUND},
        {"move nowhere", [] { return MoveFileExA("a", "none/a", 1); }, ERROR_PATH_NOT_FOUND},
        {"delete a folder", [] { return DeleteFileA("sub"); }, ERROR_ACCESS_DENIED},
        {"replace nothing", [] { return ReplaceFileA("c", "a", nullptr, 0, nullptr, nullptr); },
         ERROR_FILE_NOT_FOUND},
        {"replace itself", [] { return ReplaceFileA("a", "./a", nullptr, 0, nullptr, nullptr); },
         ERROR_SHARING_VIOLATION},
        {"backup", [] { return ReplaceFileA("a", "b", "c", 0, nullptr, nullptr); },
         ERROR_INVALID_PARAMETER},
        {"foreign handle", [] { return CloseHandle(GetStdHandle(STD_OUTPUT_HANDLE)); },
         ERROR_INVALID_HANDLE},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Outcome(row.call()), row.error) << row.name;
    }
    EXPECT_EQ(Read("a") + Read("b"), "oldother");
    EXPECT_TRUE(MoveFileExA("a", "b", MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH));
    EXPECT_TRUE(MoveFileExA("b", "c", 0));
    EXPECT_EQ(Read("c"), "old");
}

TEST_F(FilesTest, ReadingAndWriting) {
    const HANDLE file = CreateFileA("a", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                    CREATE_NEW, FILE_ATTRIBUTE_TEMPORARY, nullptr);
    DWORD count = 0;
    EXPECT_TRUE(WriteFile(file, "12345", 5, &count, nullptr));
    EXPECT_EQ(count, 5U);
    EXPECT_TRUE(FlushFileBuffers(file));
    fs::resize_file("a", 9);
    EXPECT_TRUE(SetEndOfFile(file));
    EXPECT_EQ(Read("a"), "12345");
    EXPECT_EQ(static_cast<unsigned>(fs::status("a").permissions()), 0600U);
    EXPECT_TRUE(CloseHandle(file));
    const HANDLE read = CreateFileA("a", GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    char text[8];
    for (const char* expected : {"1234", "5", ""}) {
        EXPECT_TRUE(ReadFile(read, text, 4, &count, nullptr));
        EXPECT_EQ(std::string(text, count), expected);
    }
    EXPECT_TRUE(CloseHandle(read));
    EXPECT_EQ(Outcome(WriteFile(file, "1", 1, &count, nullptr)), DWORD{ERROR_INVALID_HANDLE});
}

HANDLE NewTemporary(const char* name) {
    return CreateFileA(name, GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_TEMPORARY,
                       nullptr);
}

BOOL Fill(HANDLE file, std::string_view text) {
    DWORD count = 0;
    return WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &count, nullptr) &&
           CloseHandle(file);
}

// Neither of two that are made at once takes the other's place, though none has its name yet.
TEST_F(FilesTest, TemporaryFiles) {
    const HANDLE first = NewTemporary("a.tmp");
    EXPECT_EQ(Outcome(NewTemporary("a.tmp") != INVALID_HANDLE_VALUE), DWORD{ERROR_FILE_EXISTS});
    const HANDLE second = NewTemporary("b.tmp");
    EXPECT_TRUE(Fill(first, "first") && Fill(second, "second"));
    EXPECT_TRUE(SetFileAttributesA("a.tmp", FILE_ATTRIBUTE_READONLY));
    EXPECT_TRUE(MoveFileExA("a.tmp", "a", 0) && MoveFileExA("b.tmp", "b", 0));
    EXPECT_EQ(Read("a") + Read("b"), "firstsecond");
    EXPECT_EQ(GetFileAttributesA("a"), DWORD{FILE_ATTRIBUTE_READONLY});
    EXPECT_EQ(GetFileAttributesA("b"), DWORD{FILE_ATTRIBUTE_NORMAL});
}

// ---- replacing ---------------------------------------------------------------

constexpr uid_t kUser = 54321;

// Runs the action in a child, as another user when `user` is not 0. Its exit status.
int InChild(uid_t user, const std::function<int()>& action) {
    const pid_t child = fork();
    if (child == 0) {
        if (user != 0 && (setgid(user) != 0 || setuid(user) != 0)) _exit(99);
        _exit(action());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// An access list as the system keeps it: version 2, then tag, rights and id of each entry.
std::string AccessList() {
    using std::string_literals::operator""s;
    return "\2\0\0\0"s + "\x01\0\6\0\xFF\xFF\xFF\xFF"s + "\x02\0\4\0\xE8\3\0\0"s +
           "\x04\0\4\0\xFF\xFF\xFF\xFF"s + "\x10\0\4\0\xFF\xFF\xFF\xFF"s +
           "\x20\0\0\0\xFF\xFF\xFF\xFF"s;
}

void GiveAttribute(const char* file, const char* name, const std::string& value) {
    const bool given = setxattr(file, name, value.data(), value.size(), 0) == 0;
    EXPECT_TRUE(given || errno == ENOTSUP) << name;
}

void OpenAs(int descriptor, const char* file) {
    const int opened = open(file, O_RDWR);
    dup2(opened, descriptor);
    close(opened);
}

std::string AttributeOf(const char* file, const char* name) {
    char value[256];
    const ssize_t length = getxattr(file, name, value, sizeof value);
    return length < 0 ? "(none)" : std::string(value, static_cast<std::size_t>(length));
}

struct ReplaceRow {
    const char* name;
    uid_t user;                     // who replaces; 0 is whoever runs the test
    std::function<void()> prepare;  // beside the file "real", mode 0666
    std::string target;
    std::string real;  // what must have the new content and keep its traits
    bool inPlace;
};

std::string TraitsOf(const std::string& file) {
    struct stat status {};
    EXPECT_EQ(stat(file.c_str(), &status), 0) << file;
    std::string text;
    for (const std::uint64_t number :
         {std::uint64_t{status.st_mode}, std::uint64_t{status.st_uid}, std::uint64_t{status.st_gid},
          std::uint64_t{status.st_nlink}}) {
        text += std::to_string(number) + " ";
    }
    return text + AttributeOf(file.c_str(), "user.note") +
           AttributeOf(file.c_str(), "system.posix_acl_access");
}

ino_t NumberOf(const std::string& file) {
    struct stat status {};
    stat(file.c_str(), &status);
    return status.st_ino;
}

int Replace(const std::string& target) {
    if (!Fill(NewTemporary("new.tmp"), "new")) return 1;
    return ReplaceFileA(target.c_str(), "new.tmp", nullptr, REPLACEFILE_WRITE_THROUGH, nullptr,
                        nullptr)
               ? 0
               : 2;
}

TEST_F(FilesTest, ReplacingKeepsTheFile) {
    const std::string far = other_ / "far";
    const bool root = geteuid() == 0;
    const auto nothing = [] {};
    const ReplaceRow rows[] = {
        {"plain", 0, [] { chmod("real", 0640); }, "real", "real", false},
        {"owner", 0, [=] { static_cast<void>(!chown("real", root ? 7 : geteuid(), getegid())); },
         "real", "real", false},
        {"attribute", 0, [] { GiveAttribute("real", "user.note", "n"); }, "real", "real", false},
        {"access list", 0, [] { GiveAttribute("real", "system.posix_acl_access", AccessList()); },
         "real", "real", false},
        {"folder with an access list", 0,
         [] { GiveAttribute(".", "system.posix_acl_default", AccessList()); }, "real", "real",
         false},
        {"links", 0,
         [] {
             fs::create_directory("sub");
             fs::create_symlink("../real", "sub/middle");
             fs::create_symlink("sub/middle", "link");
         },
         "link", "real", false},
        {"link to another disk", 0,
         [&] {
             Write(far, "old");
             chmod(far.c_str(), 0604);
             fs::create_symlink(far, "link");
         },
         "link", far, false},
        {"hard link", 0, [] { fs::create_hard_link("real", "second"); }, "second", "real", true},
        {"open file", 0, [] { OpenAs(777, "real"); }, "/dev/fd/777", "real", true},
        {"another's file", kUser, nothing, "real", "real", true},
        {"own file", kUser, [] { static_cast<void>(!chown("real", kUser, kUser)); }, "real", "real",
         false},
        {"sticky folder", kUser, [] { chmod(".", 01777); }, "real", "real", true},
        {"another's folder", kUser,
         [&] {
             Write(far, "old");
             chmod(far.c_str(), 0666);
             chmod(other_.c_str(), 0755);
             fs::create_symlink(far, "link");
         },
         "link", far, true},
    };
    for (const ReplaceRow& row : rows) {
        if (row.user != 0 && !root) continue;
        for (const fs::path& folder : {folder_, other_}) {
            for (const auto& entry : fs::directory_iterator(folder)) fs::remove_all(entry);
            removexattr(folder.c_str(), "system.posix_acl_default");
            chmod(folder.c_str(), 0777);
        }
        Write("real", "old content");
        chmod("real", 0666);
        row.prepare();
        const std::string traits = TraitsOf(row.real);
        const ino_t number = NumberOf(row.real);
        const bool link = fs::is_symlink(row.target);
        EXPECT_EQ(InChild(row.user, [&] { return Replace(row.target); }), 0) << row.name;
        EXPECT_EQ(Read(row.real), "new") << row.name;
        EXPECT_EQ(TraitsOf(row.real), traits) << row.name;
        EXPECT_EQ(NumberOf(row.real) == number, row.inPlace) << row.name;
        EXPECT_EQ(fs::is_symlink(row.target), link) << row.name;
        EXPECT_FALSE(fs::exists("new.tmp")) << row.name;
        close(777);
    }
}

// In a folder that others write to, the name of a file that is being made can be taken.
TEST_F(FilesTest, WhoTakesTheNameGainsNothing) {
    for (const bool inPlace : {false, true}) {
        for (const bool isLink : {false, true}) {
            for (const auto& entry : fs::directory_iterator(folder_)) fs::remove_all(entry);
            Write("real", "old content");
            Write("secret", "secret");
            chmod("secret", 0600);
            const std::string traits = TraitsOf("secret");
            if (inPlace) fs::create_hard_link("real", "second");
            EXPECT_TRUE(Fill(NewTemporary("new.tmp"), "new"));
            if (isLink) {
                fs::create_symlink("secret", "new.tmp");
            } else {
                Write("new.tmp", "stranger's");
            }
            EXPECT_EQ(Outcome(GetFileAttributesA("new.tmp") != INVALID_FILE_ATTRIBUTES),
                      DWORD{ERROR_FILE_EXISTS});
            EXPECT_TRUE(ReplaceFileA("real", "new.tmp", nullptr, 0, nullptr, nullptr));
            EXPECT_EQ(Read("real"), "new");
            EXPECT_EQ(Read("new.tmp"), isLink ? "secret" : "stranger's");
            EXPECT_EQ(TraitsOf("secret"), traits);
            const auto names = std::distance(fs::directory_iterator("."), {});
            EXPECT_EQ(names, inPlace ? 4 : 3) << "nothing is left behind";
        }
    }
}

// A new file that cannot take its place goes, whatever stands under its name by now.
TEST_F(FilesTest, WhoTakesTheNameLosesNothing) {
    const int descriptor = dup(STDIN_FILENO);
    close(descriptor);
    const HANDLE file = NewTemporary("new.tmp");  // has that number
    Write("new.tmp", "stranger's");
    close(descriptor);
    EXPECT_FALSE(CloseHandle(file)) << "as on a disk that fails";
    EXPECT_TRUE(DeleteFileA("new.tmp"));
    EXPECT_EQ(Read("new.tmp"), "stranger's");
    EXPECT_TRUE(DeleteFileA("new.tmp")) << "nothing waits there any more";
    EXPECT_TRUE(fs::is_empty("."));
}

// Where a secret cannot get a file of its own, the old one is narrowed first.
TEST_F(FilesTest, SecretsAreForTheirOwner) {
    Write("real", "old");
    chmod("real", 0644);
    fs::create_hard_link("real", "second");
    ReplaceFile("real", ViewOf("secret"), 0600);
    EXPECT_EQ(Read("second"), "secret");
    EXPECT_EQ(static_cast<unsigned>(fs::status("real").permissions()), 0600U);
}

TEST_F(FilesTest, WhatMayNotBeWrittenIsNotReplaced) {
    if (geteuid() != 0) GTEST_SKIP() << "the test needs two users";
    Write("real", "old");
    EXPECT_EQ(InChild(kUser, [] { return Replace("real"); }), 2);
    EXPECT_EQ(Read("real"), "old");
    EXPECT_FALSE(fs::exists("new.tmp")) << "it ended with its process";
}

// A disk of 1 MiB in a namespace of its own; false where the system grants none.
bool MountSmallDisk(const char* folder) {
    const std::string user = "0 " + std::to_string(geteuid()) + " 1";
    const std::string group = "0 " + std::to_string(getegid()) + " 1";
    prctl(PR_SET_DUMPABLE, 1);  // what follows is a user's own only then
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
    const auto tell = [](const char* file, const std::string& text) {
        return (std::ofstream(file) << text << std::flush).good();
    };
    return tell("/proc/self/setgroups", "deny") && tell("/proc/self/uid_map", user) &&
           tell("/proc/self/gid_map", group) && mount("none", folder, "tmpfs", 0, "size=1m") == 0;
}

// Two names keep the file from being renamed over, and its new content does not fit beside
// the replacement.
TEST_F(FilesTest, FullDiskLeavesAHardLinkedFile) {
    constexpr int kNoDisk = 77;
    const std::string old(100'000, 'o');
    const std::string fresh(600'000, 'n');
    const int status = InChild(0, [&] {
        if (!MountSmallDisk(folder_.c_str()) || chdir(folder_.c_str()) != 0) return kNoDisk;
        Write("a", old);
        fs::create_hard_link("a", "b");
        Write("new", fresh);
        if (ReplaceFileA("a", "new", nullptr, 0, nullptr, nullptr)) return 1;
        if (GetLastError() != ERROR_DISK_FULL) return 2;
        if (Read("a") != old || Read("new") != fresh) return 3;
        // What was reserved has been given back.
        Write("more", std::string(250'000, 'm'));
        if (fs::file_size("more") != 250'000) return 4;
        fs::remove("new");
        fs::remove("more");
        if (!Fill(NewTemporary("new"), fresh)) return 5;
        Write("new", "stranger's");
        if (ReplaceFileA("a", "new", nullptr, 0, nullptr, nullptr) || !DeleteFileA("new")) return 6;
        const auto names = std::distance(fs::directory_iterator("."), {});
        return names == 3 && Read("new") == "stranger's" ? 0 : 7;
    });
    if (status == kNoDisk) GTEST_SKIP() << "no disk can be mounted here";
    EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace platform
