// Code page 1251 as a table of its irregular quarter.
#include "platform/base/code_page_1251.h"

#include <algorithm>
#include <iterator>

namespace platform {
namespace {

constexpr unsigned char kFirstHigh = 0x80;
constexpr unsigned char kFirstLetter = 0xC0;  // from here the alphabet in its order
constexpr wchar_t kLetterA = 0x0410;
constexpr wchar_t kBehindLetters = 0x0450;

// Of the bytes from 0x80 to 0xBF.
constexpr wchar_t kIrregular[] = {
    0x0402, 0x0403, 0x201A, 0x0453, 0x201E, 0x2026, 0x2020, 0x2021, 0x20AC, 0x2030, 0x0409,
    0x2039, 0x040A, 0x040C, 0x040B, 0x040F, 0x0452, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x0098, 0x2122, 0x0459, 0x203A, 0x045A, 0x045C, 0x045B, 0x045F, 0x00A0,
    0x040E, 0x045E, 0x0408, 0x00A4, 0x0490, 0x00A6, 0x00A7, 0x0401, 0x00A9, 0x0404, 0x00AB,
    0x00AC, 0x00AD, 0x00AE, 0x0407, 0x00B0, 0x00B1, 0x0406, 0x0456, 0x0491, 0x00B5, 0x00B6,
    0x00B7, 0x0451, 0x2116, 0x0454, 0x00BB, 0x0458, 0x0405, 0x0455, 0x0457,
};

wchar_t CharacterOf(unsigned char byte) {
    if (byte < kFirstHigh) return byte;
    if (byte < kFirstLetter) return kIrregular[byte - kFirstHigh];
    return static_cast<wchar_t>(kLetterA + (byte - kFirstLetter));
}

// 0 for a character that has no byte, and for the one that is 0.
unsigned char ByteOf(wchar_t character) {
    if (character >= 0 && character < kFirstHigh) return static_cast<unsigned char>(character);
    if (character >= kLetterA && character < kBehindLetters) {
        return static_cast<unsigned char>(kFirstLetter + (character - kLetterA));
    }
    const auto* const found = std::find(std::begin(kIrregular), std::end(kIrregular), character);
    if (found == std::end(kIrregular)) return 0;
    return static_cast<unsigned char>(kFirstHigh + (found - std::begin(kIrregular)));
}

}  // namespace

std::wstring FromCodePage1251(std::string_view text) {
    std::wstring wide;
    wide.reserve(text.size());
    for (const char byte : text) wide += CharacterOf(static_cast<unsigned char>(byte));
    return wide;
}

std::string ToCodePage1251(std::wstring_view text, char otherwise, bool& missed) {
    std::string narrow;
    narrow.reserve(text.size());
    for (const wchar_t character : text) {
        const unsigned char byte = ByteOf(character);
        const bool none = byte == 0 && character != 0;
        missed |= none;
        narrow += none ? otherwise : static_cast<char>(byte);
    }
    return narrow;
}

}  // namespace platform
