// Integers of any size: their content octets (X.690 8.3) and their text.
//
// The text is "0x" and two lower-case digits for each octet, with one more "0" in front of
// them where there is no octet or the first one has its top bit set.
#pragma once

#include <cstddef>
#include <cstdint>

namespace asn1rt {

// Room for the text of so many octets, with its NUL.
inline std::size_t BigIntegerTextSize(std::size_t octets) { return 2 + 1 + octets * 2 + 1; }
void BigIntegerToText(const std::uint8_t* octets, std::size_t count, char* text);

// No more octets than a text of this length can give.
inline std::size_t BigIntegerOctets(std::size_t textLength) { return textLength / 2 + 2; }
// The octets of a text, of either case, into `octets` with room for BigIntegerOctets; their
// count or a status. The additional "0" goes; a decimal text, with or without "-", gives
// the fewest octets. ASN_E_INVHEXS, ASN_E_BADVALUE for damaged text.
int BigIntegerFromText(const char* text, std::size_t length, std::uint8_t* octets);

}  // namespace asn1rt
