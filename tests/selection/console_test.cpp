// What is shown, and what is read.
#include "selection/console.h"

#include <unistd.h>
#include <cstdio>

#include "front/core/catalogue.h"
#include "selection/providers.h"
#include "tests/selection/support.h"

namespace selection_tests {

namespace {

std::uint32_t ReadNumber(int limit) {
    kestrel::PrintText("Number:", 0);
    DWORD number = 0;
    const DWORD code = kestrel::ReadCertificateNumber(limit, number);
    if (code == 0) std::printf("got %u\n", static_cast<unsigned>(number));
    return code;
}

TEST(Console, NumbersAreTypedKeyByKey) {
    const std::string wrong = "Error: Wrong number. (0x20000130)\n";
    const struct {
        const char* name;
        std::string keys;
        std::uint32_t code;
        std::string output;
    } rows[] = {{"one digit", "7\r", 0, "7\ngot 7\n"},
                {"one above", "21\r", 0x20000130, "21\n" + wrong},
                {"backspace", "12\b3\r", 0, "12\b \b3\ngot 13\n"},
                {"backspace on an empty field", "\b\b5\r", 0, "5\ngot 5\n"},
                {"no leading zeros", "005\r", 0, "5\ngot 5\n"},
                {"other keys are ignored", "x1-y\t5\r", 0, "15\ngot 15\n"},
                {"escape", "12\x1B", 0x20000066, "12\nError: Canceled by user. (0x20000066)\n"},
                {"end of input", "12", 0x20000066, "12\nError: Canceled by user. (0x20000066)\n"}};
    for (const auto& row : rows) {
        const Outcome run = RunPiped(row.keys, [] { return ReadNumber(20); });
        EXPECT_EQ(run.output, "Number:" + row.output) << row.name;
        EXPECT_EQ(run.code, row.code) << row.name;
    }
}

TEST(Console, KeysTypedAheadAreDiscarded) {
    const Outcome run = RunOnTerminal({{"wait", "9"}, {"Number:", "4\r"}}, [] {
        std::printf("wait\n");
        std::fflush(stdout);
        // The key has arrived when it is echoed, or at the latest after the pause.
        usleep(300'000);
        return ReadNumber(20);
    });
    EXPECT_EQ(run.code, 0U);
    EXPECT_NE(run.output.find("got 4"), std::string::npos) << run.output;
}

TEST(Console, HiddenLine) {
    const auto read = []() -> std::uint32_t {
        char buffer[16];
        const char* line = kestrel::ReadHiddenLine("box: ", buffer, sizeof(buffer));
        std::printf("%s\n", line ? (std::string("<") + line + ">").c_str() : "null");
        return 0;
    };
    EXPECT_EQ(RunPiped("secret\n", read).output, "null\n");
    const struct {
        const char* name;
        const char* typed;
        const char* line;
    } rows[] = {{"a line", "secret\n", "<secret>"},
                {"an empty line", "\n", "<>"},
                {"just fitting with its line end", "1234567890123\n", "<1234567890123>"},
                {"too long, losing two bytes", "12345678901234567890\n", "<1234567890123>"}};
    for (const auto& row : rows) {
        const Outcome run = RunOnTerminal({{"box: ", row.typed}}, read);
        // The terminal shows each line feed as CR LF, and never the typed text itself.
        const std::string shown = run.output.substr(0, run.output.find('<'));
        EXPECT_EQ(shown.find_first_of("123s"), std::string::npos) << row.name << run.output;
        EXPECT_NE(run.output.find(row.line), std::string::npos) << row.name << run.output;
    }
}

// ---- passwords ---------------------------------------------------------------------

std::uint32_t PinAndTell(const Keys& keys) {
    GiveKeys(keys);
    const bool requested = kestrel::PinRequested();
    kestrel::SecureText pin;
    const bool read = kestrel::GetContainerPin("box", pin);
    std::printf("%d %d %s left%s\n", requested, read,
                pin.Get() ? (std::string("<") + pin.Get() + ">").c_str() : "none",
                LeftKeys().c_str());
    return 0;
}

TEST(Pin, FromKeys) {
    const struct {
        const char* name;
        Keys keys;
        const char* output;
    } rows[] = {{"none", {}, "0 1 none left\n"},
                {"an empty one is one", {{"pin", ""}}, "1 1 <> left\n"},
                {"two: one is taken", {{"pin", "b"}, {"pin", "a"}}, "1 1 <a> left pin\n"},
                {"asking wins, and needs a console",
                 {{"askpin"}, {"pin", "x"}},
                 "Enter pin for container 1 0 none left pin\n"}};
    for (const auto& row : rows) {
        EXPECT_EQ(RunPiped("y\n", [&] { return PinAndTell(row.keys); }).output, row.output)
            << row.name;
    }
}

}  // namespace

}  // namespace selection_tests
