// What reaches standard output, in both languages.
#include "front/core/catalogue.h"
#include "front/core/format_guard.h"
#include "tests/front/support.h"

namespace kestrel {
namespace {

using ReportTest = FrontTest;

struct ReportRow {
    const char* name;
    DWORD code;
    const char* argument;
    const char* english;
    const char* russian;
};

const ReportRow kReports[] = {
    {"success", 0, nullptr, "", ""},
    {"with an argument", kCannotOpenFile, "a.txt", "Error: Can't open file 'a.txt'. (0x20000065)\n",
     "Ошибка: Не удалось открыть файл 'a.txt'. (0x20000065)\n"},
    {"without a place for it", kIntegerRequired, nullptr,
     "Error: Integer is required for '-q' key (0x200000CF)\n",
     "Ошибка: Параметром ключа '-q' должно быть натуральное число (0x200000CF)\n"},
    {"percent is formatted again", kWrongKey, "a%%b", "Error: Wrong key: 'a%%b'. (0x200000CE)\n",
     "Ошибка: Неверный ключ: 'a%b'. (0x200000CE)\n"},
    {"text place is filled again", kWrongKey, "%s", "Error: Wrong key: '%s'. (0x200000CE)\n",
     "Ошибка: Неверный ключ: 'Wrong key: '%s'.'. (0x200000CE)\n"},
    {"harmful format", kWrongKey, "%n%s%s", "Error: Wrong key: '%n%s%s'. (0x200000CE)\n",
     "Ошибка: Неверный ключ: '%n%s%s'. (0x200000CE)\n"},
    {"missing argument", kUnknownKey, nullptr, "Error: Unknown key: '%s'. (0x200000C9)\n",
     "Ошибка: Неизвестный ключ: 'Unknown key: '%s'.'. (0x200000C9)\n"},
};

TEST_F(ReportTest, OwnCodes) {
    for (const ReportRow& row : kReports) {
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

TEST_F(ReportTest, LongArgumentIsPrintedWhole) {
    const std::string name(5000, 'x');
    EXPECT_EQ(Printed([&] { ReportError(kCannotOpenFile, name.c_str()); }),
              "Error: Can't open file '" + name + "'. (0x20000065)\n");
}

TEST_F(ReportTest, PlatformCodeHasTheSystemText) {
    SetLastError(ERROR_ACCESS_DENIED);
    const std::string printed = Printed([] { EXPECT_EQ(ReportError(kLastError), 5u); });
    EXPECT_TRUE(printed.starts_with("Error: ")) << printed;
    EXPECT_TRUE(printed.ends_with(" (0x5)\n")) << printed;
    EXPECT_GT(printed.size(), sizeof "Error:  (0x5)");
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

TEST_F(ReportTest, InternetCodeKeepsItsValue) {
    SetLastError(ERROR_INTERNET_CANNOT_CONNECT);
    const std::string printed = Printed([] { EXPECT_EQ(ReportError(kLastError), 12029u); });
    EXPECT_TRUE(printed.ends_with(" (0x2EFD)\n")) << printed;
}

TEST_F(ReportTest, NumberTextHasNeitherPrefixNorCode) {
    EXPECT_EQ(Printed([] { EXPECT_EQ(PrintErrorText(kBadChain, 0x1000041), kBadChain); }),
              "Certificate chain is not checked for this certificate (error code 1000041):\n");
    state.russian = true;
    EXPECT_EQ(Printed([] { PrintErrorText(kBadChain, 0xFF); }),
              "Цепочка сертификатов не проверена для этого сертификата (код ошибки FF):\n");
}

struct PairRow {
    const char* name;
    const char* first;
    const char* second;
    const char* printed;
    int newlines;
    bool russian;
};

const PairRow kPairs[] = {
    {"english", "раз", "one", "one\n\n", 2, false},
    {"russian", "раз", "one", "раз", 0, true},
    {"one form, english", "CN=100%", nullptr, "CN=100%\n", 1, false},
    {"one form, russian", "CN=50%% of all", nullptr, "CN=50% of all\n", 1, true},
    {"english is printed verbatim", "", "%s %d %n", "%s %d %n", 0, false},
    {"russian is a format", "%s-%d", "one", "one-3\n\n\n", 3, true},
    {"a lone percent sign", "CN=100%", nullptr, "CN=100%\n", 1, true},
    {"more than there is", "%s%d%s", "one", "%s%d%s", 0, true},
    {"negative count", "", "one", "one", -1, false},
};

TEST_F(ReportTest, Pairs) {
    for (const PairRow& row : kPairs) {
        state.russian = row.russian;
        EXPECT_EQ(Printed([&] { PrintPair(row.first, row.second, row.newlines); }), row.printed)
            << row.name;
    }
}

TEST_F(ReportTest, RawLines) {
    EXPECT_EQ(Printed([] { PrintRawLine("100%s", "a", "b"); }), "100%s\n");
    state.russian = true;
    EXPECT_EQ(Printed([] { PrintRawLine("%s and %s", "a", "b"); }), "a and b\n");
    EXPECT_EQ(Printed([] { PrintRawLine("%s%s%s", "a", "b"); }), "%s%s%s\n");
}

struct FormatRow {
    const char* text;
    bool fits;
};

const FormatRow kFormats[] = {
    {"", true},       {"plain", true},   {"%%", true},    {"%%%s", true},      {"%s%d", true},
    {"%-5.3s", true}, {"%04X", true},    {"%lx", true},   {"%d%d", true},      {"%", false},
    {"100%", false},  {"a%'s", false},   {"%.", false},   {"%ls", false},      {"%hn", false},
    {"%n", false},    {"%*d", false},    {"%.*s", false}, {"%f", false},       {"%s%s", false},
    {"%d%s", false},  {"%s%d%d", false}, {"%m", false},   {"%99999d", false},  {"%.9999s", false},
    {"%lld", true},   {"%llld", false},  {"%1$s", false}, {"%999.999x", true},
};

TEST_F(ReportTest, OnlyHarmlessTextsAreFormats) {
    for (const FormatRow& row : kFormats) {
        EXPECT_EQ(FitsFormatter(row.text, "sd"), row.fits) << row.text;
    }
}

}  // namespace
}  // namespace kestrel
