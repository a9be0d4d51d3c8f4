// Text broken into lines for a picture, which has nobody to do it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kestrelctl::message {

// Lines that are no wider than `width` times the size of the font in any ordinary face, broken
// at blanks where there are some. After `most` of them the rest is an ellipsis.
std::vector<std::string> LinesOf(std::string_view text, double width, std::size_t most);

}  // namespace kestrelctl::message
