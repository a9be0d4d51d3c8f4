// FILETIME and SYSTEMTIME. Expected counts come from `date -u +%s` and the difference of
// the epochs, 11644473600 seconds.
#include "platform/base/ticks.h"

#include <gtest/gtest.h>

#include "tests/support/workshop.h"

namespace platform {
namespace {

using testing::Outcome;

constexpr Ticks FromUnix(std::int64_t seconds) {
    return static_cast<Ticks>(seconds + 11644473600) * 10000000;
}

TEST(Ticks, CalendarBothWays) {
    const struct {
        const char* name;
        Ticks ticks;
        SYSTEMTIME time;
    } rows[] = {
        {"first millisecond", 10000, {1601, 1, 1, 1, 0, 0, 0, 1}},
        {"1600-year leap day", FromUnix(951782400), {2000, 2, 2, 29, 0, 0, 0, 0}},
        {"end of a common February", FromUnix(-2203891201), {1900, 2, 3, 28, 23, 59, 59, 0}},
        {"past 32 bits", FromUnix(4102444799), {2099, 12, 4, 31, 23, 59, 59, 0}},
        {"last", 0x7FFF35F4F06C58F0, {30827, 12, 5, 31, 23, 59, 59, 999}},
    };
    for (const auto& row : rows) {
        const FILETIME fileTime = FileTimeOf(row.ticks);
        SYSTEMTIME time{};
        ASSERT_TRUE(FileTimeToSystemTime(&fileTime, &time)) << row.name;
        const auto text = [](const SYSTEMTIME& t) {
            char buffer[80];
            std::snprintf(buffer, sizeof buffer, "%d-%02d-%02d(%d) %02d:%02d:%02d.%03d", t.wYear,
                          t.wMonth, t.wDay, t.wDayOfWeek, t.wHour, t.wMinute, t.wSecond,
                          t.wMilliseconds);
            return std::string(buffer);
        };
        EXPECT_EQ(text(time), text(row.time)) << row.name;
        FILETIME back{};
        SYSTEMTIME wrongDay = row.time;
        wrongDay.wDayOfWeek = 77;  // is not looked at
        ASSERT_TRUE(SystemTimeToFileTime(&wrongDay, &back)) << row.name;
        EXPECT_EQ(TicksOf(back), row.ticks) << row.name;
    }
}

TEST(Ticks, ImpossibleTimesAreRefused) {
    const struct {
        const char* name;
        SYSTEMTIME time;
    } rows[] = {
        {"year before the first", {1600, 12, 0, 31, 23, 59, 59, 999}},
        {"year behind the last", {30828, 1, 0, 1, 0, 0, 0, 0}},
        {"February 29 of 1900", {1900, 2, 0, 29, 0, 0, 0, 0}},
        {"hour 24", {2020, 1, 0, 1, 24, 0, 0, 0}},
        {"leap second", {2016, 12, 0, 31, 23, 59, 60, 0}},
    };
    for (const auto& row : rows) {
        FILETIME fileTime{1, 2};
        SetLastError(0);
        EXPECT_EQ(Outcome(SystemTimeToFileTime(&row.time, &fileTime)),
                  DWORD{ERROR_INVALID_PARAMETER})
            << row.name;
        EXPECT_EQ(TicksOf(fileTime), (Ticks{2} << 32) + 1) << row.name;
    }
    SYSTEMTIME time{};
    const FILETIME topBit{0, 0x80000000};
    EXPECT_FALSE(FileTimeToSystemTime(&topBit, &time));
    EXPECT_FALSE(FileTimeToSystemTime(nullptr, &time));
}

}  // namespace
}  // namespace platform
