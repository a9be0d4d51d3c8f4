// Decodes a message, copies the record and encodes both.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "asn1/rtbersrc/ber_buffer.h"
#include "tests/support/der_notation.h"
#include "tests/support/hex.h"

namespace asn1data_tests {

using der_notation::Der;

struct Outcome {
    int status = 0;
    std::string encoded;
    std::string copied;
};

template <class Control, class Record>
std::string Encode(Record& record) {
    asn1rt::ASN1BEREncodeBuffer buffer;
    Control control(buffer, record);
    const int length = control.Encode();
    if (length < 0) return "status " + std::to_string(length);
    return {reinterpret_cast<const char*>(buffer.getMsgPtr()), static_cast<std::size_t>(length)};
}

using Pass = Outcome (*)(std::string_view);

template <class Record, class Control, auto Copy>
Outcome PassThrough(std::string_view message) {
    Outcome outcome;
    asn1rt::ASN1BEREncodeBuffer owner;
    Record copy;
    {
        const std::string own(message);
        asn1rt::ASN1BERDecodeBuffer buffer(reinterpret_cast<const std::uint8_t*>(own.data()),
                                           own.size());
        Record record;
        Control control(buffer, record);
        outcome.status = control.Decode();
        if (outcome.status < 0) return outcome;
        outcome.encoded = Encode<Control>(record);
        outcome.status = Copy(*owner.getContextPtr(), record, copy);
    }
    // The copy stands when the message is gone.
    if (outcome.status >= 0) outcome.copied = Encode<Control>(copy);
    return outcome;
}

#define ASN1_TYPE_PASS(T) \
    asn1data_tests::PassThrough<asn1data::T, asn1data::ASN1C_##T, asn1data::asn1Copy_##T>

// For readable failures.
inline std::string Hex(std::string_view bytes) {
    return support::ToHex(bytes.data(), bytes.size(), " ");
}

inline void ExpectSame(const char* name, Pass pass, std::string_view der) {
    const Outcome outcome = pass(der);
    EXPECT_EQ(outcome.status, 0) << name;
    EXPECT_EQ(Hex(outcome.encoded), Hex(der)) << name;
    EXPECT_EQ(Hex(outcome.copied), Hex(der)) << name;
}

}  // namespace asn1data_tests
