// Passwords: set on the handle, asked for on a terminal or on standard input.
#include <fcntl.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "platform/providers/container.h"
#include "tests/support/workshop.h"

namespace platform::testing {
namespace {

class Passwords : public HomesTest {
  protected:
    void SetUp() override {
        Container container = Container::Create(Side::User, "box", 16);
        const AnyKey key = GenerateKey(16);
        container.SaveKey(AT_KEYEXCHANGE, key, Secret(ViewOf("secret")));
        container.SaveKey(AT_SIGNATURE, key, Secret());
        unsetenv("LC_ALL");
        unsetenv("LC_MESSAGES");
        setenv("LANG", "C", 1);
    }
};

HCRYPTPROV Open(DWORD flags) {
    HCRYPTPROV provider = 0;
    EXPECT_TRUE(CryptAcquireContextA(&provider, "box", nullptr, 16, flags));
    return provider;
}

DWORD OpenKey(HCRYPTPROV provider, DWORD keySpec) {
    return CodeOf([&] { PrivateKeyOf(provider, keySpec); });
}

bool SetPassword(HCRYPTPROV provider, DWORD param, const char* text) {
    return CryptSetProvParam(provider, param, reinterpret_cast<const BYTE*>(text), 0) != FALSE;
}

struct SetRow {
    const char* name;
    DWORD param;
    const char* password;
    DWORD keySpec;
    DWORD expected;
};

TEST_F(Passwords, SetOnTheHandleAreTried) {
    const SetRow rows[] = {
        {"right", PP_KEYEXCHANGE_PIN, "secret", AT_KEYEXCHANGE, 0},
        {"wrong", PP_KEYEXCHANGE_PIN, "Secret", AT_KEYEXCHANGE, SCARD_W_WRONG_CHV},
        {"cleared", PP_KEYEXCHANGE_PIN, nullptr, AT_KEYEXCHANGE, Code(NTE_SILENT_CONTEXT)},
        {"of the other key", PP_SIGNATURE_PIN, "secret", AT_KEYEXCHANGE, Code(NTE_SILENT_CONTEXT)},
        {"none needed", PP_KEYEXCHANGE_PIN, nullptr, AT_SIGNATURE, 0},
    };
    for (const SetRow& row : rows) {
        const HCRYPTPROV provider = Open(CRYPT_SILENT);
        // Another one closes a key that was open.
        EXPECT_TRUE(SetPassword(provider, PP_KEYEXCHANGE_PIN, "secret"));
        EXPECT_EQ(OpenKey(provider, AT_KEYEXCHANGE), 0U);
        EXPECT_TRUE(SetPassword(provider, PP_KEYEXCHANGE_PIN, nullptr));
        EXPECT_TRUE(SetPassword(provider, row.param, row.password)) << row.name;
        EXPECT_EQ(OpenKey(provider, row.keySpec), row.expected) << row.name;
        CryptReleaseContext(provider, 0);
    }
}

// Opening a key takes its password away, and then nothing may lay a bare key in its place.
TEST_F(Passwords, KeyInThePlaceOfAnOpenOneIsNoBarer) {
    const HCRYPTPROV provider = Open(CRYPT_SILENT);
    EXPECT_TRUE(SetPassword(provider, PP_KEYEXCHANGE_PIN, "secret"));
    EXPECT_EQ(OpenKey(provider, AT_KEYEXCHANGE), 0U);
    HCRYPTKEY key = 0;
    EXPECT_EQ(Outcome(CryptGenKey(provider, AT_KEYEXCHANGE, 0, &key)), Code(NTE_SILENT_CONTEXT));
    EXPECT_TRUE(SetPassword(provider, PP_KEYEXCHANGE_PIN, "other"));
    ASSERT_TRUE(CryptGenKey(provider, AT_KEYEXCHANGE, 0, &key));
    CryptDestroyKey(key);
    CryptReleaseContext(provider, 0);
    const Container container = Container::Open(Side::User, "box");
    EXPECT_TRUE(container.LoadKey(AT_KEYEXCHANGE, Secret(ViewOf("other"))));
}

// Runs in a child whose terminal or input is the test's. Its exit tells the low byte of
// the code.
[[noreturn]] void OpenAndExit() {
    const HCRYPTPROV provider = Open(0);
    const DWORD code = OpenKey(provider, AT_KEYEXCHANGE);
    // The second use asks nothing more.
    const DWORD again = code == 0 ? OpenKey(provider, AT_KEYEXCHANGE) : 0;
    _exit(again != 0 ? 99 : static_cast<int>(code & 0xFF));
}

int ExitOf(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

struct TypedRow {
    const char* name;
    const char* typed;
    int exit;  // low byte of the code
    int prompts;
};

constexpr int kWrong = SCARD_W_WRONG_CHV & 0xFF;
constexpr int kCancelled = SCARD_W_CANCELLED_BY_USER & 0xFF;

constexpr TypedRow kTyped[] = {
    {"right at last", "one\ntwo\nsecret\n", 0, 3},
    {"three times wrong", "one\ntwo\nthree\nsecret\n", kWrong, 3},
    {"end of input", "\x04", kCancelled, 1},
};

// Types a line whenever the child has asked; everything that shows on the terminal.
std::string Talk(int terminal, std::string_view typed, std::string_view prompt) {
    std::string shown;
    std::size_t answered = 0;
    char block[256];
    for (;;) {
        const ssize_t got = read(terminal, block, sizeof(block));
        if (got <= 0) return shown;
        shown.append(block, static_cast<std::size_t>(got));
        while (answered < CountOf(prompt, shown) && !typed.empty()) {
            const std::size_t length = std::min(typed.find('\n'), typed.size() - 1) + 1;
            if (write(terminal, typed.data(), length) < 0) return shown;
            typed.remove_prefix(length);
            ++answered;
        }
    }
}

TEST_F(Passwords, AreAskedForOnTheTerminalAndDoNotShow) {
    struct {
        const char* language;
        const char* prompt;
        const char* wrong;
    } const languages[] = {
        {"C", "Password of container box: ", "Wrong password."},
        {"ru_RU.UTF-8", "Пароль контейнера box: ", "Неверный пароль."},
    };
    for (const auto& language : languages) {
        for (const TypedRow& row : kTyped) {
            SCOPED_TRACE(std::string(language.language) + ", " + row.name);
            setenv("LANG", language.language, 1);
            int terminal = -1;
            const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
            ASSERT_GE(child, 0);
            if (child == 0) OpenAndExit();
            const std::string shown = Talk(terminal, row.typed, language.prompt);
            EXPECT_EQ(ExitOf(child), row.exit);
            close(terminal);
            EXPECT_EQ(CountOf(language.prompt, shown), static_cast<std::size_t>(row.prompts));
            EXPECT_EQ(CountOf(language.wrong, shown), static_cast<std::size_t>(row.prompts - 1));
            EXPECT_EQ(CountOf("secret", shown), 0U) << shown;
        }
    }
}

TEST_F(Passwords, ComeFromStandardInputWithoutATerminal) {
    const TypedRow rows[] = {
        {"line without its end", "secret", 0, 0},
        {"right at last", "one\ntwo\nsecret\n", 0, 0},
        {"wrong and no more", "one\n", kWrong, 0},
        {"nothing", "", kCancelled, 0},
    };
    for (const TypedRow& row : rows) {
        WriteFile("input", ViewOf(row.typed));
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            setsid();  // no controlling terminal
            dup2(open((Folder() / "input").c_str(), O_RDONLY), STDIN_FILENO);
            OpenAndExit();
        }
        EXPECT_EQ(ExitOf(child), row.exit) << row.name;
    }
}

}  // namespace
}  // namespace platform::testing
