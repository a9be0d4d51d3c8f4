// Laying out the texts of help.
#include "kestrelctl/help_text.h"

#include <algorithm>
#include <sstream>

namespace kestrelctl {
namespace {

constexpr std::size_t kWidth = 80;

std::vector<std::string> WordsIn(std::string_view text) {
    std::istringstream stream{std::string(text)};
    std::vector<std::string> words;
    for (std::string word; stream >> word;) words.push_back(word);
    return words;
}

}  // namespace

std::string Folded(const std::vector<std::string>& pieces, std::size_t at) {
    std::string text;
    std::size_t column = at;
    for (const std::string& piece : pieces) {
        if (column > at && column + 1 + piece.size() > kWidth) {
            text += "\n" + std::string(at, ' ');
            column = at;
        } else if (column > at) {
            text += ' ';
            ++column;
        }
        text += piece;
        column += piece.size();
    }
    return text;
}

std::string FoldedText(std::string_view text) {
    std::string folded;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find("\n\n"), text.size());
        folded += (folded.empty() ? "" : "\n\n") + Folded(WordsIn(text.substr(0, end)), 0);
        text.remove_prefix(std::min(end + 2, text.size()));
    }
    return folded;
}

std::string HelpRow(const std::string& left, std::size_t column, std::string_view text) {
    std::string row = "  " + left;
    const bool fits = row.size() < column;
    row += fits ? std::string(column - row.size(), ' ') : "\n" + std::string(column, ' ');
    return row + Folded(WordsIn(text), column);
}

}  // namespace kestrelctl
