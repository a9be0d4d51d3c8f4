#include "base/file_name.h"

#include <sys/stat.h>

#include <algorithm>

namespace platform {

std::string SystemFileName(std::string_view name) {
    std::string literal(name);
    if (literal.find('\\') == std::string::npos) return literal;
    struct stat status {};
    if (lstat(literal.c_str(), &status) == 0) return literal;
    std::replace(literal.begin(), literal.end(), '\\', '/');
    return literal;
}

}  // namespace platform
