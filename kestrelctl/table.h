// A table as lines of text: whole, or laid out for the width of a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kestrelctl {

// No width: nothing has to fit.
inline constexpr std::size_t kNoWidth = 0;

// Columns of the terminal on standard output, 80 when it does not tell; kNoWidth for no terminal.
std::size_t TerminalWidth();

// Text in lines of that width, at blanks where there are some; one line for no width.
std::vector<std::string> WrappedLines(std::string_view text, std::size_t width);

// The first of `rows` is the head; all are as long as that, in text that may be shown. Where the
// width does not hold them, long cells go on in the next line; before that gets too narrow to read,
// the columns named `spare` go, the first one first, and a line tells which; and what does not
// fit even then is told row by row, a line for each value.
std::vector<std::string> TableLines(std::vector<std::vector<std::string>> rows,
                                    const std::vector<std::string>& spare, std::size_t width);

}  // namespace kestrelctl
