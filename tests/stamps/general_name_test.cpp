// General names and their texts.
#include "stamps/general_name.h"

#include "asn1data/CertificateExtensions.h"
#include "stamps/generated.h"
#include "stamps/name_text.h"
#include "tests/stamps/support.h"

namespace stamps_tests {
namespace {

using namespace Ferroline::ASN1;

const struct {
    const char* name;
    const char* der;
    std::uint32_t selector;
    const wchar_t* text;
} kNameCases[] = {
    {"rfc822Name", "8103614062", 2, L"rfc822Name: a@b"},
    {"dNSName", "82022E61", 3, L"dNSName: .a"},
    {"directoryName", "A4{30{31{30{06{550403} 0C{41}}}}}", 5, L"directoryName: CN=A"},
    {"uniformResourceIdentifier", "8603613A2F", 7, L"uniformResourceIdentifier: a:/"},
    {"iPAddress", "87047F000001", 8, L"iPAddress: (to string is not implemented)"},
    {"registeredID", "88032A8648", 9, L"registeredID: 1.2.840"},
    {"an empty text", "8200", 3, L"dNSName: "},
};

TEST(GeneralName, DecodesAndEncodes) {
    for (const auto& row : kNameCases) {
        CGeneralName name;
        name.Decode(Der(row.der));
        EXPECT_EQ(name.GetSelector(), row.selector) << row.name;
        EXPECT_EQ(name.ToString(), row.text) << row.name;
        EXPECT_EQ(name.Encode(), Der(row.der)) << row.name;
        const CGeneralName copy(name);
        EXPECT_EQ(copy, name) << row.name;
        EXPECT_FALSE(copy == CGeneralName()) << row.name;
    }
}

const struct {
    const char* name;
    const char* der;
    unsigned thrown;
} kRefused[] = {
    {"otherName", "A0{06{2A03} A0{0500}}", kInvalidArgument},
    {"x400Address", "A3{30{}}", kInvalidArgument},
    {"an unknown tag", "8900", kAsn1Internal},
    {"a NUL in the text", "82036100 62", kAsn1Internal},
    {"nothing", "", kAsn1Internal},
};

TEST(GeneralName, Refuses) {
    for (const auto& row : kRefused) {
        CGeneralName name;
        EXPECT_EQ(Thrown([&] { name.Decode(Der(row.der)); }), row.thrown) << row.name;
    }
    EXPECT_EQ(CGeneralName().ToString(), L"");
    EXPECT_EQ(Thrown([] { (void)CGeneralName().Encode(); }), kAsn1Internal);
    CGeneralName name;
    name.SetRegisteredID(L"1.2.x");
    EXPECT_EQ(Thrown([&] { (void)name.Encode(); }), kAsn1Internal);
    name.SetDirectoryName(Bytes("0500"));
    EXPECT_EQ(Thrown([&] { (void)name.Encode(); }), kAsn1Internal);
    name.SetDNSName(std::wstring(L"a\0b", 3));
    EXPECT_EQ(Thrown([&] { (void)name.Encode(); }), kAsn1Internal);
}

struct OidRow {
    const char* oid;
    bool accepted;
};

const OidRow kOids[] = {
    {"2.999.3", true},
    {"1.2.4294967295", true},
    {"2.4294967295", true},
    {"2.4294967296", false},
    {"1.2.4294967296", false},
    {"1.40", false},
    {"3.1", false},
    {"", false},
    {"1.2.", false},
    {"1.-2", false},
    {"1.2x", false},
};

TEST(Generated, ObjectIdentifiers) {
    asn1rt::ASN1BEREncodeBuffer buffer;
    asn1rt::ASN1OBJID record;
    std::string many = "1.2";
    for (int i = 0; i < 126; ++i) many += ".3";
    std::vector<OidRow> rows(std::begin(kOids), std::end(kOids));
    const std::string tooMany = many + ".3";
    rows.push_back({many.c_str(), true});
    rows.push_back({tooMany.c_str(), false});
    for (const OidRow& row : rows) {
        const unsigned thrown = Thrown([&] { Fill(*buffer.getContextPtr(), record, row.oid); });
        EXPECT_EQ(thrown, row.accepted ? 0 : kAsn1Internal) << row.oid;
        if (row.accepted) {
            EXPECT_EQ(ReadOid(record), row.oid);
        }
    }
}

const struct {
    const char* name;
    const char* text;  // as the codec decodes it
    const char* hex;
    std::int64_t number;  // -1: out of range
} kIntegers[] = {
    {"zero", "0x00", "00", 0},
    {"-1", "0x0ff", "FF", -1},
    {"the largest", "0x00ffffffff", "00FFFFFFFF", 0xFFFFFFFF},
    {"one more", "0x0100000000", "0100000000", -1},
    {"without bytes", "0x0", "00", 0},
};

TEST(Generated, Integers) {
    for (const auto& row : kIntegers) {
        asn1rt::ASN1BigInt record;
        record.text = row.text;
        CBigInteger value;
        Read(record, value);
        EXPECT_EQ(value.ToHex(), row.hex) << row.name;
        std::int64_t number = -1;
        const unsigned thrown = Thrown([&] { number = ReadUnsigned(record); });
        EXPECT_EQ(thrown, row.number < 0 ? kInvalidArgument : 0) << row.name;
        EXPECT_EQ(number, row.number) << row.name;
    }
}

const struct {
    const char* name;
    const char* der;
    unsigned thrown;
    const wchar_t* text;
} kNames[] = {
    {"empty", "30{}", 0, L""},
    {"UTF8", "30{31{30{06{55040A} 0C{D096}}}}", 0, L"O=\u0416"},
    {"BMP with surrogates", "30{31{30{06{55040A} 1E{D83DDE00}}}}", 0, L"O=\U0001F600"},
    {"universal", "30{31{30{06{55040A} 1C{0001F600}}}}", 0, L"O=\U0001F600"},
    {"teletex", "30{31{30{06{55040B} 14{41}}}}", 0, L"OU=A"},
    {"two in one, in the order of the encoding",
     "30{31{30{06{550407} 0C{4C32}} 30{06{550403} 0C{41}}}}", 0, L"L=L2+CN=A"},
    {"two, without escaping", "30{31{30{06{550403} 0C{412C3D2B}}} 31{30{06{550408} 0C{42}}}}", 0,
     L"CN=A,=+,ST=B"},
    {"an unknown type of any value", "30{31{30{06{2A03} 30{0500}}}}", 0, L"1.2.3=#30020500"},
    {"a number for a string", "30{31{30{06{550403} 02{41}}}}", kAsn1Internal, L""},
    {"a constructed string", "30{31{30{06{550403} 2C{0C{41}}}}}", kAsn1Internal, L""},
    {"half a character", "30{31{30{06{550403} 1E{041604}}}}", kAsn1Internal, L""},
    {"no Name", "0500", kAsn1Internal, L""},
};

TEST(NameText, Names) {
    for (const auto& row : kNames) {
        std::wstring text;
        EXPECT_EQ(Thrown([&] { text = NameToText(Der(row.der)); }), row.thrown) << row.name;
        EXPECT_EQ(text, row.text) << row.name;
    }
}

}  // namespace
}  // namespace stamps_tests
