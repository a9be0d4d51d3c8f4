// Keys, lines and modes. Each case runs in a child process whose terminal, standard input
// and session are what the row says; its answer comes back over a pipe.
#include <conio.h>
#include <fcntl.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include "platform/base/ground.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <thread>

#include "platform/base/bytes.h"
#include "platform/base/error.h"
#include "platform/console/hidden_line.h"
#include "tests/support/workshop.h"

namespace platform {
namespace {

using testing::Outcome;

// The terminal's two ends, seen from outside.
struct Terminal {
    int master = -1;
    int slave = -1;
    Terminal() {
        if (openpty(&master, &slave, nullptr, nullptr, nullptr) != 0) std::abort();
    }
    ~Terminal() {
        close(master);
        close(slave);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    void Type(std::string_view text) const {
        EXPECT_EQ(write(master, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    [[nodiscard]] tcflag_t LocalModes() const {
        termios modes{};
        tcgetattr(slave, &modes);
        return modes.c_lflag;
    }
    // Until the condition holds, or five seconds.
    [[nodiscard]] bool Waits(const std::function<bool()>& condition) const {
        for (int i = 0; i < 500 && !condition(); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return condition();
    }
    [[nodiscard]] bool WaitsForRawMode() const {
        return Waits([&] { return (LocalModes() & ICANON) == 0; });
    }
};

enum class Input { Terminal, PipeWithTerminal, PipeAlone };

class Child {
  public:
    // `body` runs in the child and answers with text. `piped` is what a pipe on standard
    // input holds.
    Child(const Terminal& terminal, Input input, std::string_view piped,
          const std::function<std::string()>& body) {
        int answer[2];
        int in[2];
        if (pipe(answer) != 0 || pipe(in) != 0) std::abort();
        EXPECT_EQ(write(in[1], piped.data(), piped.size()), static_cast<ssize_t>(piped.size()));
        process_ = fork();
        if (process_ == 0) {
            alarm(20);  // a call that waits for ever fails its row, and no more
            setsid();
            if (input != Input::PipeAlone) ioctl(terminal.slave, TIOCSCTTY, 0);
            dup2(input == Input::Terminal ? terminal.slave : in[0], STDIN_FILENO);
            close(in[1]);
            std::fclose(stdout);
            stdout = fdopen(dup(open("/dev/null", O_WRONLY)), "w");
            const std::string text = body();
            std::exit(write(answer[1], text.data(), text.size()) < 0 ? 9 : 0);
        }
        close(in[0]);
        close(in[1]);
        close(answer[1]);
        answer_ = answer[0];
    }
    ~Child() { close(answer_); }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    [[nodiscard]] pid_t Process() const { return process_; }
    std::string Answer() {
        std::string text;
        char piece[256];
        for (ssize_t got; (got = read(answer_, piece, sizeof piece)) > 0;) {
            text.append(piece, static_cast<std::size_t>(got));
        }
        waitpid(process_, &status_, 0);
        return text;
    }
    [[nodiscard]] int Status() const { return status_; }

  private:
    pid_t process_ = -1;
    int answer_ = -1;
    int status_ = -1;
};

std::string Keys(int count) {
    std::string text;
    for (int i = 0; i < count; ++i) text += std::to_string(_getch()) + ' ';
    return text;
}

TEST(Getch, KeysOfATerminal) {
    const struct {
        const char* name;
        std::string typed;
        int count;
        std::string keys;
    } rows[] = {
        {"line feed is Enter", "\n", 1, "13 "},
        {"Backspace of a terminal", "\x7F", 1, "8 "},
        {"Escape", "\x1B", 1, "27 "},
        {"end of input", "\x04", 1, "27 "},
        {"arrow is no Escape", "\x1B[A5", 3, "224 72 53 "},
        {"key with number", "\x1B[15~5", 3, "224 0 53 "},
        {"Alt and a bracket", "\x1B[", 2, "224 0 "},
    };
    for (const auto& row : rows) {
        const Terminal terminal;
        for (const Input input : {Input::Terminal, Input::PipeWithTerminal}) {
            Child child(terminal, input, "piped", [&] { return Keys(row.count); });
            ASSERT_TRUE(terminal.WaitsForRawMode()) << row.name;
            EXPECT_EQ(terminal.LocalModes() & ECHO, 0U) << row.name;
            terminal.Type(row.typed);
            EXPECT_EQ(child.Answer(), row.keys) << row.name;
            EXPECT_NE(terminal.LocalModes() & ICANON, 0U) << row.name;
            EXPECT_NE(terminal.LocalModes() & ECHO, 0U) << row.name;
        }
    }
}

TEST(Getch, WithoutATerminalKeysComeFromTheInput) {
    const struct {
        const char* name;
        std::string piped;
        int count;
        std::string keys;
    } rows[] = {
        {"CR LF is one key", "1\r\n2", 3, "49 13 50 "},
        {"CR alone", "\r2", 2, "13 50 "},
        {"end counts as Escape", "7", 3, "55 27 27 "},
    };
    for (const auto& row : rows) {
        const Terminal terminal;
        Child child(terminal, Input::PipeAlone, row.piped, [&] {
            // Nothing waits, so that nothing is thrown away.
            return _kbhit() == 0 ? Keys(row.count) : "key waits";
        });
        EXPECT_EQ(child.Answer(), row.keys) << row.name;
    }
}

TEST(Getch, SignalsEndTheProcessAndRestoreTheTerminal) {
    const struct {
        const char* name;
        int signal;  // 0: Ctrl-C is typed
    } rows[] = {{"Ctrl-C", 0}, {"terminate", SIGTERM}, {"hang-up", SIGHUP}};
    for (const auto& row : rows) {
        const Terminal terminal;
        Child child(terminal, Input::Terminal, "", [] { return Keys(1); });
        ASSERT_TRUE(terminal.WaitsForRawMode()) << row.name;
        if (row.signal == 0) {
            terminal.Type("\x03");
        } else {
            kill(child.Process(), row.signal);
        }
        EXPECT_EQ(child.Answer(), "") << row.name;
        ASSERT_TRUE(WIFSIGNALED(child.Status())) << row.name;
        EXPECT_EQ(WTERMSIG(child.Status()), row.signal == 0 ? SIGINT : row.signal) << row.name;
        EXPECT_NE(terminal.LocalModes() & ICANON, 0U) << row.name;
        EXPECT_NE(terminal.LocalModes() & ECHO, 0U) << row.name;
    }
}

// A shell's part: the job in front is stopped, and goes on in front, or is ended where it is.
std::string StopAndContinue(int ending) {
    static_cast<void>(std::signal(SIGTTOU, SIG_IGN));
    const pid_t job = fork();
    if (job == 0) {
        setpgid(0, 0);
        tcsetpgrp(STDIN_FILENO, getpid());
        static_cast<void>(std::signal(SIGTTOU, SIG_DFL));
        _exit(_getch());
    }
    int status = 0;
    waitpid(job, &status, WUNTRACED);
    std::string text = WIFSTOPPED(status) ? "stopped " : "ran on ";
    termios modes{};
    tcgetattr(STDIN_FILENO, &modes);
    text += (modes.c_lflag & ECHO) != 0 ? "echo " : "silent ";
    tcsetpgrp(STDIN_FILENO, ending == 0 ? job : getpgrp());
    if (ending != 0) kill(job, ending);
    kill(job, SIGCONT);
    waitpid(job, &status, WUNTRACED);
    if (WIFSIGNALED(status)) return text + "signal " + std::to_string(WTERMSIG(status));
    return text + std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1);
}

TEST(Getch, StoppedItGivesTheTerminalBack) {
    const struct {
        int ending;
        std::string told;
    } rows[] = {{0, "stopped echo 55"},
                {SIGTERM, "stopped echo signal 15"},
                {SIGHUP, "stopped echo signal 1"}};
    for (const auto& row : rows) {
        const Terminal terminal;
        Child shell(terminal, Input::Terminal, "", [&] { return StopAndContinue(row.ending); });
        ASSERT_TRUE(terminal.WaitsForRawMode());
        terminal.Type("\x1A");
        terminal.Type("7");  // no Enter behind it: the mode for keys is back
        EXPECT_EQ(shell.Answer(), row.told);
    }
}

// Letters, keys and passwords are asked for in turn; each takes its own line and no more.
TEST(Console, WithoutATerminalAllAnswersComeFromOneStream) {
    const Terminal terminal;
    const std::string piped = "y\n2\nsecret\n" + std::string(5000, 'x') + "\nlast\n";
    Child child(terminal, Input::PipeAlone, piped, [] {
        char letter = 0;
        if (std::scanf("%c\n", &letter) != 1) return std::string("no letter");
        std::string text = letter + (' ' + Keys(2));
        for (const char* line : {"first", "too long", "next", "end"}) {
            const auto answer = AskHiddenLine(line);
            text += answer ? std::to_string(answer->View().size()) + ' ' : "none";
        }
        return text;
    });
    EXPECT_EQ(child.Answer(), "y 50 13 6 1024 4 none");
}

// What a program that reads a password does; the bytes read in hexadecimal.
std::string HiddenLine(DWORD size, int reads) {
    HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    DWORD mode = 0;
    if (!GetConsoleMode(input, &mode)) return "no console " + std::to_string(GetLastError());
    const DWORD hidden =
        (mode & ~DWORD{ENABLE_ECHO_INPUT}) | ENABLE_PROCESSED_INPUT | ENABLE_LINE_INPUT;
    if (mode != 7 || !SetConsoleMode(input, hidden)) return "mode " + std::to_string(mode);
    std::string text;
    for (int i = 0; i < reads; ++i) {
        char buffer[512];
        DWORD got = 0;
        if (!ReadFile(input, buffer, size, &got, nullptr)) return "read failed";
        text += Hex(ViewOf(buffer, got)) + ' ';
    }
    SetConsoleMode(input, mode);
    return text;
}

TEST(Console, LinesWithoutEcho) {
    const struct {
        const char* name;
        std::string typed;
        DWORD size;
        int reads;
        std::string expected;
    } rows[] = {
        {"line ends in CR LF", "abc\n", 254, 1, "6162630d0a "},
        {"corrected by the user",
         "ax\x7F"
         "b\n",
         254, 1, "61620d0a "},
        {"line feed has no room", "abc\nd\n", 4, 2, "6162630d 640d0a "},
        {"longer than the buffer", "abcdef\ng\n", 4, 2, "61626364 670d0a "},
        {"as long as the buffer", "abcd\ng\n", 4, 2, "61626364 670d0a "},
        {"end of input", "\x04", 254, 1, " "},
    };
    for (const auto& row : rows) {
        const Terminal terminal;
        Child child(terminal, Input::Terminal, "", [&] { return HiddenLine(row.size, row.reads); });
        ASSERT_TRUE(terminal.Waits([&] { return (terminal.LocalModes() & ECHO) == 0; }))
            << row.name;
        terminal.Type(row.typed);
        EXPECT_EQ(child.Answer(), row.expected) << row.name;
        EXPECT_NE(terminal.LocalModes() & ECHO, 0U) << row.name;
    }
    const Terminal terminal;
    Child redirected(terminal, Input::PipeWithTerminal, "abc\n", [] { return HiddenLine(9, 1); });
    EXPECT_EQ(redirected.Answer(), "no console 6");
}

TEST(Console, LeavingWithEchoOffRestoresIt) {
    const Terminal terminal;
    Child child(terminal, Input::Terminal, "", [] {
        SetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), ENABLE_LINE_INPUT);
        return std::string("left");
    });
    EXPECT_EQ(child.Answer(), "left");
    EXPECT_NE(terminal.LocalModes() & ECHO, 0U);
    EXPECT_NE(terminal.LocalModes() & ISIG, 0U);
}

TEST(Console, HandlesAndRedirectedReads) {
    const Terminal terminal;
    Child child(terminal, Input::PipeAlone, "ab\ncd\n", [] {
        char buffer[16];
        DWORD got = 0;
        std::string text;
        const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
        if (ReadFile(input, buffer, sizeof buffer, &got, nullptr)) text = Hex(ViewOf(buffer, got));
        text += ReadFile(input, buffer, sizeof buffer, &got, nullptr) && got == 0 ? " end" : " ?";
        return text;
    });
    // A pipe's bytes come as they are; its end is a read of none.
    EXPECT_EQ(child.Answer(), "61620a63640a end");

    DWORD count = 0;
    char byte = 0;
    EXPECT_EQ(GetStdHandle(7), INVALID_HANDLE_VALUE);
    EXPECT_EQ(Outcome(ReadFile(nullptr, &byte, 1, &count, nullptr)), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(Outcome(WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), nullptr, 1, &count, nullptr)),
              DWORD{ERROR_INVALID_PARAMETER});
}

TEST(Console, OutputKeepsTheOrderOfStreamsAndHandles) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t process = fork();
    if (process == 0) {
        dup2(ends[1], STDOUT_FILENO);
        setsid();
        DWORD written = 0;
        std::printf("1");
        WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), "2", 1, &written, nullptr);
        std::printf("3");
        _putch('4');
        std::fflush(stdout);
        _exit(written == 1 ? 0 : 1);
    }
    close(ends[1]);
    int status = 0;
    waitpid(process, &status, 0);
    EXPECT_EQ(status, 0);
    char text[8] = {};
    EXPECT_EQ(read(ends[0], text, sizeof text), 4);
    EXPECT_STREQ(text, "1234");
    close(ends[0]);
}

}  // namespace
}  // namespace platform
