// Universal tag numbers (X.680 8.6) that encoder and decoder share; ASN1TAG and a first octet
// both hold them.
#pragma once

#include <cstdint>

#include "asn1/rtsrc/types.h"

namespace asn1rt {

inline constexpr std::uint8_t kBoolean = 1;
inline constexpr std::uint8_t kInteger = 2;
inline constexpr std::uint8_t kBitString = 3;
inline constexpr std::uint8_t kOctetString = 4;
inline constexpr std::uint8_t kNull = 5;
inline constexpr std::uint8_t kObjectIdentifier = 6;
inline constexpr std::uint8_t kEnumerated = 10;

// The parts of an ASN1TAG: its number without class and form, and the form.
inline constexpr ASN1TAG kNumberMask = 0x1FFFFFFF;
inline constexpr ASN1TAG kFormBit = 0x20000000;

}  // namespace asn1rt
