// Files written as a whole: what is left when writing fails or is cut off.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <set>
#include <thread>

#include "messages/files/files.h"
#include "tests/messages/support.h"

namespace messages_tests {
namespace {

using namespace kestrel;
namespace fs = std::filesystem;

class WholeWrite : public FolderTest {
  protected:
    bool Write(const std::string& name, const std::string& bytes, bool durable = false) const {
        return WriteWholeFile(PathOf(name).c_str(), bytes.data(), bytes.size(), durable);
    }
    [[nodiscard]] std::set<std::string> Names() const {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(PathOf(""))) {
            names.insert(entry.path().filename());
        }
        return names;
    }
};

unsigned ModeOf(const std::string& path) {
    return static_cast<unsigned>(fs::status(path).permissions());
}

TEST_F(WholeWrite, NewAndOldFiles) {
    fs::create_symlink("made", PathOf("link"));
    const mode_t before = umask(027);
    for (const bool durable : {false, true}) {
        for (const char* bytes : {"longer than before", "", "x"}) {
            EXPECT_TRUE(Write("new", bytes, durable));
            EXPECT_EQ(ReadAll(PathOf("new")), bytes);
        }
        EXPECT_EQ(ModeOf(PathOf("new")), 0640U) << "by the mask";
        fs::remove(PathOf("new"));
    }
    EXPECT_TRUE(Write("link", "through"));
    umask(before);
    EXPECT_TRUE(fs::is_symlink(PathOf("link")));
    EXPECT_EQ(ReadAll(PathOf("made")), "through") << "the link led nowhere";
    EXPECT_EQ(ModeOf(PathOf("made")), 0640U);

    Store("private", "old");
    fs::permissions(PathOf("private"), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_TRUE(Write("private", "new", true));
    EXPECT_EQ(ModeOf(PathOf("private")), 0600U);
    EXPECT_EQ(Names(), (std::set<std::string>{"link", "made", "private"}));
}

// A process that was killed has left its file. One that still works on its own holds it, and
// what nobody may write is the only whole copy of something.
TEST_F(WholeWrite, LeftoversGoAndNothingElse) {
    for (const char* name : {"kestrel-12-0.tmp", "kestrel-345-67.tmp", "kestrel-1-1.tmp",
                             "kestrel-1-1.tmp2", "kestrel-1.tmp", "Kestrel-1-1.tmp"}) {
        Store(name, "left");
    }
    fs::permissions(PathOf("kestrel-345-67.tmp"), fs::perms::owner_read);
    const int held = open(PathOf("kestrel-1-1.tmp").c_str(), O_RDWR);
    ASSERT_EQ(flock(held, LOCK_EX), 0);
    EXPECT_TRUE(Write("a", "1"));
    close(held);
    EXPECT_EQ(Names(),
              (std::set<std::string>{"a", "kestrel-345-67.tmp", "kestrel-1-1.tmp",
                                     "kestrel-1-1.tmp2", "kestrel-1.tmp", "Kestrel-1-1.tmp"}));
}

int StatusOf(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Only the file itself may be written, not its folder.
TEST_F(WholeWrite, FolderOfAnother) {
    if (geteuid() != 0) GTEST_SKIP() << "the test needs two users";
    fs::permissions(PathOf(""), static_cast<fs::perms>(0755));
    Store("shared", "a longer text before");
    fs::permissions(PathOf("shared"), fs::perms::all);
    const pid_t child = fork();
    if (child == 0) {
        if (setuid(54321) != 0) _exit(9);
        _exit((Write("shared", "short", true) ? 0 : 1) + (Write("new", "x") ? 2 : 0));
    }
    EXPECT_EQ(StatusOf(child), 0);
    EXPECT_EQ(ReadAll(PathOf("shared")), "short");
}

// True when all of the file is one letter and it has its full size.
bool IsWhole(const std::string& path, std::size_t size) {
    const std::string bytes = ReadAll(path);
    return bytes.size() == size && bytes.find_first_not_of(bytes[0]) == std::string::npos;
}

// A file that has a second name is overwritten; its new content then stands beside it.
TEST_F(WholeWrite, KilledAtAnyMoment) {
    constexpr std::size_t kSize = 8 * 1024 * 1024;
    for (const bool linked : {false, true}) {
        Store("big", std::string(kSize, 'o'));
        if (linked) fs::create_hard_link(PathOf("big"), PathOf("second"));
        for (int moment = 1; moment <= 8; ++moment) {
            const pid_t child = fork();
            if (child == 0) {
                for (char letter = 'a';; letter = letter == 'a' ? 'b' : 'a') {
                    if (!Write("big", std::string(kSize, letter))) _exit(1);
                }
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(moment * 7));
            kill(child, SIGKILL);
            EXPECT_EQ(StatusOf(child), -1) << "ended by itself";
            bool whole = IsWhole(PathOf("big"), kSize);
            for (const std::string& name : Names()) {
                if (!name.ends_with(".tmp")) continue;
                whole = whole || (linked && IsWhole(PathOf(name), kSize));
                fs::remove(PathOf(name));
            }
            EXPECT_TRUE(whole) << linked << moment;
            if (linked && !IsWhole(PathOf("big"), kSize)) Store("big", std::string(kSize, 'o'));
        }
    }
}

}  // namespace
}  // namespace messages_tests
