// Masks among the file arguments.
#pragma once

#include <string>
#include <vector>

namespace kestrel {

// The names that match an argument with "*" or "?", ascending by bytes and with the
// argument's folder in front. Empty when the argument is to stay as it stands: it is no
// mask, or names a file itself, or nothing matches.
std::vector<std::string> ExpandMask(const char* argument);

}  // namespace kestrel
