// Laying out the texts of help: no line is wider than a terminal of old.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kestrelctl {

// The pieces with a blank between two, none of them broken. The first line begins at column `at`,
// the others are indented by as much.
std::string Folded(const std::vector<std::string>& pieces, std::size_t at);

// Text whose paragraphs are parted by empty lines; its other line ends count as blanks.
std::string FoldedText(std::string_view text);

// "  left    text", the text in its column; below a left side that reaches into it.
std::string HelpRow(const std::string& left, std::size_t column, std::string_view text);

}  // namespace kestrelctl
