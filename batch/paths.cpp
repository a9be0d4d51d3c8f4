// Where the companion of a file lies.
#include "batch/paths.h"

#include <algorithm>

namespace kestrel {
namespace {

constexpr char kSeparators[] = "/\\";
constexpr char kDefaultSeparator = '\\';

std::size_t LastSeparator(std::string_view path) { return path.find_last_of(kSeparators); }

char SeparatorOf(std::string_view path) {
    const std::size_t last = LastSeparator(path);
    return last == std::string_view::npos ? kDefaultSeparator : path[last];
}

std::string Normalised(std::string_view path) {
    std::string normalised(path);
    const char separator = SeparatorOf(path);
    std::replace_if(
        normalised.begin(), normalised.end(),
        [](char character) { return character == '/' || character == '\\'; }, separator);
    return normalised;
}

}  // namespace

std::string FolderPart(std::string_view path) {
    const std::size_t last = LastSeparator(path);
    if (last == std::string_view::npos) return {'.', kDefaultSeparator};
    return Normalised(path).substr(0, last + 1);
}

std::string CompanionFolder(std::string_view value) {
    std::string folder = Normalised(value);
    const char separator = SeparatorOf(value);
    if (!folder.ends_with(separator)) folder += separator;
    return folder;
}

std::string CompanionName(std::string_view folder, std::string_view source,
                          std::string_view extension) {
    const std::size_t last = LastSeparator(source);
    std::string name(folder);
    name += last == std::string_view::npos ? source : source.substr(last);
    name += extension;
    return name;
}

}  // namespace kestrel
