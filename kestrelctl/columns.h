// Text on a terminal: letters of East Asia and pictures take two columns, marks on letters none.
#pragma once

#include <cstddef>
#include <string_view>

namespace kestrelctl {

std::size_t ColumnsOf(char32_t character);
// Of UTF-8; a byte of no character takes one.
std::size_t ColumnsOf(std::string_view text);
// How many bytes at the start fit, whole characters with the marks on them; at least one character.
std::size_t BytesWithin(std::string_view text, std::size_t columns);

}  // namespace kestrelctl
