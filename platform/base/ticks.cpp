// Times as counts of 100 ns, and the calendar.
#include "platform/base/ticks.h"

#include <chrono>

#include "platform/base/error.h"

namespace platform {
namespace {

constexpr Ticks kTicksPerMillisecond = kTicksPerSecond / 1000;
constexpr Ticks kTicksPerDay = 86400 * kTicksPerSecond;
// A FILETIME with the top bit set is none.
constexpr Ticks kTickLimit = Ticks{1} << 63;
constexpr WORD kFirstYear = 1601;
constexpr WORD kLastYear = 30827;

// The calendar of <chrono> is proleptic Gregorian up to year 32767.
std::chrono::sys_days DayOf(Ticks ticks) {
    constexpr auto first = std::chrono::sys_days(std::chrono::year(kFirstYear) / 1 / 1);
    return first + std::chrono::days(static_cast<int>(ticks / kTicksPerDay));
}

}  // namespace

SYSTEMTIME Split(Ticks ticks) {
    if (ticks >= kTickLimit) throw Error(ERROR_INVALID_PARAMETER);
    const std::chrono::sys_days day = DayOf(ticks);
    const std::chrono::year_month_day date(day);
    const Ticks milliseconds = ticks % kTicksPerDay / kTicksPerMillisecond;
    const auto word = [](auto value) { return static_cast<WORD>(value); };
    return {word(static_cast<int>(date.year())),
            word(static_cast<unsigned>(date.month())),
            word(std::chrono::weekday(day).c_encoding()),
            word(static_cast<unsigned>(date.day())),
            word(milliseconds / 3'600'000),
            word(milliseconds / 60'000 % 60),
            word(milliseconds / 1000 % 60),
            word(milliseconds % 1000)};
}

Ticks Join(const SYSTEMTIME& time) {
    const std::chrono::year_month_day date(std::chrono::year(time.wYear),
                                           std::chrono::month(time.wMonth),
                                           std::chrono::day(time.wDay));
    if (time.wYear < kFirstYear || time.wYear > kLastYear || !date.ok() || time.wHour > 23 ||
        time.wMinute > 59 || time.wSecond > 59 || time.wMilliseconds > 999) {
        throw Error(ERROR_INVALID_PARAMETER);
    }
    const auto days = std::chrono::sys_days(date) - DayOf(0);
    const Ticks seconds = Ticks{time.wHour} * 3600 + Ticks{time.wMinute} * 60 + time.wSecond;
    return static_cast<Ticks>(days.count()) * kTicksPerDay + seconds * kTicksPerSecond +
           time.wMilliseconds * kTicksPerMillisecond;
}

Ticks CurrentTicks() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return kUnixEpoch + static_cast<Ticks>(now.tv_sec) * kTicksPerSecond +
           static_cast<Ticks>(now.tv_nsec) / 100;
}

}  // namespace platform
