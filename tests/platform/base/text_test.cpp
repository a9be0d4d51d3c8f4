// Conversions between narrow and wide text, and comparison without case.
#include <mbstring.h>

#include "platform/base/ground.h"

#include <gtest/gtest.h>

#include "platform/base/text.h"
#include "tests/support/workshop.h"

namespace platform {
namespace {

TEST(Text, WellFormedUtf8IsTakenBothWays) {
    const struct {
        const char* name;
        std::string narrow;
        std::wstring wide;
    } rows[] = {
        {"empty", "", L""},
        {"first of two bytes", "\xC2\x80", L"\x80"},
        {"before the surrogates", "\xED\x9F\xBF", L"\xD7FF"},
        {"first of four bytes", "\xF0\x90\x80\x80", std::wstring(1, wchar_t{0x10000})},
        {"last code point", "\xF4\x8F\xBF\xBF", std::wstring(1, wchar_t{0x10FFFF})},
        {"NUL inside", std::string("a\0b", 3), std::wstring(L"a\0b", 3)},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Widen(row.narrow), row.wide) << row.name;
        EXPECT_EQ(Narrow(row.wide), row.narrow) << row.name;
    }
}

TEST(Text, MalformedUtf8IsRefusedAndReplaced) {
    const struct {
        const char* name;
        std::string text;
        std::wstring replaced;
    } rows[] = {
        {"overlong NUL", "\xC0\x80", L"\xFFFD\xFFFD"},
        {"overlong four bytes", "\xF0\x8F\xBF\xBF", L"\xFFFD\xFFFD\xFFFD\xFFFD"},
        {"surrogate", "\xED\xA0\x80", L"\xFFFD\xFFFD\xFFFD"},
        {"past the last code point", "\xF4\x90\x80\x80", L"\xFFFD\xFFFD\xFFFD\xFFFD"},
        {"no such lead", "\xF5z", L"\xFFFDz"},
        {"cut short by another lead", "\xD0\xD0\x9F", L"\xFFFD\x41F"},
        {"three bytes cut to two", "\xE2\x82", L"\xFFFD\xFFFD"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(testing::CodeOf([&] { Widen(row.text); }), DWORD{ERROR_NO_UNICODE_TRANSLATION})
            << row.name;
        wchar_t wide[16] = {};
        const int length = static_cast<int>(row.text.size());
        const int made = MultiByteToWideChar(CP_UTF8, 0, row.text.data(), length, wide, 16);
        EXPECT_EQ(std::wstring(wide, static_cast<std::size_t>(made)), row.replaced) << row.name;
    }
    for (const wchar_t bad : {wchar_t{0xD800}, wchar_t{0xDFFF}, wchar_t{0x110000}, wchar_t{-1}}) {
        EXPECT_EQ(testing::CodeOf([&] { Narrow(std::wstring(1, bad)); }),
                  DWORD{ERROR_NO_UNICODE_TRANSLATION})
            << static_cast<int>(bad);
    }
}

TEST(CodePage, SizesAndErrors) {
    const char text[] = "a\xD0\x9F";  // two characters, three bytes
    wchar_t wide[8];
    const struct {
        const char* name;
        UINT codePage;
        DWORD flags;
        const char* text;
        int length;
        wchar_t* out;
        int capacity;
        int result;
        DWORD error;
    } rows[] = {
        {"question without terminator", CP_UTF8, 0, text, 3, nullptr, 0, 2, 0},
        {"question with terminator", CP_UTF8, 0, text, -1, nullptr, 0, 3, 0},
        {"one short", CP_UTF8, 0, text, -1, wide, 2, 0, ERROR_INSUFFICIENT_BUFFER},
        {"null with capacity", CP_UTF8, 0, text, -1, nullptr, 3, 0, ERROR_INVALID_PARAMETER},
        {"empty input", CP_UTF8, 0, text, 0, wide, 3, 0, ERROR_INVALID_PARAMETER},
        {"another code page", 1252, 0, text, -1, wide, 3, 0, ERROR_INVALID_PARAMETER},
        {"unknown flag", CP_UTF8, 1, text, -1, wide, 3, 0, ERROR_INVALID_FLAGS},
    };
    for (const auto& row : rows) {
        SetLastError(0);
        EXPECT_EQ(MultiByteToWideChar(row.codePage, row.flags, row.text, row.length, row.out,
                                      row.capacity),
                  row.result)
            << row.name;
        EXPECT_EQ(GetLastError(), row.error) << row.name;
    }
    char narrow[8] = {};
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, L"a\x41F", -1, narrow, 4, nullptr, nullptr), 4);
    EXPECT_STREQ(narrow, text);
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, L"a\x41F", -1, narrow, 3, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
}

TEST(CodePage, Cyrillic) {
    // iconv -f CP1251 -t UTF-8
    const char narrow[] = "\xC0\xFF\xA8\xB8\xB9 a";
    wchar_t wide[8];
    ASSERT_EQ(MultiByteToWideChar(1251, MB_ERR_INVALID_CHARS, narrow, -1, wide, 8), 8);
    EXPECT_STREQ(wide, L"\x410\x44F\x401\x451\x2116 a");
    char back[8];
    BOOL missed = TRUE;
    ASSERT_EQ(WideCharToMultiByte(1251, 0, wide, -1, back, 8, nullptr, &missed), 8);
    EXPECT_STREQ(back, narrow);
    EXPECT_FALSE(missed);
    ASSERT_EQ(WideCharToMultiByte(1251, 0, L"\x65E5\x416", -1, back, 8, "_", &missed), 3);
    EXPECT_STREQ(back, "_\xC6");
    EXPECT_TRUE(missed);
}

TEST(Folding, ComparesNamesWithoutCase) {
    const auto bytes = [](const char* text) { return reinterpret_cast<const UCHAR*>(text); };
    const struct {
        const char* name;
        const char* first;
        const char* second;
        int order;  // sign
    } rows[] = {
        {"multiplication sign has no case", "\xC3\x97", "\xC3\xB7", -1},
        {"Cyrillic", "\xD0\x98\xD0\xB2\xD0\xB0\xD0\x9D", "\xD0\xB8\xD0\x92\xD0\x90\xD0\xBD", 0},
        {"Greek with final sigma", "\xCE\xA3\xCE\xA9", "\xCF\x82\xCF\x89", 0},
        {"prefix is less", "abc", "ABCD", -1},
        {"equal bad bytes", "\x80", "\x80", 0},
        {"bad byte behind every letter", "\x80", "\xD1\x8F", 1},
    };
    for (const auto& row : rows) {
        const auto sign = [](int value) { return (value > 0) - (value < 0); };
        EXPECT_EQ(sign(_mbsicmp(bytes(row.first), bytes(row.second))), row.order) << row.name;
        EXPECT_EQ(sign(_mbsicmp(bytes(row.second), bytes(row.first))), -row.order) << row.name;
    }
}

}  // namespace
}  // namespace platform
