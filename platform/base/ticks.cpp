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

SYSTEMTIME Split(Ticks ticks) {
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

// The day of the week is not looked at.
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

}  // namespace

Ticks CurrentTicks() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return kUnixEpoch + static_cast<Ticks>(now.tv_sec) * kTicksPerSecond +
           static_cast<Ticks>(now.tv_nsec) / 100;
}

std::time_t UnixTimeOf(const FILETIME& time) {
    return static_cast<std::time_t>(TicksOf(time) / kTicksPerSecond) -
           static_cast<std::time_t>(kUnixEpoch / kTicksPerSecond);
}

}  // namespace platform

BOOL WINAPI FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* systemTime) {
    return platform::GuardedBool([&] {
        if (fileTime == nullptr || systemTime == nullptr ||
            platform::TicksOf(*fileTime) >= platform::kTickLimit) {
            throw platform::Error(ERROR_INVALID_PARAMETER);
        }
        *systemTime = platform::Split(platform::TicksOf(*fileTime));
    });
}

BOOL WINAPI SystemTimeToFileTime(const SYSTEMTIME* systemTime, FILETIME* fileTime) {
    return platform::GuardedBool([&] {
        if (fileTime == nullptr || systemTime == nullptr) {
            throw platform::Error(ERROR_INVALID_PARAMETER);
        }
        *fileTime = platform::FileTimeOf(platform::Join(*systemTime));
    });
}

void WINAPI GetSystemTimeAsFileTime(FILETIME* fileTime) {
    *fileTime = platform::FileTimeOf(platform::CurrentTicks());
}

LONG WINAPI CompareFileTime(const FILETIME* first, const FILETIME* second) {
    const platform::Ticks left = platform::TicksOf(*first);
    const platform::Ticks right = platform::TicksOf(*second);
    return left < right ? -1 : static_cast<LONG>(left > right);
}
