// Bytes as hexadecimal text, and a record through its control class in both directions.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "asn1/rtbersrc/ber_buffer.h"
#include "asn1data/Samples.h"

using Bytes = std::vector<std::uint8_t>;

inline Bytes FromHex(const std::string& text) {
    Bytes bytes;
    std::string digits;
    for (const char c : text) {
        if (c != ' ') digits += c;
    }
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

// In capitals, without blanks.
inline std::string ToHex(const std::uint8_t* data, int size) {
    std::string text;
    for (int i = 0; i < size; ++i) {
        char pair[3];
        std::snprintf(pair, sizeof pair, "%02X", static_cast<unsigned>(data[i]));
        text += pair;
    }
    return text;
}

// The encoding, or the status in decimal.
template <class Control, class Record>
std::string EncodeToHex(Record& record) {
    asn1rt::ASN1BEREncodeBuffer buffer;
    const int length = Control(buffer, record).Encode();
    return length < 0 ? std::to_string(length) : ToHex(buffer.getMsgPtr(), length);
}
