// Strangers' text made harmless for a terminal.
#include <algorithm>

#include "front/core/catalogue.h"

namespace kestrel {

namespace {

// True where the narrow code page is UTF-8: two bytes are one character there.
bool NarrowIsUtf8() {
    static const bool utf8 = MultiByteToWideChar(CP_ACP, 0, "\xC2\x80", 2, nullptr, 0) == 1;
    return utf8;
}

struct Range {
    unsigned first;
    unsigned last;
};

// C0 and C1 controls; marks of direction (Unicode UAX #9, 2); ends of lines and paragraphs; what
// is ignored where it cannot be shown (Default_Ignorable_Code_Point of UAX #44), with the blank
// and the annotation marks among it.
constexpr Range kHidden[] = {
    {0x0000, 0x001F}, {0x007F, 0x009F},   {0x00AD, 0x00AD},   {0x034F, 0x034F},   {0x061C, 0x061C},
    {0x115F, 0x1160}, {0x17B4, 0x17B5},   {0x180B, 0x180F},   {0x200B, 0x200F},   {0x2028, 0x202F},
    {0x2060, 0x206F}, {0x3164, 0x3164},   {0xFE00, 0xFE0F},   {0xFEFF, 0xFEFF},   {0xFFA0, 0xFFA0},
    {0xFFF0, 0xFFFB}, {0x1BCA0, 0x1BCA3}, {0x1D173, 0x1D17A}, {0xE0000, 0xE0FFF},
};

// In other narrow code pages the bytes from 0x80 on are letters and punctuation.
bool IsHidden(unsigned character) {
    if (character >= 0x80 && !NarrowIsUtf8()) return false;
    return std::ranges::any_of(kHidden, [character](const Range& range) {
        return character >= range.first && character <= range.last;
    });
}

struct Character {
    unsigned value = 0;
    std::size_t length = 1;
};

unsigned LowBits(char byte) { return static_cast<unsigned char>(byte) & 0x3FU; }

// A byte that belongs to nothing stands alone.
Character FirstOf(std::string_view text) {
    const unsigned first = static_cast<unsigned char>(text[0]);
    if (first < 0x80 || !NarrowIsUtf8()) return {first, 1};
    const auto goesOn = [text](std::size_t at) {
        return at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80U;
    };
    if ((first & 0xE0U) == 0xC0U && goesOn(1)) return {(first & 0x1FU) << 6 | LowBits(text[1]), 2};
    if ((first & 0xF0U) == 0xE0U && goesOn(1) && goesOn(2)) {
        return {(first & 0xFU) << 12 | LowBits(text[1]) << 6 | LowBits(text[2]), 3};
    }
    if ((first & 0xF8U) == 0xF0U && goesOn(1) && goesOn(2) && goesOn(3)) {
        return {(first & 0x7U) << 18 | LowBits(text[1]) << 12 | LowBits(text[2]) << 6 |
                    LowBits(text[3]),
                4};
    }
    return {first, 1};
}

std::string Hex(const char* prefix, unsigned value, int digits) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text = prefix;
    for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) text += kDigits[value >> shift & 15];
    return text;
}

}  // namespace

std::string Escaped(std::string_view text, std::string_view kept) {
    std::string shown;
    while (!text.empty()) {
        const Character character = FirstOf(text);
        const std::string_view bytes = text.substr(0, character.length);
        text.remove_prefix(character.length);
        if (!IsHidden(character.value) || kept.find(bytes) != kept.npos) {
            shown += bytes;
        } else if (character.length == 1) {
            shown += Hex("\\x", character.value, 2);
        } else if (character.length == 4) {
            shown += Hex("\\U", character.value, 8);
        } else {
            shown += Hex("\\u", character.value, 4);
        }
    }
    return shown;
}

}  // namespace kestrel
