// The generator as a program: its exit status, and what it writes.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

namespace fs = std::filesystem;

class Program : public testing::Test {
  protected:
    Program() { fs::create_directories(folder_); }
    ~Program() override { fs::remove_all(folder_); }

    void Write(const std::string& name, const std::string& text) const {
        std::ofstream(folder_ / name) << text;
    }
    [[nodiscard]] int Run(const std::string& arguments) const {
        const std::string command =
            "cd " + folder_.string() + " && " + ASN1GEN + " " + arguments + " >errors 2>&1";
        return WEXITSTATUS(std::system(command.c_str()));
    }
    [[nodiscard]] std::string Read(const std::string& name) const {
        std::ifstream in(folder_ / name);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    fs::path folder_ = fs::temp_directory_path() / ("asn1gen-" + std::to_string(getpid()));
};

TEST_F(Program, ExitStatusAndErrors) {
    Write("good.asn1", "A DEFINITIONS ::= BEGIN T ::= NULL END");
    Write("bad.asn1", "B DEFINITIONS ::= BEGIN\nU ::= REAL\nEND");
    Write("file", "");
    const struct {
        const char* arguments;
        int status;
        const char* errors;
    } rows[] = {
        {"", 2, "Usage: asn1gen -o FOLDER FILE.asn1...\n"},
        {"-o out", 2, "Usage: asn1gen -o FOLDER FILE.asn1...\n"},
        {"-o out good.asn1 none.asn1", 1, "asn1gen: cannot read none.asn1\n"},
        {"-o out good.asn1 bad.asn1", 1, "bad.asn1:2:7: REAL is not supported\n"},
        {"-o file/out good.asn1", 1, "asn1gen: cannot write asn1data/records.h\n"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Run(row.arguments), row.status) << row.arguments;
        EXPECT_EQ(Read("errors"), row.errors) << row.arguments;
        EXPECT_FALSE(fs::exists(folder_ / "out")) << row.arguments;
    }
}

TEST_F(Program, LeavesUnchangedFilesAlone) {
    Write("a.asn1", "A-B DEFINITIONS ::= BEGIN T ::= NULL END");
    ASSERT_EQ(Run("-o out a.asn1"), 0);
    const fs::path header = folder_ / "out/asn1data/A_B.h";
    const fs::path source = folder_ / "out/asn1data/A_B.cpp";
    const auto old = fs::file_time_type::clock::now() - std::chrono::hours(1);
    fs::last_write_time(header, old);
    fs::last_write_time(source, old);
    Write("a.asn1", "A-B DEFINITIONS ::= BEGIN T ::= BOOLEAN END");
    ASSERT_EQ(Run("-o out a.asn1"), 0);
    EXPECT_EQ(fs::last_write_time(header), old);
    EXPECT_NE(fs::last_write_time(source), old);
}

}  // namespace
