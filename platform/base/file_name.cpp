// File names as the program writes them, and failures that name one.
#include "platform/base/file_name.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "platform/base/errno_map.h"
#include "platform/base/error.h"

namespace platform {

std::string SystemFileName(std::string_view name) {
    std::string literal(name);
    if (literal.find('\\') == std::string::npos) return literal;
    struct stat status {};
    if (lstat(literal.c_str(), &status) == 0) return literal;
    std::replace(literal.begin(), literal.end(), '\\', '/');
    return literal;
}

std::string FileArgument(const char* name) {
    if (name == nullptr) throw Error(ERROR_INVALID_PARAMETER);
    return SystemFileName(name);
}

std::string FolderOf(const std::string& file) {
    const std::size_t slash = file.rfind('/');
    return slash == std::string::npos ? "./" : file.substr(0, slash + 1);
}

DWORD FileErrorCode(int error, const std::string& file) {
    struct stat status {};
    const bool noFolder = error == ENOENT && stat(FolderOf(file).c_str(), &status) != 0;
    return noFolder ? DWORD{ERROR_PATH_NOT_FOUND} : ErrnoToCode(error);
}

void ThrowFileError(int error, const std::string& file, const std::source_location& where) {
    throw Error(FileErrorCode(error, file), file, where);
}

}  // namespace platform
