// Where the companion of a file lies.
#include "batch/paths.h"

#include <gtest/gtest.h>

namespace batch_tests {
namespace {

using namespace kestrel;

const struct {
    const char* name;
    const char* source;
    const char* dir;
    const char* folderPart;
    const char* companion;
} kRows[] = {
    {"backslash and the default folder", "data\\a.txt", "./", "data\\", "./\\a.txt.hsh"},
    {"the last separator wins", "a/b\\c/d", "x\\y/z", "a/b/c/", "x/y/z//d.hsh"},
    {"the last separator wins, backwards", "a\\b/c\\d", "x/y\\z", "a\\b\\c\\", "x\\y\\z\\\\d.hsh"},
    {"mixed folder that ends in one", "a", "x\\out/", ".\\", "x/out/a.hsh"},
    {"nothing behind the separator", "data/", "out/", "data/", "out//.hsh"},
    {"empty", "", "", ".\\", "\\.hsh"},
    {"no character set is assumed", "\xFF/\xFE\n", "\x80/", "\xFF/", "\x80//\xFE\n.hsh"},
};

TEST(Paths, Rows) {
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(FolderPart(row.source), row.folderPart);
        EXPECT_EQ(CompanionName(CompanionFolder(row.dir), row.source, ".hsh"), row.companion);
    }
}

}  // namespace
}  // namespace batch_tests
