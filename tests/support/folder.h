// The folder that a test of files works in; whole files as text.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace test_support {

inline std::string ReadAll(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// An empty folder that is the current one while the test runs.
class InFolderTest : public testing::Test {
  protected:
    void SetUp() override {
        folder_ = MakeFolder("/tmp");
        before_ = std::filesystem::current_path();
        std::filesystem::current_path(folder_);
    }
    void TearDown() override {
        std::filesystem::current_path(before_);
        std::filesystem::remove_all(folder_);
    }

    // Open to all.
    static std::filesystem::path MakeFolder(const std::string& parent) {
        std::string name = parent + "/kestrel-base-XXXXXX";
        EXPECT_NE(mkdtemp(name.data()), nullptr);
        std::filesystem::permissions(name, std::filesystem::perms::all);
        return name;
    }
    static void Write(const std::filesystem::path& file, std::string_view text) {
        std::ofstream(file, std::ios::binary) << text;
    }
    static std::string Read(const std::filesystem::path& file) { return ReadAll(file); }

    std::filesystem::path folder_;
    std::filesystem::path before_;
};

}  // namespace test_support
