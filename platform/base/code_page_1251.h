// Code page 1251, in which Russian systems and pages write Cyrillic.
#pragma once

#include <string>
#include <string_view>

namespace platform {

// Every byte is a character; the one that has none, 0x98, is U+0098.
std::wstring FromCodePage1251(std::string_view text);
// A character that has no byte becomes `otherwise`, and `missed` true.
std::string ToCodePage1251(std::wstring_view text, char otherwise, bool& missed);

}  // namespace platform
