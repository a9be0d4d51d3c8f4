// Masks among the file arguments of the batch commands.
#include "batch/masks.h"

#include <windows.h>

#include <algorithm>
#include <cstring>

namespace kestrel {
namespace {

bool IsMask(const char* argument) {
    return std::strpbrk(argument, "*?") != nullptr &&
           GetFileAttributesA(argument) == INVALID_FILE_ATTRIBUTES;
}

bool IsFolderItself(const char* name) {
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

// A folder that cannot be read to its end gives none: a part would pass for the whole.
std::vector<std::string> MatchesOf(const char* mask) {
    std::vector<std::string> names;
    WIN32_FIND_DATAA found{};
    const HANDLE search = FindFirstFileA(mask, &found);
    if (search == INVALID_HANDLE_VALUE) return names;
    do {
        if (!IsFolderItself(found.cFileName)) names.emplace_back(found.cFileName);
    } while (FindNextFileA(search, &found));
    if (GetLastError() != ERROR_NO_MORE_FILES) names.clear();
    FindClose(search);
    return names;
}

}  // namespace

std::vector<std::string> ExpandMask(const char* argument) {
    if (!IsMask(argument)) return {};
    std::vector<std::string> names = MatchesOf(argument);
    std::sort(names.begin(), names.end());
    const std::string text = argument;
    const std::string folder = text.substr(0, text.find_last_of("/\\") + 1);
    for (std::string& name : names) name.insert(0, folder);
    return names;
}

}  // namespace kestrel
