// UTCTime and GeneralizedTime: fields to text and back.
#include "asn1/rtsrc/times.h"

#include <chrono>
#include <cstdio>
#include <cstring>

#include "asn1/rtsrc/copy.h"

namespace asn1rt {
namespace {

constexpr unsigned kFractionDigits = 9;

bool IsDigit(char character) { return character >= '0' && character <= '9'; }

// Takes pieces off the front of a text.
class TimeReader {
  public:
    explicit TimeReader(std::string_view text) : rest_(text) {}
    [[nodiscard]] bool AtEnd() const { return rest_.empty(); }
    [[nodiscard]] bool AtDigit() const { return !rest_.empty() && IsDigit(rest_.front()); }

    bool Number(unsigned digits, int& value) {
        if (rest_.size() < digits) return false;
        value = 0;
        for (unsigned i = 0; i < digits; ++i) {
            if (!IsDigit(rest_[i])) return false;
            value = value * 10 + (rest_[i] - '0');
        }
        rest_.remove_prefix(digits);
        return true;
    }
    bool Character(char wanted) {
        if (rest_.empty() || rest_.front() != wanted) return false;
        rest_.remove_prefix(1);
        return true;
    }
    // All digits that come, at least one; zeros beyond the ninth are passed over.
    bool Fraction(std::uint32_t& value, unsigned& digits) {
        if (!AtDigit()) return false;
        for (value = digits = 0; AtDigit(); rest_.remove_prefix(1)) {
            const auto digit = static_cast<unsigned>(rest_.front() - '0');
            if (digits == kFractionDigits && digit != 0) return false;
            if (digits == kFractionDigits) continue;
            value = value * 10 + digit;
            ++digits;
        }
        return true;
    }
    // "+hhmm"; the minutes may be left out when `hours` says so.
    bool Difference(bool hours, int& minutes) {
        const int sign = Character('+') ? 1 : -1;
        if (sign < 0 && !Character('-')) return false;
        int hour = 0;
        int minute = 0;
        if (!Number(2, hour)) return false;
        if (!(hours && AtEnd()) && !Number(2, minute)) return false;
        if (hour > 23 || minute > 59) return false;
        minutes = sign * (hour * 60 + minute);
        return true;
    }

