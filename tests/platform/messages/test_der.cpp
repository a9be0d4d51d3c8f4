// Octets in the expectations are written by hand from X.690.
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "base/error.h"
#include "messages/der.h"
#include "messages/model.h"

namespace platform {
namespace {

constexpr DWORD kEod = static_cast<DWORD>(CRYPT_E_ASN1_EOD);
constexpr DWORD kCorrupt = static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);
constexpr DWORD kBadTag = static_cast<DWORD>(CRYPT_E_ASN1_BADTAG);
constexpr DWORD kOidFormat = static_cast<DWORD>(CRYPT_E_OID_FORMAT);

// 0 when nothing was thrown.
template <class Body>
DWORD CodeOf(Body&& body) {
    try {
        body();
        return 0;
    } catch (const Error& error) {
        return error.Code();
    }
}

TEST(Der, LengthsTakeTheShortestForm) {
    const struct {
        std::size_t length;
        const char* header;
    } rows[] = {
        {0, "0400"},
        {1, "0401"},
        {127, "047f"},
        {128, "048180"},
        {255, "0481ff"},
        {256, "04820100"},
        {65535, "0482ffff"},
        {65536, "0483010000"},
        {16777216, "048401000000"},
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
        {1, "020101"},
        {127, "02017f"},
        {128, "02020080"},
        {255, "020200ff"},
        {256, "02020100"},
        {-1, "0201ff"},
        {-128, "020180"},
        {-129, "0202ff7f"},
        {65535, "020300ffff"},
        {32767, "02027fff"},
        {-32768, "02028000"},
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
        {"1.2.643.7.1.1.1.1", "06082a85030701010101"},
        {"2.5.29.15", "0603551d0f"},
        {"0.0", "060100"},
        {"1.39", "06014f"},
        {"2.0", "060150"},
        {"2.47", "06017f"},
        {"2.48", "06028100"},
        {"2.999.3", "0603883703"},
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
        {"primitive", {0x04, 0x01, 0xAA}, 0},
        {"empty contents", {0x04, 0x00}, 0},
        {"length longer than needed", {0x04, 0x81, 0x01, 0xAA}, 0},
        {"length with leading zeros", {0x04, 0x89, 0, 0, 0, 0, 0, 0, 0, 0, 0x01, 0xAA}, 0},
        {"more behind", {0x04, 0x01, 0xAA, 0x05}, 0},
        {"nothing", {}, kEod},
        {"tag alone", {0x04}, kCorrupt},
        {"contents cut", {0x04, 0x02, 0xAA}, kCorrupt},
        {"length octets cut", {0x04, 0x82, 0x01}, kCorrupt},
        {"indefinite", {0x24, 0x80, 0x00, 0x00}, kCorrupt, 0x24},
        {"reserved length", {0x04, 0xFF, 0x00}, kCorrupt},
        {"length past the machine word", {0x04, 0x89, 1, 0, 0, 0, 0, 0, 0, 0, 0}, kCorrupt},
        {"length of all ones", {0x04, 0x88, 255, 255, 255, 255, 255, 255, 255, 255}, kCorrupt},
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

TEST(Der, CursorWalksASequence) {
    const Bytes octets = {0x30, 0x05, 0x02, 0x01, 0x07, 0x05, 0x00, 0x04, 0x00};
    der::Cursor outer(octets);
    const der::Item sequence = outer.Expect(der::kSequence);
    EXPECT_EQ(Hex(sequence.whole), "30050201070500");
    der::Cursor inner(sequence.contents);
    EXPECT_EQ(inner.SmallInteger(), 7);
    EXPECT_TRUE(inner.NextIs(der::kNull));
    EXPECT_EQ(CodeOf([&] { inner.ExpectEnd(); }), kCorrupt);
    inner.Next();
    EXPECT_EQ(CodeOf([&] { inner.ExpectEnd(); }), 0U);
    EXPECT_EQ(CodeOf([&] { inner.Next(); }), kEod);
    EXPECT_EQ(outer.Peek(), der::kOctetString);
}

TEST(DerRecords, SetOfIsSortedByOctets) {
    const std::vector<Bytes> elements = {
        {0x04, 0x02, 0x00, 0x01}, {0x04, 0x01, 0xFF}, {0x02, 0x01, 0x05}, {0x04, 0x01, 0x7F}};
    EXPECT_EQ(Hex(EncodeSetOf(der::kSet, elements)), "310d02010504017f0401ff04020001");
    EXPECT_EQ(Hex(EncodeSetOf(der::ContextConstructed(1), {})), "a100");
}

TEST(DerRecords, SignedDataVersion) {
    const Bytes plain = {0x30, 0x00};
    const char* const data = szOID_RSA_data;
    const struct {
        const char* name;
        std::vector<Bytes> certificates;
        std::vector<Bytes> crls;
        std::vector<long> signers;  // their versions
        const char* contentType;
        long expected;
    } rows[] = {
        {"nothing", {}, {}, {}, data, 1},
        {"certificate and CRL", {plain}, {plain}, {}, data, 1},
        {"issuer and serial number", {}, {}, {1}, data, 1},
        {"key identifier", {}, {}, {1, 3}, data, 3},
        {"other content", {}, {}, {}, "1.2.840.113549.1.9.16.1.4", 3},
        {"attribute certificate 1", {plain, {0xA1, 0x00}}, {}, {}, data, 3},
        {"attribute certificate 2", {{0xA1, 0x00}, {0xA2, 0x00}}, {}, {3}, data, 4},
        {"other certificate", {{0xA2, 0x00}, {0xA3, 0x00}}, {}, {}, data, 5},
        {"other revocation information", {}, {{0xA1, 0x00}}, {}, data, 5},
    };
    for (const auto& row : rows) {
        SignedRecords records;
        records.certificates = row.certificates;
        records.crls = row.crls;
        records.contentType = row.contentType;
        for (const long version : row.signers) records.signers.emplace_back().version = version;
        EXPECT_EQ(SignedDataVersion(records), row.expected) << row.name;
    }
}

TEST(DerRecords, WholeMessageByHand) {
    SignedRecords records;
    records.certificates = {{0x30, 0x01, 0x02}, {0x30, 0x00}};
    EXPECT_EQ(Hex(EncodeSignedMessage(records, std::nullopt)),
              "302a06092a864886f70d010702a01d301b020101"
              "3100"
              "300b06092a864886f70d010701"
              "a0053000300102"
              "3100");
    const Bytes content = {0xAA};
    EXPECT_EQ(Hex(EncodeSignedMessage({}, content)),
              "302806092a864886f70d010702a01b3019020101"
              "3100"
              "301006092a864886f70d010701a0030401aa"
              "3100");
}

}  // namespace
}  // namespace platform
