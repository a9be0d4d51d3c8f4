// What is shown, and what is read.
#include "selection/console.h"

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
    const struct {
        const char* name;
        std::string keys;
        std::uint32_t code;
        std::string output;
    } rows[] = {{"backspace", "12\b3\r", 0, "12\b \b3\ngot 13\n"},
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
    } rows[] = {{"an empty one is one", {{"pin", ""}}, "1 1 <> left\n"},
                {"two: one is taken", {{"pin", "b"}, {"pin", "a"}}, "1 1 <a> left pin\n"}};
    for (const auto& row : rows) {
        EXPECT_EQ(RunPiped("y\n", [&] { return PinAndTell(row.keys); }).output, row.output)
            << row.name;
    }
}

}  // namespace

}  // namespace selection_tests
