// Octets in the expectations are written by hand from X.690.
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "platform/der/der.h"
#include "tests/support/encode_support.h"

namespace platform::testing {
namespace {

constexpr DWORD kEod = Code(CRYPT_E_ASN1_EOD);
constexpr DWORD kCorrupt = Code(CRYPT_E_ASN1_CORRUPT);
constexpr DWORD kBadTag = Code(CRYPT_E_ASN1_BADTAG);
constexpr DWORD kLarge = Code(CRYPT_E_ASN1_LARGE);
constexpr DWORD kOidFormat = Code(CRYPT_E_OID_FORMAT);

TEST(Der, LengthsTakeTheShortestForm) {
    const struct {
        std::size_t length;
        const char* header;
    } rows[] = {
        {0, "0400"},
        {127, "047f"},
        {128, "048180"},
        {256, "04820100"},
        {65535, "0482ffff"},
        {65536, "0483010000"},
        {1ULL << 32, "04850100000000"},
    };
    for (const auto& row : rows) {
        Bytes header;
        der::AppendHeader(header, der::kOctetString, row.length);
        EXPECT_EQ(Hex(header), row.header) << row.length;
        EXPECT_EQ(der::HeaderSize(row.length), header.size()) << row.length;
    }
}

TEST(Der, Integers) {
    const struct {
        long value;
        const char* encoded;
    } rows[] = {
        {0, "020100"},
        {127, "02017f"},
        {128, "02020080"},
        {-128, "020180"},
        {-129, "0202ff7f"},
        {std::numeric_limits<long>::min(), "02088000000000000000"},
        {std::numeric_limits<long>::max(), "02087fffffffffffffff"},
    };
    for (const auto& row : rows) {
        const Bytes encoded = der::Integer(row.value);
        EXPECT_EQ(Hex(encoded), row.encoded) << row.value;
        EXPECT_EQ(der::Cursor(encoded).SmallInteger(), row.value);
    }
}

TEST(Der, ObjectIdentifiersBothWays) {
    const struct {
        const char* dotted;
        const char* encoded;
    } rows[] = {
        {"1.2.840.113549.1.7.2", "06092a864886f70d010702"},
        {"0.0", "060100"},
        {"1.39", "06014f"},
        {"2.0", "060150"},
        {"2.47", "06017f"},
        {"2.48", "06028100"},
        {"2.25.340282366920938463463374607431768211455",
         "06146983ffffffffffffffffffffffffffffffffff7f"},
    };
    for (const auto& row : rows) {
        const Bytes encoded = der::Oid(row.dotted);
        EXPECT_EQ(Hex(encoded), row.encoded) << row.dotted;
        EXPECT_EQ(der::Cursor(encoded).OidText(), row.dotted);
    }
}

TEST(Der, RefusesBadOidText) {
    for (const char* text :
         {"", ".", "1", "1.", ".1", "1..2", "3.1", "1.40", "0.40", "1.2.", "1.02", "01.2", "1.-2",
          "1.2 ", "1.2a", "data", "1,2", "+1.2", "2.25.340282366920938463463374607431768211456"}) {
        EXPECT_EQ(CodeOf([&] { der::Oid(text); }), kOidFormat) << '"' << text << '"';
    }
}

TEST(Der, CursorRefusals) {
    const struct {
        const char* name;
        Bytes octets;
        DWORD expected;
        std::uint8_t tag = der::kOctetString;
    } rows[] = {
        {"empty contents", {0x04, 0x00}, 0},
        {"length longer than needed", {0x04, 0x81, 0x01, 0xAA}, 0},
        {"length with leading zeros", {0x04, 0x88, 0, 0, 0, 0, 0, 0, 0, 0x01, 0xAA}, 0},
        {"nothing", {}, kEod},
        {"contents cut", {0x04, 0x02, 0xAA}, kCorrupt},
        {"length octets cut", {0x04, 0x82, 0x01}, kCorrupt},
        {"indefinite", {0x24, 0x80, 0x00, 0x00}, kCorrupt, 0x24},
        {"reserved length", {0x04, 0xFF, 0x00}, kCorrupt},
        {"length past the machine word", {0x04, 0x89, 1, 0, 0, 0, 0, 0, 0, 0, 0}, kLarge},
        {"high tag number", {0x1F, 0x81, 0x01, 0x00}, kCorrupt, 0x1F},
        {"other tag", {0x05, 0x00}, kBadTag},
    };
    for (const auto& row : rows) {
        der::Cursor cursor(row.octets);
        EXPECT_EQ(CodeOf([&] { cursor.Expect(row.tag); }), row.expected) << row.name;
    }
}

TEST(Der, CursorRefusesBadValues) {
    const auto integer = [](der::Cursor& cursor) { cursor.SmallInteger(); };
    const auto oid = [](der::Cursor& cursor) { cursor.OidText(); };
    const struct {
        const char* name;
        Bytes octets;
        void (*read)(der::Cursor&);
    } rows[] = {
        {"empty integer", {0x02, 0x00}, integer},
        {"integer padded with zeros", {0x02, 0x02, 0x00, 0x7F}, integer},
        {"integer padded with ones", {0x02, 0x02, 0xFF, 0x80}, integer},
        {"integer too long", {0x02, 0x09, 1, 0, 0, 0, 0, 0, 0, 0, 0}, integer},
        {"empty identifier", {0x06, 0x00}, oid},
        {"identifier cut in an arc", {0x06, 0x02, 0x2A, 0x86}, oid},
        {"arc with padding", {0x06, 0x03, 0x2A, 0x80, 0x01}, oid},
        {"first arc with padding", {0x06, 0x02, 0x80, 0x01}, oid},
        {"arc past 128 bits",
         {0x06, 0x14, 0x2A, 0x84, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80,
          0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x00},
         oid},
    };
    for (const auto& row : rows) {
        der::Cursor cursor(row.octets);
        EXPECT_EQ(CodeOf([&] { row.read(cursor); }), kCorrupt) << row.name;
    }
}

}  // namespace
}  // namespace platform::testing
