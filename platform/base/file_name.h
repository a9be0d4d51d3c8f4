// File names as the program writes them.
#pragma once

#include <string>
#include <string_view>

namespace platform {

// "/" and "\" separate folders alike. A file that has the literal name wins, since "\" is
// an ordinary character in names here.
std::string SystemFileName(std::string_view name);

}  // namespace platform
