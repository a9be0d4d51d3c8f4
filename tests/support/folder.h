// The folder that a test of files works in; whole files as text; what was printed.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
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

// What the routine printed.
template <typename Action>
std::string Printed(Action routine) {
    testing::internal::CaptureStdout();
    routine();
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

// A folder that goes with the object. A child of fork leaves it to its parent.
class TemporaryFolder {
  public:
    explicit TemporaryFolder(const std::string& parent = "/tmp") {
        std::string name = parent + "/kestrel-XXXXXX";
        if (mkdtemp(name.data()) == nullptr) std::abort();
        path_ = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        if (getpid() == owner_) std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    [[nodiscard]] const std::filesystem::path& Path() const { return path_; }

  private:
    std::filesystem::path path_;
    pid_t owner_ = getpid();
};

// An empty folder, open to all, that is the current one while the test runs.
class InFolderTest : public testing::Test {
  protected:
    void SetUp() override {
        std::filesystem::permissions(folder_, std::filesystem::perms::all);
        std::filesystem::current_path(folder_);
    }
    void TearDown() override { std::filesystem::current_path(before_); }

    static void Write(const std::filesystem::path& file, std::string_view text) {
        std::ofstream(file, std::ios::binary) << text;
    }
    static std::string Read(const std::filesystem::path& file) { return ReadAll(file); }

    const TemporaryFolder made_;
    const std::filesystem::path folder_ = made_.Path();
    const std::filesystem::path before_ = std::filesystem::current_path();
};

}  // namespace test_support
