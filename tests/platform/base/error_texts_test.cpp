// The system's texts: every code that the ground headers name has one in both languages.
#include <sys/wait.h>
#include <unistd.h>

#include "platform/base/ground.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "platform/base/error.h"
#include "platform/base/handle.h"

namespace platform {
namespace {

struct Code {
    std::string name;
    DWORD value;
};

// "NAME VALUE" of a line that defines an error code, the value in brackets and cast or bare.
bool ParseDefine(const std::string& line, Code& code) {
    constexpr std::string_view families[] = {"ERROR_",   "NTE_",     "CRYPT_E_", "CERT_E_",
                                             "TRUST_E_", "SCARD_",   "E_",       "CLASS_E_",
                                             "CO_E_",    "REGDB_E_", "RPC_E_"};
    std::istringstream words(line);
    std::string directive;
    std::string value;
    if (!(words >> directive >> code.name >> value) || directive != "#define") return false;
    const auto of = [&](std::string_view family) { return code.name.starts_with(family); };
    if (std::none_of(std::begin(families), std::end(families), of)) return false;
    const std::size_t digit = value.find_first_of("0123456789");
    if (digit == value.npos) return false;
    code.value = static_cast<DWORD>(std::strtoul(value.c_str() + digit, nullptr, 0));
    return true;
}

std::vector<Code> CodesOf(const char* header) {
    std::ifstream file(std::filesystem::path(GROUND_HEADERS) / header);
    std::vector<Code> codes;
    Code code;
    for (std::string line; std::getline(file, line);) {
        if (ParseDefine(line, code)) codes.push_back(code);
    }
    return codes;
}

bool HasCyrillic(std::string_view text) { return text.find("\xD0") != std::string_view::npos; }

void ExpectGoodText(const Code& code, bool russian) {
    const char* text = SystemText(code.value, russian);
    ASSERT_NE(text, nullptr) << code.name;
    const std::string_view view = text;
    EXPECT_EQ(HasCyrillic(view), russian) << code.name;
    EXPECT_EQ(view.find_first_of("%\r\n"), std::string_view::npos) << code.name;
    EXPECT_TRUE(view.ends_with('.') && view.size() > 10) << code.name;
}

TEST(ErrorTexts, EveryCodeOfTheHeadersHasBoth) {
    const struct {
        const char* header;
        std::size_t least;  // fewer means that the search is broken
    } headers[] = {{"windows.h", 50}, {"wincrypt.h", 70}, {"winhttp.h", 20}, {"objbase.h", 6}};
    for (const auto& header : headers) {
        const std::vector<Code> codes = CodesOf(header.header);
        EXPECT_GE(codes.size(), header.least) << header.header;
        for (const Code& code : codes) {
            ExpectGoodText(code, false);
            ExpectGoodText(code, true);
        }
    }
}

struct Freed {
    char* text = nullptr;
    ~Freed() { LocalFree(text); }
};

constexpr DWORD kAllocated = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS;

// As programs ask: the internet codes of the module, the others of the system.
std::string Formatted(DWORD code) {
    Freed message;
    const bool internet = code >= 12000 && code <= 12174;
    const HMODULE module = internet ? GetModuleHandleA("wininet.dll") : nullptr;
    const DWORD source = internet ? FORMAT_MESSAGE_FROM_HMODULE : FORMAT_MESSAGE_FROM_SYSTEM;
    const DWORD length = FormatMessageA(kAllocated | source, module, code, 0x400,
                                        reinterpret_cast<LPSTR>(&message.text), 0, nullptr);
    if (message.text == nullptr) return "(null)";
    EXPECT_EQ(length, std::strlen(message.text)) << code;
    return message.text;
}

void Raise(DWORD code, const std::string& detail) {
    Guarded(0, [&]() -> int { throw Error(code, detail); });
}

TEST(FormatMessage, DetailFollowsItsOwnCodeOnly) {
    setenv("LC_ALL", "C", 1);
    const struct {
        const char* name;
        DWORD raised;
        std::string detail;
        DWORD asked;
        std::string expected;
    } rows[] = {
        {"file", 2, "/a/b.txt", 2, "The file does not exist: /a/b.txt"},
        {"of another code", 2, "/a/b.txt", 5, "There is no permission for this."},
        {"percent sign", 2, "50%n", 2, "The file does not exist: 50%n"},
        {"escape sequence", 2, "\x1B[2J\xC2\x9B", 2, "The file does not exist: ?[2J?"},
        {"turned around", 2, "a\xE2\x80\xAEtxt", 2, "The file does not exist: a?txt"},
        {"HRESULT", 0x80090016, "", 0x80090016,
         "There is no such key container for this type of provider."},
        {"Win32 facility", 0, "", 0x80070005, "There is no permission for this."},
        {"unknown", 0, "", 0xC2100100, "(null)"},
    };
    for (const auto& row : rows) {
        Raise(row.raised, row.detail);
        EXPECT_EQ(Formatted(row.asked), row.expected) << row.name;
    }
    setenv("LC_ALL", "ru_RU.UTF-8", 1);
    EXPECT_EQ(Formatted(5), "На это действие нет прав.");
    Raise(2, "50%n");
    EXPECT_EQ(Formatted(2), "Файл не существует: 50%n");
    unsetenv("LC_ALL");
}

// What a process that fails a few calls prints on standard error.
std::string TraceOf(const char* setting) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        setenv("KESTREL_TRACE", setting, 1);
        dup2(ends[1], STDERR_FILENO);
        static_cast<void>(DeleteFileA("/nowhere/a"));
        static_cast<void>(GetFileAttributesA("/nowhere"));
        HKEY key = nullptr;
        static_cast<void>(RegOpenKeyExA(nullptr, "", 0, KEY_READ, &key));
        _exit(0);
    }
    close(ends[1]);
    std::string text;
    char block[512];
    for (ssize_t got; (got = read(ends[0], block, sizeof block)) > 0;) {
        text.append(block, static_cast<std::size_t>(got));
    }
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return text;
}

TEST(Trace, OneLineForEachFailedCall) {
    for (const char* setting : {"", "0", "yes"}) EXPECT_EQ(TraceOf(setting), "") << setting;
    std::istringstream text(TraceOf("1"));
    for (const char* start :
         {"trace: DeleteFileA failed, 0x3 at platform/base/file_entry.cpp:",
          "trace: GetFileAttributesA failed, 0x2 at platform/base/file_calls.cpp:",
          "trace: RegOpenKeyExA failed, 0x6 at platform/"}) {
        std::string line;
        ASSERT_TRUE(std::getline(text, line)) << start;
        EXPECT_TRUE(line.starts_with(start)) << line;
        const std::size_t colon = line.rfind(':');
        EXPECT_GT(std::atoi(line.c_str() + colon + 1), 0) << line;
    }
    EXPECT_EQ(text.peek(), EOF);
}

}  // namespace
}  // namespace platform
