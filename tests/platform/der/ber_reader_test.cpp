// The BER reader and the way from BER to DER. Octets are written by hand after X.690.
#include <gtest/gtest.h>
#include "platform/base/ground.h"

#include <string>

#include "platform/base/error.h"
#include "platform/der/ber_reader.h"
#include "platform/der/normalise.h"
#include "tests/support/decode_support.h"

using namespace platform;
using platform::testing::Code;
using platform::testing::FromHex;

namespace {

// Events as text: "(30" opens, "=ab" is contents, ")" closes. Contents are joined, so
// that the text does not depend on how the input was cut.
class Recorder : public BerVisitor {
  public:
    void OnHeader(const BerHeader& header) override {
        text += "(" + Hex(header.Identifier());
        inContents_ = false;
    }
    void OnContents(ByteView piece) override {
        if (!inContents_) text += "=";
        inContents_ = true;
        text += Hex(piece);
    }
    void OnEnd(ByteView /*endOctets*/) override {
        text += ")";
        inContents_ = false;
    }
    std::string text;

  private:
    bool inContents_ = false;
};

struct Read {
    std::string events;
    DWORD error = 0;
    bool done = false;
};

// Feeds `first` octets, then the rest one at a time or at once.
Read ReadIn(ByteView input, std::size_t first, bool singly) {
    Recorder recorder;
    BerReader reader;
    Read read;
    try {
        reader.Feed(input.first(first), recorder);
        for (std::size_t i = first; singly && i < input.size(); ++i) {
            reader.Feed(input.subspan(i, 1), recorder);
        }
        if (!singly) reader.Feed(input.subspan(first), recorder);
    } catch (const Error& error) {
        read.error = error.Code();
    }
    read.events = recorder.text;
    read.done = reader.Done();
    return read;
}

struct Row {
    const char* name;
    const char* input;
    const char* events;
    DWORD error;
    bool done;
};

constexpr DWORD kCorrupt = Code(CRYPT_E_ASN1_CORRUPT);
constexpr DWORD kLarge = Code(CRYPT_E_ASN1_LARGE);
constexpr DWORD kConstraint = Code(CRYPT_E_ASN1_CONSTRAINT);

const Row kRows[] = {
    {"primitive", "0203 010203", "(02=010203)", 0, true},
    {"empty primitive", "0500", "(05)", 0, true},
    {"long form with leading zeros", "0488 0000000000000001 61", "(04=61)", 0, true},
    {"nested", "3006 0201 05 0401 61", "(30(02=05)(04=61))", 0, true},
    {"indefinite", "3080 0201 05 0000", "(30(02=05))", 0, true},
    {"indefinite in definite", "3006 A080 0500 0000", "(30(a0(05)))", 0, true},
    {"definite in indefinite", "3080 3002 0500 0000", "(30(30(05)))", 0, true},
    {"high tag number", "3F8101 02 0500", "(3f8101(05))", 0, true},
    {"cut in contents", "0203 0102", "(02=0102", 0, false},
    {"octets behind", "0500 00", "(05)", kCorrupt, true},
    {"child longer than parent", "3003 0402 61", "(30", kCorrupt, false},
    {"header runs over the parent", "3001 04", "(30", 0, false},
    {"header runs over the parent, seen", "3001 04 01", "(30", kCorrupt, false},
    {"end octets in a definite element", "3002 0000", "(30", kCorrupt, false},
    {"end octets with a length", "3080 0001 00", "(30", kCorrupt, false},
    {"indefinite inside does not end in time", "3004 3080 0500 0000", "(30(30(05)", kCorrupt,
     false},
    {"indefinite primitive", "0480 6162 0000", "", kCorrupt, false},
    {"reserved length", "04FF", "", kCorrupt, false},
    {"length past all input", "04 88 FFFFFFFFFFFFFFFF", "", kLarge, false},
    {"huge length, nothing behind", "04 88 7FFFFFFFFFFFFFFF", "(04", 0, false},
    {"huge length inside", "3080 04 88 FFFFFFFFFFFFFFFF", "(30", kCorrupt, false},
    {"least high tag number", "1F1F 00", "(1f1f)", 0, true},
    {"low tag number in the high form", "1F1E 00", "", kCorrupt, false},
    {"tag number with a leading zero", "1F80 01 00", "", kCorrupt, false},
    {"tag number past 35 bits", "1F 81 80 80 80 80 00 00", "", kLarge, false},
};

TEST(BerReader, TellsElements) {
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.name);
        const Bytes input = FromHex(row.input);
        for (std::size_t first = 0; first <= input.size(); ++first) {
            for (const bool singly : {false, true}) {
                const Read read = ReadIn(input, first, singly);
                EXPECT_EQ(read.events, row.events) << "split at " << first;
                EXPECT_EQ(read.error, row.error) << "split at " << first;
                EXPECT_EQ(read.done, row.done) << "split at " << first;
            }
        }
    }
}

