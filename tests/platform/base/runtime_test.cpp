// The C runtime's calls, the home folders, and how a process ends.
#include <fcntl.h>
#include <process.h>
#include <share.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/base/ground.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "platform/base/error.h"
#include "platform/base/home.h"
#include "tests/support/folder.h"
#include "tests/support/workshop.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

class RuntimeTest : public test_support::InFolderTest {
  protected:
    void TearDown() override {
        test_support::InFolderTest::TearDown();
        unsetenv("KESTREL_HOME");
    }
};

std::string ContentOf(const char* name, const char* mode) {
    std::FILE* file = _fsopen(name, mode, _SH_DENYNO);
    if (file == nullptr) return "(" + std::to_string(GetLastError()) + ")";
    char text[64];
    const std::size_t length = std::fread(text, 1, sizeof text, file);
    std::fclose(file);
    return std::string(text, length);
}

TEST_F(RuntimeTest, FilesOpenUnderBothSeparators) {
    fs::create_directory("sub");
    Write("sub/a.txt", "in sub");
    Write("sub\\literal.txt", "literal");
    Write("sub/literal.txt", "below");
    const struct {
        const char* name;
        const char* file;
        const char* mode;
        std::string expected;
    } rows[] = {
        {"backslash", "sub\\a.txt", "rb", "in sub"},
        {"with dot", ".\\sub\\a.txt", "rt", "in sub"},
        {"literal name wins", "sub\\literal.txt", "rb", "literal"},
        {"missing file", "sub\\none.txt", "rb", "(2)"},
        {"file as folder", "sub\\a.txt\\b", "rb", "(3)"},
        {"folder", "sub", "rb", "(5)"},
        {"empty name", "", "rb", "(87)"},
    };
    for (const auto& row : rows) {
        SetLastError(77);
        EXPECT_EQ(ContentOf(row.file, row.mode), row.expected) << row.name;
        const bool opened = !row.expected.starts_with('(');
        EXPECT_EQ(GetLastError() == 0, opened) << row.name;
    }
    EXPECT_EQ(_fsopen(nullptr, "rb", _SH_DENYNO), nullptr);
}

TEST_F(RuntimeTest, ExitStatusKeepsFailureVisible) {
    const struct {
        UINT code;
        int status;
    } rows[] = {{0, 0},           {1, 1}, {256, 255}, {0x20000065, 0x65}, {0x80090016, 0x16},
                {0x80004000, 255}};
    for (const auto& row : rows) {
        EXPECT_EXIT(ExitProcess(row.code), ::testing::ExitedWithCode(row.status), "") << row.code;
    }
}

