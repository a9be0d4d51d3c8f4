// Narrow and wide text, and the folding of case.
#include "platform/base/text.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "platform/base/error.h"

namespace platform {
namespace {

// ---- UTF-8 ---------------------------------------------------------------------

struct LeadForm {
    unsigned char first;
    unsigned char last;
    unsigned char secondLow;  // bounds of the byte behind the lead
    unsigned char secondHigh;
    unsigned char length;
};

// Unicode, table 3-7: bytes that a lead byte may be followed by. Every byte behind the
// second is in 80..BF.
constexpr LeadForm kLeadForms[] = {
    {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3}, {0xE1, 0xEC, 0x80, 0xBF, 3},
    {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3}, {0xF0, 0xF0, 0x90, 0xBF, 4},
    {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4},
};

const LeadForm* FormOf(unsigned char lead) {
    for (const LeadForm& form : kLeadForms) {
        if (lead >= form.first && lead <= form.last) return &form;
    }
    return nullptr;
}

bool FollowsForm(std::string_view text, const LeadForm& form) {
    if (text.size() < form.length) return false;
    const auto second = static_cast<unsigned char>(text[1]);
    if (second < form.secondLow || second > form.secondHigh) return false;
    for (std::size_t i = 2; i < form.length; ++i) {
        if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) return false;
    }
    return true;
}

// ---- characters that do not show -------------------------------------------------

struct Range {
    wchar_t first;
    wchar_t last;
};

// C0, DEL and C1; marks of direction (UAX #9, 2); ends of lines and paragraphs; what is ignored
// where it cannot be shown (Default_Ignorable_Code_Point of UAX #44), with the blank and the
// annotation marks among it. The program has the same list for itself (tests/house/hidden_test.py).
constexpr Range kHidden[] = {
    {0x0000, 0x001F}, {0x007F, 0x009F},   {0x00AD, 0x00AD},   {0x034F, 0x034F},   {0x061C, 0x061C},
    {0x115F, 0x1160}, {0x17B4, 0x17B5},   {0x180B, 0x180F},   {0x200B, 0x200F},   {0x2028, 0x202F},
    {0x2060, 0x206F}, {0x3164, 0x3164},   {0xFE00, 0xFE0F},   {0xFEFF, 0xFEFF},   {0xFFA0, 0xFFA0},
    {0xFFF0, 0xFFFB}, {0x1BCA0, 0x1BCA3}, {0x1D173, 0x1D17A}, {0xE0000, 0xE0FFF},
};

// ---- folding -------------------------------------------------------------------

// Capitals and the way to their small letters. With `pairs`, capitals and small letters
// alternate from `first` on and the capital is every second one.
struct FoldRange {
    std::uint16_t first;
    std::uint16_t last;
    std::int16_t offset;
    bool pairs;
};

// Unicode, CaseFolding.txt, statuses C and S, sorted by first letter.
constexpr FoldRange kFoldRanges[] = {
    {0x0041, 0x005A, 32, false}, {0x00B5, 0x00B5, 775, false}, {0x00C0, 0x00D6, 32, false},
    {0x00D8, 0x00DE, 32, false}, {0x0100, 0x012E, 1, true},    {0x0132, 0x0136, 1, true},
    {0x0139, 0x0147, 1, true},   {0x014A, 0x0176, 1, true},    {0x0178, 0x0178, -121, false},
    {0x0179, 0x017D, 1, true},   {0x0386, 0x0386, 38, false},  {0x0388, 0x038A, 37, false},
    {0x038C, 0x038C, 64, false}, {0x038E, 0x038F, 63, false},  {0x0391, 0x03A1, 32, false},
    {0x03A3, 0x03AB, 32, false}, {0x03C2, 0x03C2, 1, false},   {0x0400, 0x040F, 80, false},
    {0x0410, 0x042F, 32, false}, {0x0460, 0x0480, 1, true},    {0x048A, 0x04BE, 1, true},
    {0x04C0, 0x04C0, 15, false}, {0x04C1, 0x04CD, 1, true},    {0x04D0, 0x052E, 1, true},
    {0x0531, 0x0556, 48, false}, {0x1E00, 0x1E94, 1, true},    {0x1EA0, 0x1EFE, 1, true},
    {0xFF21, 0xFF3A, 32, false},
};

}  // namespace