  private:
    std::string_view rest_;
};

bool ValidDate(const ASN1TimeParts& parts) {
    using namespace std::chrono;
    if (parts.year < 0 || parts.year > 9999 || parts.month < 1 || parts.day < 1) return false;
    return year_month_day(year(parts.year), month(static_cast<unsigned>(parts.month)),
                          day(static_cast<unsigned>(parts.day)))
        .ok();
}

bool Valid(const ASN1TimeParts& parts) {
    std::uint64_t limit = 1;
    for (unsigned i = 0; i < parts.fractionDigits && i <= kFractionDigits; ++i) limit *= 10;
    const bool time = parts.hour >= 0 && parts.hour <= 23 && parts.minute >= 0 &&
                      parts.minute <= 59 && parts.second >= 0 && parts.second <= 60;
    return ValidDate(parts) && time && parts.fractionDigits <= kFractionDigits &&
           parts.fraction < limit && parts.difference > -24 * 60 && parts.difference < 24 * 60 &&
           (parts.utc || parts.difference == 0);
}

// A fraction of an hour or a minute becomes minutes, seconds and a fraction of a second.
void SpreadFraction(ASN1TimeParts& parts, unsigned unitSeconds) {
    std::uint64_t one = 1;
    for (unsigned i = 0; i < parts.fractionDigits; ++i) one *= 10;
    const std::uint64_t scaled = std::uint64_t{parts.fraction} * unitSeconds;
    const auto seconds = static_cast<int>(scaled / one);
    parts.minute += seconds / 60;
    parts.second = seconds % 60;
    parts.fraction = static_cast<std::uint32_t>(scaled % one);
}

int WriteDifference(char* text, std::size_t room, int difference) {
    if (difference == 0) return std::snprintf(text, room, "Z");
    const int minutes = difference < 0 ? -difference : difference;
    return std::snprintf(text, room, "%c%02d%02d", difference < 0 ? '-' : '+', minutes / 60,
                         minutes % 60);
}

}  // namespace

// ---- any time ----------------------------------------------------------------

int ASN1CTime::Parse() {
    ASN1TimeParts read;
    if (value_->text == nullptr || !Read(value_->text, read) || !Valid(read)) {
        return Fail(*context_, ASN_E_INVFORMAT);
    }
    parts = read;
    return ASN_OK;
}

int ASN1CTime::Compile() {
    char text[48];
    if (!Valid(parts) || Write(text) < 0) return Fail(*context_, ASN_E_INVPARAM);
    const ASN1CharStr written{text};
    return Copy(*context_, written, *value_);
}

int ASN1CTime::GetTime(std::int64_t& seconds) const {
    using namespace std::chrono;
    if (!Valid(parts) || !parts.utc) return Fail(*context_, ASN_E_INVPARAM);
    const sys_days date =
        year_month_day(year(parts.year), month(static_cast<unsigned>(parts.month)),
                       day(static_cast<unsigned>(parts.day)));
    const int minutes = parts.hour * 60 + parts.minute - parts.difference;
    seconds = std::int64_t{date.time_since_epoch().count()} * 86400 + std::int64_t{minutes} * 60 +
              parts.second;
    return ASN_OK;
}

int ASN1CTime::SetTime(std::int64_t seconds) {
    using namespace std::chrono;
    constexpr std::int64_t kYearZero = -62167219200;
    constexpr std::int64_t kYear10000 = 253402300800;
    if (seconds < kYearZero || seconds >= kYear10000) return Fail(*context_, ASN_E_INVPARAM);
    const sys_seconds time{std::chrono::seconds(seconds)};
    const sys_days date = floor<days>(time);
    const year_month_day calendar(date);
    const auto inDay = static_cast<int>((time - date).count());
    parts = ASN1TimeParts();
    parts.year = static_cast<int>(calendar.year());
    parts.month = static_cast<int>(static_cast<unsigned>(calendar.month()));
    parts.day = static_cast<int>(static_cast<unsigned>(calendar.day()));
    parts.hour = inDay / 3600;
    parts.minute = inDay / 60 % 60;
    parts.second = inDay % 60;
    return ASN_OK;
}

// ---- GeneralizedTime ---------------------------------------------------------

bool ASN1CGeneralizedTime::Read(std::string_view text, ASN1TimeParts& read) const {
    TimeReader reader(text);
    if (!reader.Number(4, read.year) || !reader.Number(2, read.month) ||
        !reader.Number(2, read.day) || !reader.Number(2, read.hour)) {
        return false;
    }
    unsigned unitSeconds = 3600;  // what a fraction is one of
    if (reader.AtDigit()) {
        if (!reader.Number(2, read.minute)) return false;
        unitSeconds = 60;
    }
    if (unitSeconds == 60 && reader.AtDigit()) {
        if (!reader.Number(2, read.second)) return false;
        unitSeconds = 1;
    }
    if (reader.Character('.') || reader.Character(',')) {
        if (!reader.Fraction(read.fraction, read.fractionDigits)) return false;
        if (unitSeconds > 1) SpreadFraction(read, unitSeconds);
    }
    read.utc = !reader.AtEnd();
    if (read.utc && !reader.Character('Z') && !reader.Difference(true, read.difference)) {
        return false;
    }
    return reader.AtEnd();
}

int ASN1CGeneralizedTime::Write(char (&text)[48]) const {
    int length =
        std::snprintf(text, sizeof(text), "%04u%02u%02u%02u%02u%02u",
                      static_cast<unsigned>(parts.year), static_cast<unsigned>(parts.month),
                      static_cast<unsigned>(parts.day), static_cast<unsigned>(parts.hour),
                      static_cast<unsigned>(parts.minute), static_cast<unsigned>(parts.second));
    const auto room = [&] { return sizeof(text) - static_cast<std::size_t>(length); };
    if (parts.fraction != 0) {
        length +=
            std::snprintf(text + length, room(), ".%0*u", static_cast<int>(parts.fractionDigits),
                          static_cast<unsigned>(parts.fraction));
        while (text[length - 1] == '0') --length;
        text[length] = '\0';
    }
    return parts.utc ? length + WriteDifference(text + length, room(), parts.difference) : length;
}

// ---- UTCTime -----------------------------------------------------------------

bool ASN1CUTCTime::Read(std::string_view text, ASN1TimeParts& read) const {
    TimeReader reader(text);
    if (!reader.Number(2, read.year) || !reader.Number(2, read.month) ||
        !reader.Number(2, read.day) || !reader.Number(2, read.hour) ||
        !reader.Number(2, read.minute)) {
        return false;
    }
    read.year += read.year < 50 ? 2000 : 1900;
    if (reader.AtDigit() && !reader.Number(2, read.second)) return false;
    if (!reader.Character('Z') && !reader.Difference(false, read.difference)) return false;
    return reader.AtEnd();
}

int ASN1CUTCTime::Write(char (&text)[48]) const {
    if (!parts.utc || parts.fraction != 0 || parts.year < 1950 || parts.year > 2049) return -1;
    const int length =
        std::snprintf(text, sizeof(text), "%02u%02u%02u%02u%02u%02u",
                      static_cast<unsigned>(parts.year % 100), static_cast<unsigned>(parts.month),
                      static_cast<unsigned>(parts.day), static_cast<unsigned>(parts.hour),
                      static_cast<unsigned>(parts.minute), static_cast<unsigned>(parts.second));
    return length + WriteDifference(text + length, sizeof(text) - static_cast<std::size_t>(length),
                                    parts.difference);
}

}  // namespace asn1rt