Bytes Nested(std::size_t depth, std::uint8_t tag) {
    Bytes bytes;
    for (std::size_t i = 0; i < depth; ++i) bytes.insert(bytes.end(), {tag, 0x80});
    bytes.resize(bytes.size() + 2 * depth);
    return bytes;
}

TEST(BerReader, BoundsNesting) {
    const struct {
        std::size_t depth;
        DWORD error;
    } rows[] = {{1, 0}, {64, 0}, {65, kConstraint}, {1'000'000, kConstraint}};
    for (const auto& row : rows) {
        const Read read = ReadIn(Nested(row.depth, 0x30), 0, false);
        EXPECT_EQ(read.error, row.error) << row.depth;
        EXPECT_EQ(read.done, row.error == 0) << row.depth;
    }
}

const struct {
    const char* name;
    const char* ber;
    const char* der;  // null: an error
    DWORD error;
} kNormaliseRows[] = {
    {"long lengths stay", "3081 04 0481 01 61", "3081 04 0481 01 61", 0},
    {"constructed bit of other types stays", "3002 A000", "3002 A000", 0},
    {"indefinite", "3080 0201 05 0000", "3003 0201 05", 0},
    {"indefinite inside a long length", "3081 06 A080 0500 0000", "3004 A002 0500", 0},
    {"clean sibling keeps its long length", "3080 0481 01 61 0000", "3004 0481 01 61", 0},
    {"string in pieces", "2408 0401 61 0403 626364", "0404 61626364", 0},
    {"nested pieces", "2480 2405 0403 616263 2480 0401 64 0000 0000", "0404 61626364", 0},
    {"empty string in pieces", "2480 0000", "0400", 0},
    {"text in octet strings", "2C80 0401 61 0401 62 0000", "0C02 6162", 0},
    {"bits in pieces", "2380 0303 00 F0 0F 0302 04 A0 0000", "0304 04 F00FA0", 0},
    {"high tag number keeps its identifier", "3F8101 80 0500 0000", "3F8101 02 0500", 0},
    {"unused bits before the last piece", "2380 0302 04 A0 0302 00 FF 0000", nullptr, kCorrupt},
    {"bits without their count", "2380 0300 0000", nullptr, kCorrupt},
    {"bits in octet strings", "2380 0402 00 FF 0000", nullptr, kCorrupt},
    {"foreign piece", "2480 0201 05 0000", nullptr, kCorrupt},
};

TEST(Normalise, MakesDer) {
    for (const auto& row : kNormaliseRows) {
        SCOPED_TRACE(row.name);
        try {
            const Bytes der = Normalise(FromHex(row.ber));
            ASSERT_NE(row.der, nullptr) << Hex(der);
            EXPECT_EQ(Hex(der), Hex(FromHex(row.der)));
        } catch (const Error& error) {
            EXPECT_EQ(error.Code(), row.error);
            EXPECT_EQ(row.der, nullptr);
        }
    }
}

}  // namespace
