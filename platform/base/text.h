// Narrow text is UTF-8, wide text one code point a character.
#pragma once

#include <string>
#include <string_view>

namespace platform {

// One of 0 to 9, whatever the C library's locale is.
constexpr bool IsDigit(char character) { return character >= '0' && character <= '9'; }

// Both throw ERROR_NO_UNICODE_TRANSLATION on text that is not well formed.
std::wstring Widen(std::string_view text);
std::string Narrow(std::wstring_view text);

// A byte that belongs to no well-formed character is taken alone, as kBadByte plus its
// value. The sums are surrogates, which no well-formed text holds.
inline constexpr wchar_t kBadByte = 0xDC00;
inline constexpr wchar_t kReplacement = 0xFFFD;

constexpr bool IsSurrogate(wchar_t character) { return character >= 0xD800 && character <= 0xDFFF; }

// Takes the first character off a text that is not empty (Unicode, table 3-7: no overlong
// forms, no surrogates, nothing past U+10FFFF).
wchar_t TakeCharacter(std::string_view& text) noexcept;
// Appends a code point; one that UTF-8 has no form for becomes kReplacement.
void AppendUtf8(std::string& text, wchar_t character);

// True for what acts on a terminal in place of being shown, turns the direction of writing, or
// is not seen at all: names with it could pass for others.
bool IsHidden(wchar_t character) noexcept;

// Case folded for comparison of names: simple one-to-one folding of the Latin, Greek,
// Cyrillic and Armenian letters, whatever the C library's locale is.
wchar_t FoldCase(wchar_t character) noexcept;
std::wstring FoldCase(std::wstring_view text);

// Negative, zero or positive, as the folded texts compare. Bytes that are no character
// compare as themselves, so that the order is total.
int CompareFolded(std::string_view first, std::string_view second) noexcept;
bool SameName(std::string_view first, std::string_view second);

}  // namespace platform
