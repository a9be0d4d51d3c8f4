// Files compared as the system tells them apart.
#include "kestrelctl/message/same_file.h"

#include <filesystem>

namespace kestrelctl::message {
namespace {

namespace fs = std::filesystem;

// A link may lead to a name that is still free: that is where the file will be.
fs::path WhereItWillBe(fs::path name) {
    constexpr int kMostLinks = 40;  // as many as the system follows itself
    std::error_code error;
    for (int links = 0; links < kMostLinks && fs::is_symlink(name, error); ++links) {
        name = name.parent_path() / fs::read_symlink(name, error);
    }
    return name;
}

bool IsSameFolder(const fs::path& first, const fs::path& second) {
    std::error_code error;
    return fs::equivalent(first.empty() ? "." : first, second.empty() ? "." : second, error);
}

}  // namespace

bool IsSameFile(const std::string& first, const std::string& second) {
    std::error_code error;
    if (fs::exists(first, error) || fs::exists(second, error)) {
        return fs::equivalent(first, second, error);
    }
    const fs::path one = WhereItWillBe(first);
    const fs::path other = WhereItWillBe(second);
    return one.filename() == other.filename() &&
           IsSameFolder(one.parent_path(), other.parent_path());
}

}  // namespace kestrelctl::message
