// Which files a mask stands for.
#include "batch/masks.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace batch_tests {
namespace {

struct MaskRow {
    const char* name;
    const char* argument;
    std::vector<std::string> files;
};

const MaskRow kMasks[] = {
    {"in order of bytes", "*.txt", {".d.txt", "B.txt", "a.txt", "\xD0\xB6.txt"}},
    {"folder in front", "sub\\*", {"sub\\-all", "sub\\x.txt"}},
    {"one character", "./sub/x.?xt", {"./sub/x.txt"}},
    {"no mask", "a.txt", {}},
    {"no match", "*.zip", {}},
    {"no such folder", "none/*", {}},
    {"mask of folders", "s*/x.txt", {}},
    {"a file of that name", "what?", {}},
};

TEST(Masks, StandForFiles) {
    namespace fs = std::filesystem;
    const fs::path before = fs::current_path();
    const fs::path folder = fs::path(testing::TempDir()) / "kestrel_masks";
    fs::remove_all(folder);
    fs::create_directories(folder / "sub");
    fs::current_path(folder);
    for (const char* name :
         {"a.txt", "B.txt", ".d.txt", "\xD0\xB6.txt", "what?", "what1", "sub/x.txt", "sub/-all"}) {
        std::ofstream(name) << "";
    }
    for (const MaskRow& row : kMasks) EXPECT_EQ(kestrel::ExpandMask(row.argument), row.files);
    fs::current_path(before);
    fs::remove_all(folder);
}

}  // namespace
}  // namespace batch_tests
