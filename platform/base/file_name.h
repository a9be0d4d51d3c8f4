// File names as the program writes them.
#pragma once

#include "platform/base/ground.h"

#include <source_location>
#include <string>
#include <string_view>

namespace platform {

// "/" and "\" separate folders alike. A file that has the literal name wins, since "\" is
// an ordinary character in names here.
std::string SystemFileName(std::string_view name);
// The same for a call's argument. Null throws ERROR_INVALID_PARAMETER.
std::string FileArgument(const char* name);

// Of a system name: up to its last "/" and with it, or "./".
std::string FolderOf(const std::string& file);

// The platform's code for a call that failed. ERROR_PATH_NOT_FOUND when what was not found is
// the folder.
DWORD FileErrorCode(int error, const std::string& file);
// The same, with the name as detail.
[[noreturn]] void ThrowFileError(
    int error, const std::string& file,
    const std::source_location& where = std::source_location::current());

}  // namespace platform