bool IsHidden(wchar_t character) noexcept {
    return std::ranges::any_of(kHidden, [character](const Range& range) {
        return range.first <= character && character <= range.last;
    });
}

wchar_t TakeCharacter(std::string_view& text) noexcept {
    const auto lead = static_cast<unsigned char>(text.front());
    const LeadForm* form = lead < 0x80 ? nullptr : FormOf(lead);
    if (form == nullptr || !FollowsForm(text, *form)) {
        text.remove_prefix(1);
        return lead < 0x80 ? static_cast<wchar_t>(lead) : kBadByte + static_cast<wchar_t>(lead);
    }
    std::uint32_t point = lead & (0x7FU >> form->length);
    for (std::size_t i = 1; i < form->length; ++i) {
        point = (point << 6) | (static_cast<unsigned char>(text[i]) & 0x3FU);
    }
    text.remove_prefix(form->length);
    return static_cast<wchar_t>(point);
}

void AppendUtf8(std::string& text, wchar_t character) {
    if (character < 0 || character > 0x10FFFF || IsSurrogate(character)) character = kReplacement;
    const auto point = static_cast<std::uint32_t>(character);
    const auto put = [&](std::uint32_t byte) { text += static_cast<char>(byte); };
    if (point < 0x80) {
        put(point);
        return;
    }
    if (point < 0x800) {
        put(0xC0 | (point >> 6));
    } else {
        if (point < 0x10000) {
            put(0xE0 | (point >> 12));
        } else {
            put(0xF0 | (point >> 18));
            put(0x80 | ((point >> 12) & 0x3F));
        }
        put(0x80 | ((point >> 6) & 0x3F));
    }
    put(0x80 | (point & 0x3F));
}

std::wstring Widen(std::string_view text) {
    std::wstring wide;
    wide.reserve(text.size());
    while (!text.empty()) {
        const wchar_t character = TakeCharacter(text);
        if (IsSurrogate(character)) throw Error(ERROR_NO_UNICODE_TRANSLATION);
        wide += character;
    }
    return wide;
}

std::string Narrow(std::wstring_view text) {
    std::string narrow;
    narrow.reserve(text.size());
    for (const wchar_t character : text) {
        if (character < 0 || character > 0x10FFFF || IsSurrogate(character)) {
            throw Error(ERROR_NO_UNICODE_TRANSLATION);
        }
        AppendUtf8(narrow, character);
    }
    return narrow;
}

wchar_t FoldCase(wchar_t character) noexcept {
    const auto* const range =
        std::find_if(std::begin(kFoldRanges), std::end(kFoldRanges),
                     [&](const FoldRange& candidate) { return character <= candidate.last; });
    if (range == std::end(kFoldRanges) || character < range->first) return character;
    if (range->pairs && (character - range->first) % 2 != 0) return character;
    return character + range->offset;
}

std::wstring FoldCase(std::wstring_view text) {
    std::wstring folded(text);
    for (wchar_t& character : folded) character = FoldCase(character);
    return folded;
}

int CompareFolded(std::string_view first, std::string_view second) noexcept {
    while (!first.empty() && !second.empty()) {
        const wchar_t left = FoldCase(TakeCharacter(first));
        const wchar_t right = FoldCase(TakeCharacter(second));
        if (left != right) return left < right ? -1 : 1;
    }
    return static_cast<int>(!first.empty()) - static_cast<int>(!second.empty());
}

bool SameName(std::string_view first, std::string_view second) {
    return CompareFolded(first, second) == 0;
}

}  // namespace platform
