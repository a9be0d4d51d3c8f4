// Which files a mask stands for.
#include "batch/masks.h"

#include "tests/support/folder.h"

namespace batch_tests {
namespace {

const struct {
    const char* name;
    const char* argument;
    std::vector<std::string> files;
} kMasks[] = {
    {"in order of bytes", "*.txt", {".d.txt", "B.txt", "a.txt", "\xD0\xB6.txt"}},
    {"folder in front", "sub\\*", {"sub\\-all", "sub\\x.txt"}},
    {"one character", "./sub/x.?xt", {"./sub/x.txt"}},
    {"no mask", "a.txt", {}},
    {"no such folder", "none/*", {}},
    {"mask of folders", "s*/x.txt", {}},
    {"a file of that name", "what?", {}},
};

using Masks = test_support::InFolderTest;

TEST_F(Masks, StandForFiles) {
    std::filesystem::create_directory("sub");
    for (const char* name :
         {"a.txt", "B.txt", ".d.txt", "\xD0\xB6.txt", "what?", "what1", "sub/x.txt", "sub/-all"}) {
        Write(name, "");
    }
    for (const auto& row : kMasks) EXPECT_EQ(kestrel::ExpandMask(row.argument), row.files);
}

}  // namespace
}  // namespace batch_tests
