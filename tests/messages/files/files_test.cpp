// Opening files, and the whole-file road.
#include "messages/files/files.h"

#include "front/core/catalogue.h"
#include "messages/files/any_text.h"
#include "tests/messages/support.h"

namespace messages_tests {
namespace {

using namespace kestrel;
using std::string_literals::operator""s;

constexpr DWORD kFail = 0x80004005;
constexpr DWORD kInvalid = 0x80070057;
constexpr DWORD kTooShort = 0x800700EA;

// ---- DecodeAnyText -----------------------------------------------------------

// "MUJD" is 0x31 'B' 'C'.
const struct {
    const char* name;
    std::string input;
    DWORD capacity;
    DWORD result;
    std::string bytes;
} kAnyTexts[] = {
    {"BASE64 behind a UTF-8 mark", "\xEF\xBB\xBFTUJD", 99, 0, "MBC"},
    {"a UTF-8 mark alone is binary", "\xEF\xBB\xBF", 99, 0, "\xEF\xBB\xBF"},
    {"UTF-16 little endian, half a unit too much", "M\0U\0J\0D\0!"s, 99, 0, "1BC"},
    {"UTF-16 big endian, odd", "\0M\0U\0J\0D\0"s, 99, kInvalid, ""},
    {"UTF-16 little endian, mark and half a unit", "\xFF\xFEQ"s, 99, 0, ""},
    {"UTF-16 big endian with a mark", "\xFE\xFF\0Q\0U\0J\0D"s, 99, 0, "ABC"},
    {"UTF-16 big endian with a mark, odd", "\xFE\xFF\0Q\0"s, 99, kInvalid, ""},
    {"UTF-16 armour with a letter outside the code page", "-\0A\0-\0Q\0\x16\x04U\0J\0D\0-\0"s, 99,
     0, "ABC"},
    {"a mark alone is binary", "\xFF\xFE", 99, 0, "\xFF\xFE"},
    {"binary", "0\x82MM", 99, 0, "0\x82MM"},
    {"a blank makes it binary", " MUJD", 99, 0, " MUJD"},
    {"only the first body", "-X-QUJD-X-REVG-", 99, 0, "ABC"},
    {"armour that never closes", "-----BEGIN X-----\r\nQUJD\r\n", 99, kFail, ""},
    {"armour without a body", "-----BEGIN X-----", 99, kFail, ""},
    {"text, exact room", "MUJD", 3, 0, "1BC"},
    {"text, one short", "MUJD", 2, kTooShort, ""},
};

TEST(AnyText, Recognised) {
    for (const auto& row : kAnyTexts) {
        std::string bytes(row.capacity + 1, '?');
        DWORD length = row.capacity;
        const HRESULT result = DecodeAnyText(AsBytes(row.input), SizeOf(row.input),
                                             reinterpret_cast<BYTE*>(bytes.data()), &length);
        EXPECT_EQ(static_cast<DWORD>(result), row.result) << row.name;
        if (row.result == 0) {
            EXPECT_EQ(bytes.substr(0, length), row.bytes) << row.name;
            length = 0;
            EXPECT_EQ(DecodeAnyText(AsBytes(row.input), SizeOf(row.input), nullptr, &length), 0);
            EXPECT_EQ(length, row.bytes.size()) << row.name << ": the length asked for";
        }
    }
    EXPECT_EQ(static_cast<DWORD>(DecodeAnyText(AsBytes("M"), 1, nullptr, nullptr)), kInvalid);
}

// ---- reading -----------------------------------------------------------------

class WholeFiles : public FolderTest {};

const struct {
    const char* name;
    std::string content;
    bool classified;
    DWORD code;
    std::string bytes;
    int isDer;
} kReads[] = {
    {"empty, as it stands", "", false, 0, "", -1},
    {"empty, classified", "", true, kCannotOpenFile, "", -1},
    {"text, as it stands", "MUJD", false, 0, "MUJD", -1},
    {"binary, classified", "0\x03QUJ", true, 0, "0\x03QUJ", 1},
    {"armour that never closes", "-----BEGIN X-----QUJD", true, kFail, "", 0},
};

TEST_F(WholeFiles, Read) {
    for (const auto& row : kReads) {
        const std::string path = Store("file", row.content);
        BYTE* data = nullptr;
        DWORD length = 99;
        int isDer = -1;
        DWORD code = 0;
        const std::string report = Printed([&] {
            code = ReadFileWhole(path.c_str(), data, length, row.classified ? &isDer : nullptr);
        });
        const BytesHolder holder(data);
        EXPECT_EQ(code, row.code) << row.name;
        EXPECT_EQ(report.empty(), row.code == 0) << row.name << report;
        EXPECT_EQ(std::string(data, data + length), row.bytes) << row.name;
        EXPECT_EQ(isDer, row.isDer) << row.name;
    }
}

// ---- writing -----------------------------------------------------------------

BYTE* Allocated(const std::string& bytes) {
    auto* const data = static_cast<BYTE*>(std::malloc(bytes.size() + 1));
    std::copy_n(AsBytes(bytes), bytes.size(), data);
    return data;
}

// Very short data is refused since its text is not shorter than twice its length.
TEST_F(WholeFiles, WriteBase64ByLength) {
    for (DWORD size = 0; size <= 20; ++size) {
        const bool good = size == 6 || size >= 8;
        std::filesystem::remove(PathOf("text"));
        DWORD code = 0;
        Printed([&] {
            code =
                WriteFileBase64(PathOf("text").c_str(), Allocated(std::string(size, '\0')), size);
        });
        EXPECT_EQ(code, good ? 0 : kBadBase64) << size;
        const std::size_t groups = (size + 2) / 3;
        const std::string written = ReadAll(PathOf("text"));
        EXPECT_EQ(written.size(), good ? groups * 4 + 2 : 0) << size;
        EXPECT_EQ(std::filesystem::exists(PathOf("text")), good) << size;
    }
    EXPECT_EQ(WriteFileBase64(PathOf("text").c_str(), Allocated("ABCDEFGH"), 8), 0U);
    EXPECT_EQ(ReadAll(PathOf("text")), "QUJDREVGR0g=\r\n");
}

// The holders free twice what a writer wrongly kept or freed: the sanitizer tells.
TEST_F(WholeFiles, WriteFailures) {
    for (const std::string& path : {"/dev/full"s, PathOf("missing/file")}) {
        const std::string line = "Error: Can't open file '" + path + "'. (0x20000065)\n";
        for (const std::size_t size : {10UL, 100000UL}) {
            const std::string bytes = Noise(size, 2);
            for (const auto write : {WriteFileRaw, WriteFileBase64}) {
                DWORD code = 0;
                EXPECT_EQ(
                    Printed([&] { code = write(path.c_str(), Allocated(bytes), SizeOf(bytes)); }),
                    line);
                EXPECT_EQ(code, kCannotOpenFile) << path << size;
            }
        }
    }
}

}  // namespace
}  // namespace messages_tests
