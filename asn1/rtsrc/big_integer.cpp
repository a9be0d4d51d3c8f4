// Integers of any size: octets to text and back.
#include "asn1/rtsrc/big_integer.h"

#include <algorithm>
#include <cstring>

#include "asn1/rtsrc/status.h"

namespace asn1rt {
namespace {

int DigitValue(char digit) {
    if (digit >= '0' && digit <= '9') return digit - '0';
    const char lower = static_cast<char>(digit | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

int FromHex(const char* digits, std::size_t length, std::uint8_t* octets) {
    // With an odd count the first digit stands alone: the additional zero, or a half octet.
    std::size_t count = length % 2;
    if (count != 0) {
        const int digit = DigitValue(*digits++);
        if (digit < 0) return ASN_E_INVHEXS;
        octets[0] = static_cast<std::uint8_t>(digit);
        if (digit == 0 && length > 1) count = 0;
    }
    for (std::size_t i = 0; i < length / 2; ++i, digits += 2) {
        const int high = DigitValue(digits[0]);
        const int low = DigitValue(digits[1]);
        if (high < 0 || low < 0) return ASN_E_INVHEXS;
        octets[count++] = static_cast<std::uint8_t>(high * 16 + low);
    }
    return count == 0 ? ASN_E_INVHEXS : static_cast<int>(count);
}

// The lowest octet first.
std::size_t MultiplyIn(const char* digits, std::size_t length, std::uint8_t* octets) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < length; ++i) {
        unsigned carry = static_cast<unsigned>(digits[i] - '0');
        for (std::size_t j = 0; j < count; ++j) {
            carry += octets[j] * 10U;
            octets[j] = static_cast<std::uint8_t>(carry);
            carry >>= 8;
        }
        if (carry != 0) octets[count++] = static_cast<std::uint8_t>(carry);
    }
    return count;
}

// Two's complement in place.
void Negate(std::uint8_t* octets, std::size_t count) {
    unsigned carry = 1;
    for (std::size_t i = 0; i < count; ++i) {
        carry += static_cast<std::uint8_t>(~octets[i]);
        octets[i] = static_cast<std::uint8_t>(carry);
        carry >>= 8;
    }
}

int FromDecimal(const char* text, std::size_t length, std::uint8_t* octets) {
    const bool negative = length != 0 && *text == '-';
    const char* digits = text + (negative ? 1 : 0);
    length -= negative ? 1 : 0;
    const auto isDigit = [](char digit) { return digit >= '0' && digit <= '9'; };
    if (length == 0 || !std::all_of(digits, digits + length, isDigit)) return ASN_E_BADVALUE;
    std::size_t count = MultiplyIn(digits, length, octets);
    octets[count++] = 0;
    if (negative) Negate(octets, count);
    // The sign octet goes where the next one says the same.
    const std::uint8_t sign = octets[count - 1];
    if (count > 1 && (octets[count - 2] & 0x80) == (sign & 0x80)) --count;
    std::reverse(octets, octets + count);
    return static_cast<int>(count);
}

}  // namespace

void BigIntegerToText(const std::uint8_t* octets, std::size_t count, char* text) {
    static constexpr char kDigits[] = "0123456789abcdef";
    *text++ = '0';
    *text++ = 'x';
    if (count == 0 || octets[0] > 127) *text++ = '0';
    for (std::size_t i = 0; i < count; ++i) {
        *text++ = kDigits[octets[i] >> 4];
        *text++ = kDigits[octets[i] & 15];
    }
    *text = '\0';
}

int BigIntegerFromText(const char* text, std::size_t length, std::uint8_t* octets) {
    const bool hex = length >= 2 && text[0] == '0' && (text[1] | 0x20) == 'x';
    return hex ? FromHex(text + 2, length - 2, octets) : FromDecimal(text, length, octets);
}

}  // namespace asn1rt
