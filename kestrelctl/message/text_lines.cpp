// Widths of characters, guessed on the safe side.
#include "kestrelctl/message/text_lines.h"

#include <algorithm>

#include "platform/base/text.h"

namespace kestrelctl::message {
namespace {

constexpr double kNarrow = 0.36;
constexpr double kOrdinary = 0.68;
constexpr double kWide = 1.05;

// Of a size of 1. Faces differ; these are upper bounds for those that browsers draw with.
double WidthOf(wchar_t character) {
    constexpr std::wstring_view kNarrowOnes = L" .,:;'!|()[]-il";
    constexpr std::wstring_view kWideOnes = L"mw@%&—…→ЖМФШЩЫЮжмфшщыюЪъЉЊљњ";
    if (kNarrowOnes.find(character) != kNarrowOnes.npos) return kNarrow;
    const bool capital =
        (character >= L'A' && character <= L'Z') || (character >= L'А' && character <= L'Я');
    const bool wide = capital || character > 0x4FF || kWideOnes.find(character) != kWideOnes.npos;
    return wide ? kWide : kOrdinary;
}

// The end of the first line: behind the last blank that fits, else where the width ends.
std::size_t EndOfLine(std::string_view text, double width) {
    std::size_t blank = 0;
    std::string_view rest = text;
    while (!rest.empty()) {
        const std::size_t at = text.size() - rest.size();
        const wchar_t character = platform::TakeCharacter(rest);
        width -= WidthOf(character);
        if (width < 0 && at != 0) return blank != 0 ? blank : at;
        if (character == L' ') blank = text.size() - rest.size();
    }
    return text.size();
}

}  // namespace

std::vector<std::string> LinesOf(std::string_view text, double width, std::size_t most) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        // The ellipsis has its place on the last line that there may be.
        const bool last = lines.size() + 1 == most;
        std::size_t end = EndOfLine(text, width);
        const bool cut = last && end < text.size();
        if (cut) end = EndOfLine(text, width - kWide);
        lines.emplace_back(text.substr(0, end));
        if (cut) lines.back() += "…";
        text.remove_prefix(last ? text.size() : end);
    }
    return lines;
}

}  // namespace kestrelctl::message
