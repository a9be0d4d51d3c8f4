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

// C0 and C1 controls, and the marks that turn the direction of writing (Unicode UAX #9, 2).
constexpr Range kActing[] = {
    {0x00, 0x1F},     {0x7F, 0x9F},     {0x061C, 0x061C},
    {0x200E, 0x200F}, {0x202A, 0x202E}, {0x2066, 0x2069},
};

// In other narrow code pages the bytes from 0x80 on are letters and punctuation.
bool ActsOnTerminal(unsigned character) {
    if (character >= 0x80 && !NarrowIsUtf8()) return false;
    return std::ranges::any_of(kActing, [character](const Range& range) {
        return character >= range.first && character <= range.last;
    });
}

struct Character {
    unsigned value = 0;
    std::size_t length = 1;
};

constexpr unsigned kBeyond = 0x10000;

unsigned LowBits(char byte) { return static_cast<unsigned char>(byte) & 0x3FU; }

// Two or three bytes of UTF-8; what acts on a terminal is never longer. Of four bytes the
// value does not matter; a byte that belongs to nothing stands alone.
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
    if ((first & 0xF8U) == 0xF0U && goesOn(1) && goesOn(2) && goesOn(3)) return {kBeyond, 4};
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
        if (!ActsOnTerminal(character.value) || kept.find(bytes) != kept.npos) {
            shown += bytes;
        } else if (character.length == 1) {
            shown += Hex("\\x", character.value, 2);
        } else {
            shown += Hex("\\u", character.value, 4);
        }
    }
    return shown;
}

}  // namespace kestrel
