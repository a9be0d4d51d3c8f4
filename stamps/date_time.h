// Points in time and the intervals between them.
#pragma once

#include <compare>
#include <cstdint>
#include <string_view>

namespace Ferroline {

// An interval, in ticks of 100 nanoseconds.
class CDateTimeSpan {
  public:
    CDateTimeSpan() = default;
    explicit CDateTimeSpan(std::uint32_t seconds, std::uint32_t microseconds = 0)
        : ticks_(std::uint64_t{seconds} * 10000000 + std::uint64_t{microseconds} * 10) {}

    [[nodiscard]] std::uint64_t GetTicks() const { return ticks_; }

  private:
    std::uint64_t ticks_ = 0;
};

// A point in time (UTC), in ticks of 100 nanoseconds since 1601. The default is the start
// of 1970.
class CDateTime {
  public:
    CDateTime() = default;
    CDateTime(std::uint32_t high, std::uint32_t low) : high_(high), low_(low) {}
    // A GeneralizedTime, "YYYYMMDDhhmmss", with up to six digits of a fraction, and "Z".
    // Throws E_FAIL for another form or an impossible date, and std::length_error for a
    // longer fraction.
    explicit CDateTime(std::string_view text);

    // To the microsecond.
    static CDateTime Now();

    [[nodiscard]] std::uint32_t GetHigh() const { return high_; }
    [[nodiscard]] std::uint32_t GetLow() const { return low_; }
    [[nodiscard]] std::uint64_t GetTicks() const { return std::uint64_t{high_} << 32 | low_; }

    friend auto operator<=>(const CDateTime& first, const CDateTime& second) = default;
    // Both throw E_FAIL when the result is out of range.
    friend CDateTime operator+(const CDateTime& time, const CDateTimeSpan& span);
    friend CDateTime operator-(const CDateTime& time, const CDateTimeSpan& span);

  private:
    static CDateTime FromTicks(std::uint64_t ticks);

    // In this order the halves compare as the whole.
    std::uint32_t high_ = 0x19DB1DE;
    std::uint32_t low_ = 0xD53E8000;
};

}  // namespace Ferroline
