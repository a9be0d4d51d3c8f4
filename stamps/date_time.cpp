// Points in time: text, FILETIME, calendar.
#include "stamps/date_time.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <string>

#include "stamps/failure.h"

namespace Ferroline {
namespace {

constexpr std::size_t kWholeSeconds = 14;  // "YYYYMMDDhhmmss"
constexpr std::size_t kFractionDigits = 6;
constexpr std::uint64_t kTicksPerMicrosecond = 10;

std::uint32_t ReadNumber(std::string_view digits) {
    std::uint32_t number = 0;
    for (const char digit : digits) {
        if (digit < '0' || digit > '9') Fail(E_FAIL);
        number = number * 10 + static_cast<std::uint32_t>(digit - '0');
    }
    return number;
}

WORD ReadWord(std::string_view text, std::size_t at, std::size_t count) {
    return static_cast<WORD>(ReadNumber(text.substr(at, count)));
}

SYSTEMTIME ReadWholeSeconds(std::string_view text) {
    SYSTEMTIME time = {};
    time.wYear = ReadWord(text, 0, 4);
    time.wMonth = ReadWord(text, 4, 2);
    time.wDay = ReadWord(text, 6, 2);
    time.wHour = ReadWord(text, 8, 2);
    time.wMinute = ReadWord(text, 10, 2);
    time.wSecond = ReadWord(text, 12, 2);
    return time;
}

// What follows the seconds: nothing, "Z", or a point and digits, with or without "Z".
std::uint32_t ReadMicroseconds(std::string_view text) {
    if (text.ends_with('Z')) text.remove_suffix(1);
    if (text.empty()) return 0;
    if (text[0] != '.' && text[0] != ',') Fail(E_FAIL);
    std::string digits(text.substr(1));
    if (digits.size() > kFractionDigits) throw std::length_error("fraction of a second");
    digits.append(kFractionDigits - digits.size(), '0');
    return ReadNumber(digits);
}

}  // namespace

CDateTime::CDateTime(std::string_view text) {
    if (text.size() < kWholeSeconds) Fail(E_FAIL);
    const SYSTEMTIME time = ReadWholeSeconds(text);
    const CDateTimeSpan fraction(0, ReadMicroseconds(text.substr(kWholeSeconds)));
    FILETIME file = {};
    if (!SystemTimeToFileTime(&time, &file)) Fail(E_FAIL);
    *this = CDateTime(file.dwHighDateTime, file.dwLowDateTime) + fraction;
}

CDateTime CDateTime::Now() {
    FILETIME file = {};
    GetSystemTimeAsFileTime(&file);
    const std::uint64_t ticks = CDateTime(file.dwHighDateTime, file.dwLowDateTime).GetTicks();
    return FromTicks(ticks - ticks % kTicksPerMicrosecond);
}

CDateTime CDateTime::FromTicks(std::uint64_t ticks) {
    return {static_cast<std::uint32_t>(ticks >> 32), static_cast<std::uint32_t>(ticks)};
}

CDateTime operator+(const CDateTime& time, const CDateTimeSpan& span) {
    if (span.GetTicks() > std::numeric_limits<std::uint64_t>::max() - time.GetTicks()) Fail(E_FAIL);
    return CDateTime::FromTicks(time.GetTicks() + span.GetTicks());
}

CDateTime operator-(const CDateTime& time, const CDateTimeSpan& span) {
    if (span.GetTicks() > time.GetTicks()) Fail(E_FAIL);
    return CDateTime::FromTicks(time.GetTicks() - span.GetTicks());
}

}  // namespace Ferroline
