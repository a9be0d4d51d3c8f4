// Files that the openssl command makes for the tests of time stamps.
#include "tests/stamps/support.h"

#include <cstdlib>
#include <fstream>

namespace stamps_tests {

void Folder::Run(const std::string& command) const {
    const std::string line = "cd '" + Path().string() + "' && { " + command + "; } >log 2>&1";
    if (std::system(line.c_str()) != 0)
        FAIL() << command << "\n" << test_support::ReadAll(Path() / "log");
}

void Folder::Write(const std::string& name, std::string_view content) const {
    std::ofstream(Path() / name, std::ios::binary) << content;
}

CBlob Folder::Read(const std::string& name) const {
    const std::string bytes = test_support::ReadAll(Path() / name);
    return {bytes.data(), static_cast<std::uint32_t>(bytes.size())};
}

}  // namespace stamps_tests
