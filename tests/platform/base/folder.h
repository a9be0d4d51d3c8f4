// The folder that a test of files works in.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace platform {

namespace fs = std::filesystem;

// An empty folder that is the current one while the test runs.
class InFolderTest : public testing::Test {
  protected:
    void SetUp() override {
        folder_ = MakeFolder("/tmp");
        before_ = fs::current_path();
        fs::current_path(folder_);
    }
    void TearDown() override {
        fs::current_path(before_);
        fs::remove_all(folder_);
    }

    // Open to all.
    static fs::path MakeFolder(const std::string& parent) {
        std::string name = parent + "/kestrel-base-XXXXXX";
        EXPECT_NE(mkdtemp(name.data()), nullptr);
        fs::permissions(name, fs::perms::all);
        return name;
    }
    static void Write(const fs::path& file, std::string_view text) {
        std::ofstream(file, std::ios::binary) << text;
    }
    static std::string Read(const fs::path& file) {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    fs::path folder_;
    fs::path before_;
};

}  // namespace platform
