// Files that the openssl command makes for the tests of time stamps.
#include "tests/stamps/support.h"

#include <cstdlib>
#include <fstream>
#include <iterator>

namespace stamps_tests {

Folder::Folder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "stampsXXXXXX").string();
    path_ = ::mkdtemp(pattern.data());
}

Folder::~Folder() { std::filesystem::remove_all(path_); }

void Folder::Run(const std::string& command) const {
    const std::string line = "cd '" + path_.string() + "' && { " + command + "; } >log 2>&1";
    if (std::system(line.c_str()) == 0) return;
    std::ifstream log(path_ / "log");
    FAIL() << command << "\n" << std::string(std::istreambuf_iterator<char>(log), {});
}

void Folder::Write(const std::string& name, std::string_view content) const {
    std::ofstream(path_ / name, std::ios::binary) << content;
}

CBlob Folder::Read(const std::string& name) const {
    std::ifstream file(path_ / name, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(file), {});
    return {bytes.data(), static_cast<std::uint32_t>(bytes.size())};
}

}  // namespace stamps_tests
