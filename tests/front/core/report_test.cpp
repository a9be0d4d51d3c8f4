// What reaches standard output, in both languages.
#include "front/core/catalogue.h"
#include "tests/front/support.h"

namespace kestrel {
namespace {

using ReportTest = FrontTest;

const struct {
    const char* name;
    DWORD code;
    const char* argument;
    const char* english;
    const char* russian;
} kReports[] = {
    {"percent signs in the argument", kWrongKey, "a%%b%n%s",
     "Error: Wrong key: 'a%%b%n%s'. (0x200000CE)\n",
     "Ошибка: Неверный ключ: 'a%%b%n%s'. (0x200000CE)\n"},
    {"a stranger's argument", kCannotOpenFile, "a\x1B[2J\n\xE2\x80\xAE",
     "Error: Can't open file 'a\\x1B[2J\\x0A\\u202E'. (0x20000065)\n",
     "Ошибка: Не удалось открыть файл 'a\\x1B[2J\\x0A\\u202E'. (0x20000065)\n"},
    {"missing argument", kUnknownKey, nullptr, "Error: Unknown key: '%s'. (0x200000C9)\n",
     "Ошибка: Неизвестный ключ: '%s'. (0x200000C9)\n"},
};

TEST_F(ReportTest, OwnCodes) {
    for (const auto& row : kReports) {
        for (const bool russian : {false, true}) {
            state.russian = russian;
            DWORD result = 1;
            const std::string printed =
                Printed([&] { result = ReportError(row.code, row.argument); });
            EXPECT_EQ(printed, russian ? row.russian : row.english) << row.name;
            EXPECT_EQ(result, row.code) << row.name;
        }
    }
}

TEST_F(ReportTest, PlatformCodeWithoutTextHasNoPrefix) {
    SetLastError(0xE0ABCDEF);
    EXPECT_EQ(Printed([] { EXPECT_EQ(ReportError(kLastError), 0xE0ABCDEF); }),
              "Unknown error. (0xE0ABCDEF)\n");
    state.russian = true;
    SetLastError(0xC2100121);
    EXPECT_EQ(Printed([] { EXPECT_EQ(ReportError(kLastError), 0xC2100121); }),
              "Неизвестная ошибка. (0xC2100121)\n");
}

// What terminals act upon: ECMA-48 5.2 and 5.3, Unicode UAX #9 2.
const struct {
    const char* name;
    const char* text;
    const char* printed;
} kTexts[] = {
    {"plain", "CN=Ann", "CN=Ann"},
    {"two and three and four bytes", "имя € 😀", "имя € 😀"},
    {"C0", "\x01\t\x1F \x7F", "\\x01\\x09\\x1F \\x7F"},
    {"C1 as UTF-8",
     "a\xC2\x9B"
     "31m\xC2\xA0",
     "a\\u009B31m\xC2\xA0"},
    {"C1 as a byte",
     "a\x9B"
     "31m",
     "a\\x9B31m"},
    {"marks of direction", "\xD8\x9C\xE2\x80\x8F\xE2\x80\xAA\xE2\x81\xA9",
     "\\u061C\\u200F\\u202A\\u2069"},
    {"what does not show", "a\u00AD\u200B\u2028\u202F\u2060\uFEFF\U000E0041b",
     "a\\u00AD\\u200B\\u2028\\u202F\\u2060\\uFEFF\\U000E0041b"},
    {"their neighbours", "\u00AC\u061B\u200A\u2010\u2027\u2030\u205F\u2070\uFFFD\U000E1000",
     "\u00AC\u061B\u200A\u2010\u2027\u2030\u205F\u2070\uFFFD\U000E1000"},
    {"cut and stray bytes", "\xE2\x80 \xFF\xFE", "\xE2\\x80 \xFF\xFE"},
};

TEST_F(ReportTest, StrangersTexts) {
    for (const auto& row : kTexts) {
        for (const bool russian : {false, true}) {
            state.russian = russian;
            EXPECT_EQ(Printed([&] { PrintText(row.text, 1); }), row.printed + std::string("\n"))
                << row.name;
        }
    }
}

}  // namespace
}  // namespace kestrel
