// The two time types as text and as numbers (X.680 46 and 47).
#pragma once

#include <cstdint>
#include <string_view>

#include "asn1/rtsrc/message_buffer.h"

namespace asn1rt {

// The parts of a time. What GeneralizedTime may leave out is 0 then.
struct ASN1TimeParts {
    int year = 0;
    int month = 1;
    int day = 1;
    int hour = 0;
    int minute = 0;
    int second = 0;               // 60 is a leap second
    std::uint32_t fraction = 0;   // of a second, as a number of `fractionDigits` digits
    unsigned fractionDigits = 0;  // up to 9
    bool utc = true;              // "Z", or a difference; else local time
    int difference = 0;           // minutes east of Greenwich

    friend bool operator==(const ASN1TimeParts&, const ASN1TimeParts&) = default;
};

// Binds a time string that stays the record's; its new text goes into the context's heap.
// Set parts reach it with Compile only, parts come from it with Parse only.
class ASN1CTime {
  public:
    ASN1CTime(ASN1MessageBufferIF& buffer, ASN1CharStr& value)
        : context_(buffer.getContext()), value_(&value) {}
    virtual ~ASN1CTime() = default;
    ASN1CTime(const ASN1CTime&) = delete;
    ASN1CTime& operator=(const ASN1CTime&) = delete;

    ASN1TimeParts parts;

    // Reads the string. ASN_OK or ASN_E_INVFORMAT, which leaves the parts as they were.
    int Parse();
    // Writes it: ASN_OK, ASN_E_INVPARAM for parts that are no time or that the type cannot
    // tell, ASN_E_NOMEM.
    int Compile();
    // Seconds since 1970 in UTC, the fraction left out. ASN_E_INVPARAM as above, and for
    // local time.
    int GetTime(std::int64_t& seconds) const;
    int SetTime(std::int64_t seconds);

  protected:
    [[nodiscard]] virtual bool Read(std::string_view text, ASN1TimeParts& read) const = 0;
    // Into `text`, the count of characters; -1 when the type has no way to say it.
    virtual int Write(char (&text)[48]) const = 0;

  private:
    ASN1ContextRef context_;
    ASN1CharStr* value_;
};

// YYYYMMDDhh[mm[ss]], a fraction of the last of them behind "." or ",", then "Z", a difference
// "+hh[mm]" or nothing. Seconds and, for UTC, "Z" are always written; a fraction without
// its trailing zeros (X.690 11.7).
class ASN1CGeneralizedTime : public ASN1CTime {
  public:
    using ASN1CTime::ASN1CTime;

  protected:
    [[nodiscard]] bool Read(std::string_view text, ASN1TimeParts& read) const override;
    int Write(char (&text)[48]) const override;
};

// YYMMDDhhmm[ss], then "Z" or a difference "+hhmm". Years are those of 1950 to 2049, as
// certificates count them.
class ASN1CUTCTime : public ASN1CTime {
  public:
    using ASN1CTime::ASN1CTime;

  protected:
    [[nodiscard]] bool Read(std::string_view text, ASN1TimeParts& read) const override;
    int Write(char (&text)[48]) const override;
};

}  // namespace asn1rt