// Until the file is there, or three seconds.
bool Appears(const fs::path& file) {
    for (int i = 0; i < 300 && !fs::exists(file); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return fs::exists(file);
}

void WriteScript(const fs::path& file, const std::string& body) {
    std::ofstream(file) << "#!/bin/sh\n" << body << "\n";
    fs::permissions(file, fs::perms::owner_all);
}

TEST_F(RuntimeTest, StartingAFile) {
    const std::string path = std::getenv("PATH");
    fs::create_directories("desktop");
    fs::create_directories("interpreter");
    WriteScript("desktop/xdg-open",
                "printf '%s %s\\n' $# \"$1\" > opened.tmp; mv opened.tmp opened");
    WriteScript("interpreter/cmd",
                "printf '%s %s %s\\n' $# $1 \"$2\" > opened.tmp; mv opened.tmp opened");
    fs::create_directory("out");
    Write("out/a.txt", "");
    const struct {
        const char* name;
        std::string path;
        const char* file;
        std::string expected;
    } rows[] = {
        {"desktop handler", "desktop", "b c.txt", "1 b c.txt\n"},
        {"backslash", "desktop", "out\\a.txt", "1 out/a.txt\n"},
        {"no option", "desktop", "-rf.txt", "1 ./-rf.txt\n"},
        {"interpreter", "interpreter", "out\\a.txt", "2 /c out\\a.txt\n"},
    };
    for (const auto& row : rows) {
        fs::remove("opened");
        setenv("PATH", ((folder_ / row.path).string() + ":" + path).c_str(), 1);
        const auto process = _spawnlp(_P_NOWAIT, "cmd", "cmd", "/c", row.file, nullptr);
        EXPECT_GT(process, 0) << row.name;
        ASSERT_TRUE(Appears("opened")) << row.name;
        EXPECT_EQ(Read("opened"), row.expected) << row.name;
        // Nobody is left for this process to collect.
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << row.name;
        EXPECT_EQ(errno, ECHILD) << row.name;
    }
    setenv("PATH", folder_.c_str(), 1);
    errno = 0;
    EXPECT_EQ(_spawnlp(_P_NOWAIT, "cmd", "cmd", "/c", "a.txt", nullptr), -1);
    EXPECT_EQ(errno, ENOENT);
    setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(_spawnlp(_P_WAIT, "sh", "sh", "-c", "exit 7", nullptr), 7);
}

TEST_F(RuntimeTest, HomesFollowTheEnvironment) {
    const std::string userHome = std::getenv("HOME");
    setenv("HOME", "/h", 1);
    const struct {
        const char* name;
        const char* own;
        const char* data;
        const char* expected;
    } rows[] = {
        {"own variable", "/k", "/d", "/k"},
        {"data folder", "", "/d", "/d/kestrel"},
        {"relative data folder is ignored", "", "d", "/h/.local/share/kestrel"},
    };
    for (const auto& row : rows) {
        setenv("KESTREL_HOME", row.own, 1);
        setenv("XDG_DATA_HOME", row.data, 1);
        EXPECT_EQ(HomeOf(Side::User), row.expected) << row.name;
    }
    unsetenv("XDG_DATA_HOME");
    setenv("HOME", userHome.c_str(), 1);
    EXPECT_EQ(HomeOf(Side::Machine), "/var/lib/kestrel");

    setenv("KESTREL_HOME", (folder_ / "deep/home").c_str(), 1);
    EXPECT_EQ(EnsureHome(Side::User), folder_ / "deep/home");
    EXPECT_EQ(fs::status("deep/home").permissions(), fs::perms::owner_all);
    Write("plain", "");
    setenv("KESTREL_HOME", (folder_ / "plain").c_str(), 1);
    EXPECT_THROW(EnsureHome(Side::User), Error);
}

TEST_F(RuntimeTest, FilesAreReplacedWhole) {
    const auto view = [](std::string_view text) { return ViewOf(text); };
    ReplaceFile("a", view("second"), 0644);
    EXPECT_EQ(Hex(ReadWholeFile("a")), "7365636f6e64");
    fs::create_directory("taken");
    const struct {
        const char* name;
        const char* file;
        DWORD code;
    } rows[] = {
        {"folder is missing", "none/a", ERROR_PATH_NOT_FOUND},
        {"name is a folder", "taken", ERROR_ACCESS_DENIED},
        {"file for a folder", "a/b", ERROR_PATH_NOT_FOUND},
    };
    for (const auto& row : rows) {
        const auto replace = [&] { ReplaceFile(row.file, view("x"), 0600); };
        EXPECT_EQ(testing::CodeOf(replace), row.code) << row.name;
        EXPECT_EQ(testing::DetailOf(replace), row.file) << row.name;
        EXPECT_THROW(ReadWholeFile(row.file), Error) << row.name;
    }
    // No half-written file stays behind.
    EXPECT_EQ(std::distance(fs::directory_iterator("."), fs::directory_iterator()), 2);
}

TEST_F(RuntimeTest, WhatIsThereDecidesHowItIsReplaced) {
    Write("real", "old");
    fs::create_symlink("real", "link");
    fs::create_symlink("fresh", "dangling");
    Write("linked", "a longer one");
    fs::create_hard_link("linked", "second");
    mkfifo("fifo", 0600);
    const int reader = open("fifo", O_RDWR | O_NONBLOCK);
    const struct {
        const char* name;
        IfExists ifExists;
        DWORD code;
        const char* holds;  // null: cannot be read back
        const char* content;
    } rows[] = {
        {"real", IfExists::Refuse, ERROR_FILE_EXISTS, "real", "old"},
        {"link", IfExists::Refuse, ERROR_FILE_EXISTS, "real", "old"},
        {"link", IfExists::Replace, 0, "real", "new"},
        {"new", IfExists::Refuse, 0, "new", "new"},
        {"new", IfExists::Refuse, ERROR_FILE_EXISTS, "new", "new"},
        {"dangling", IfExists::Refuse, 0, "fresh", "new"},
        {"second", IfExists::Replace, 0, "linked", "new"},
        {"fifo", IfExists::Refuse, 0, nullptr, ""},
        {"/dev/null", IfExists::Refuse, 0, nullptr, ""},
        {"/dev/full", IfExists::Replace, ERROR_DISK_FULL, nullptr, ""},
    };
    for (const auto& row : rows) {
        const auto replace = [&] { ReplaceFile(row.name, ViewOf("new"), 0644, row.ifExists); };
        EXPECT_EQ(testing::CodeOf(replace), row.code) << row.name;
        const std::string content = row.holds == nullptr ? row.content : Read(row.holds);
        EXPECT_EQ(content, row.content) << row.name;
    }
    char text[8] = {};
    EXPECT_EQ(read(reader, text, sizeof text), 3);
    close(reader);
    EXPECT_TRUE(fs::is_fifo("fifo") && fs::is_character_file("/dev/null"));
    EXPECT_TRUE(fs::is_symlink("link") && fs::is_symlink("dangling"));
    EXPECT_EQ(std::distance(fs::directory_iterator("."), fs::directory_iterator()), 8);
}

}  // namespace
}  // namespace platform
