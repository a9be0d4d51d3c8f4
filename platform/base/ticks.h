// Times as counts of 100 nanoseconds since 1601-01-01 UTC.
#pragma once

#include "platform/base/ground.h"

#include <cstdint>
#include <ctime>

namespace platform {

using Ticks = std::uint64_t;
inline constexpr Ticks kTicksPerSecond = 10'000'000;
// From 1601-01-01 to 1970-01-01.
inline constexpr Ticks kUnixEpoch = 11'644'473'600 * kTicksPerSecond;

constexpr Ticks TicksOf(const FILETIME& time) {
    return (Ticks{time.dwHighDateTime} << 32) | time.dwLowDateTime;
}
constexpr FILETIME FileTimeOf(Ticks ticks) {
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

Ticks CurrentTicks();

// The calendar's day and time; the day of the week is not looked at. Both throw
// ERROR_INVALID_PARAMETER for a time that the other form does not have.
SYSTEMTIME Split(Ticks ticks);
Ticks Join(const SYSTEMTIME& time);

}  // namespace platform
