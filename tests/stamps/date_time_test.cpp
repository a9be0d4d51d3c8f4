// Times and intervals.
#include "stamps/date_time.h"

#include <ctime>
#include <stdexcept>

#include "tests/stamps/support.h"

namespace stamps_tests {
namespace {

using Ferroline::CDateTime;
using Ferroline::CDateTimeSpan;

// Ticks from 1601 to 1970: 134774 days.
constexpr std::uint64_t kEpoch = 134774ULL * 86400 * 10000000;

std::uint64_t SinceEpoch(std::uint64_t seconds, std::uint64_t microseconds = 0) {
    return kEpoch + seconds * 10000000 + microseconds * 10;
}

// Seconds by `date -u -d ... +%s`.
const struct {
    const char* name;
    const char* text;
    unsigned thrown;
    std::uint64_t ticks;
} kRows[] = {
    {"without Z", "20260101123456", 0, SinceEpoch(1767270896)},
    {"six digits", "20260101123456.000001Z", 0, SinceEpoch(1767270896, 1)},
    {"a point alone", "20260101123456.Z", 0, SinceEpoch(1767270896)},
    {"the first of 1601", "16010101000000Z", 0, 0},
    {"no leap day", "20250229000000Z", kFail, 0},
    {"an offset", "20260101123456+0100", kFail, 0},
    {"a letter in the fraction", "20260101123456.1xZ", kFail, 0},
    {"too short", "202601011234Z", kFail, 0},
};

TEST(DateTime, FromText) {
    for (const auto& row : kRows) {
        CDateTime time;
        EXPECT_EQ(Thrown([&] { time = CDateTime(row.text); }), row.thrown) << row.name;
        if (row.thrown == 0) {
            EXPECT_EQ(time.GetTicks(), row.ticks) << row.name;
        }
    }
    EXPECT_THROW(CDateTime("20260101123456.1234567Z"), std::length_error);
}

TEST(DateTime, Arithmetic) {
    const CDateTime start;
    EXPECT_EQ(start.GetTicks(), kEpoch);
    const CDateTimeSpan hour(3600, 7);
    EXPECT_EQ((start + hour).GetTicks(), SinceEpoch(3600, 7));
    EXPECT_EQ(start + hour - hour, start);
    EXPECT_LT(start, start + hour);
    // The halves: a carry into the high one.
    EXPECT_LT(CDateTime(1, 0xFFFFFFFF), CDateTime(2, 0));
    EXPECT_EQ(CDateTime(0, 10) - CDateTimeSpan(0, 1), CDateTime(0, 0));
    EXPECT_EQ(Thrown([] { (void)(CDateTime(0, 9) - CDateTimeSpan(0, 1)); }), kFail);
    EXPECT_EQ(Thrown([] { (void)(CDateTime(0xFFFFFFFF, 0xFFFFFFFF) + CDateTimeSpan(0, 1)); }),
              kFail);
    EXPECT_EQ(CDateTimeSpan(0xFFFFFFFF).GetTicks(), 42949672950000000ULL);
}

}  // namespace
}  // namespace stamps_tests
