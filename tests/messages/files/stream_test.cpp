// The output side of the streaming road.
#include "messages/files/stream.h"

#include "front/core/catalogue.h"
#include "messages/files/files.h"
#include "messages/files/progress.h"
#include "tests/messages/support.h"

namespace messages_tests {
namespace {

using namespace kestrel;
using std::string_literals::operator""s;

class Streams : public FolderTest {
  protected:
    // Hands `bytes` over in blocks of these sizes, over and over, and ends the stream
    // with the last of them or, if `extraEnd`, with an empty block.
    [[nodiscard]] std::string Streamed(const std::string& bytes,
                                       const std::vector<std::size_t>& cuts, bool base64,
                                       bool extraEnd) const {
        StreamOutput output;
        output.base64 = base64 ? 1 : 0;
        output.file = OutputFile::Open(PathOf("out").c_str());
        std::string block;
        std::size_t at = 0;
        for (std::size_t turn = 0; at < bytes.size(); ++turn) {
            block = bytes.substr(at, cuts[turn % cuts.size()]);
            at += block.size();
            const bool last = at == bytes.size() && !extraEnd;
            EXPECT_TRUE(Give(output, block, last));
        }
        if (extraEnd || bytes.empty()) {
            EXPECT_TRUE(Give(output, "", true));
        }
        EXPECT_FALSE(output.file) << "closed with the last block";
        return ReadAll(PathOf("out"));
    }

    static BOOL Give(StreamOutput& output, std::string block, bool last) {
        return StreamOutputCallback(&output, reinterpret_cast<BYTE*>(block.data()), SizeOf(block),
                                    last ? TRUE : FALSE);
    }
};

TEST_F(Streams, LinesDoNotDependOnTheBlocks) {
    const std::vector<std::vector<std::size_t>> allCuts = {
        {1},     {47},    {48},    {49},         {0, 5, 43, 1},  {65536},
        {98303}, {98304}, {98305}, {47, 200000}, {30, 65536, 18}};
    for (const std::size_t size : {0UL, 1UL, 47UL, 48UL, 49UL, 96UL, 1000UL, 131072UL, 200001UL}) {
        const std::string bytes = Noise(size, 3);
        const std::string expected = Lines64(bytes);
        for (const std::vector<std::size_t>& cuts : allCuts) {
            if (size > 100000 && cuts[0] < 40) continue;
            for (const bool extraEnd : {false, true}) {
                EXPECT_EQ(Streamed(bytes, cuts, true, extraEnd), expected)
                    << size << " by " << cuts[0] << extraEnd;
                EXPECT_EQ(Streamed(bytes, cuts, false, extraEnd), bytes) << size;
            }
        }
    }
}

// The first two fail when the file is closed, the others when the stream's buffer is.
const struct {
    const char* name;
    DWORD base64;
    bool last;
    std::size_t size;
} kFull[] = {
    {"a little, at the end", 0, true, 10},
    {"much as text, in the middle", 1, false, 1000000},
};

TEST_F(Streams, AFullDevice) {
    for (const auto& row : kFull) {
        StreamOutput output;
        output.base64 = row.base64;
        output.file = OutputFile::Open("/dev/full");
        BOOL result = TRUE;
        SetLastError(0);
        EXPECT_EQ(Printed([&] { result = Give(output, Noise(row.size, 4), row.last); }),
                  "Error: Can't open file ''. (0x20000065)\n")
            << row.name;
        EXPECT_FALSE(result) << row.name;
        EXPECT_EQ(GetLastError(), DWORD{ERROR_WRITE_FAULT}) << row.name;
        EXPECT_FALSE(output.file) << row.name;
        EXPECT_TRUE(Give(output, "more", true)) << row.name;
    }
}

// ---- the percent -------------------------------------------------------------

struct PercentRow {
    const char* name;
    LONGLONG size;
    DWORD chunks;
    int percent;
};

constexpr LONGLONG kChunk = 65536;

const PercentRow kPercents[] = {
    {"an empty file", 0, 0, 100},
    {"a pipe", -1, 5, 100},
    {"the second read of one chunk", kChunk, 1, 100},
    {"truncated, not rounded", 3 * kChunk, 2, 66},
    {"4 GiB", 65536 * kChunk, 32768, 50},
    // In double precision these would be 70, 90 and 1.
    {"seven tenths in single precision", 10 * kChunk, 7, 69},
    {"a hundredth in single precision", 1000 * kChunk, 10, 0},
    // Above 2^24 a single counts in steps.
    {"6 TiB and a byte", 99999999 * kChunk + 1, 99999999, 100},
};

TEST(ProgressLine, Percent) {
    for (const PercentRow& row : kPercents) {
        EXPECT_EQ(Percent(row.chunks, row.size), row.percent) << row.name;
    }
}

TEST(ProgressLine, EveryReadPrints) {
    EXPECT_EQ(Printed([] {
                  Progress::Start();
                  Progress progress(2 * kChunk);
                  for (int i = 0; i < 3; ++i) progress.Show();
                  Progress::End();
              }),
              "    \b\b\b\b  0%\b\b\b\b 50%\b\b\b\b100%\b\b\b\b    \n");
}

}  // namespace
}  // namespace messages_tests
