// Bytes as hexadecimal text, and a record through its control class in both directions.
#pragma once

#include <string>

#include "asn1data/Samples.h"
#include "tests/asn1rt/support.h"

using asn1rt::Bytes;
using asn1rt::FromHex;

// Without blanks.
inline std::string ToHex(const std::uint8_t* data, int size) {
    return support::ToHex(data, static_cast<std::size_t>(size));
}

// The encoding, or the status in decimal.
template <class Control, class Record>
std::string EncodeToHex(Record& record) {
    asn1rt::ASN1BEREncodeBuffer buffer;
    const int length = Control(buffer, record).Encode();
    return length < 0 ? std::to_string(length) : ToHex(buffer.getMsgPtr(), length);
}
