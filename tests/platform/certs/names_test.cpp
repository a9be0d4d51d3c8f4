// Names as text and back. Expected texts and octets are written by hand.
#include "tests/support/certificates.h"

namespace platform::testing {
namespace {

using NamesTest = CertsTest;

constexpr DWORD kReversedSimple = CERT_SIMPLE_NAME_STR | CERT_NAME_STR_REVERSE_FLAG;

CERT_NAME_BLOB BlobOf(Bytes& der) { return {static_cast<DWORD>(der.size()), der.data()}; }

std::string TextOf(Bytes der, DWORD type) {
    CERT_NAME_BLOB blob = BlobOf(der);
    const DWORD size = CertNameToStrA(kEncoding, &blob, type, nullptr, 0);
    std::string text(size, '?');
    EXPECT_EQ(CertNameToStrA(kEncoding, &blob, type, text.data(), size), size);
    EXPECT_EQ(text.back(), '\0');
    text.pop_back();
    return text;
}

// CN=Alpha, OU=x + O=Foo, C=RU
const char* const kThreeParts =
    "30 36"
    "31 0E 30 0C 06 03 55 04 03 0C 05 41 6C 70 68 61"
    "31 17 30 08 06 03 55 04 0B 0C 01 78 30 0B 06 03 55 04 0A 13 04 46 6F 6F 21"
    "31 0B 30 09 06 03 55 04 06 13 02 52 55";

TEST_F(NamesTest, WritesEveryForm) {
    const struct {
        const char* name;
        DWORD type;
        const char* expected;
    } rows[] = {
        {"X.500", CERT_X500_NAME_STR, "CN=Alpha, OU=x + O=Foo!, C=RU"},
        {"X.500 reversed", CERT_X500_NAME_STR | CERT_NAME_STR_REVERSE_FLAG,
         "C=RU, OU=x + O=Foo!, CN=Alpha"},
        {"values", CERT_SIMPLE_NAME_STR, "Alpha, x + Foo!, RU"},
        {"values reversed", kReversedSimple, "RU, x + Foo!, Alpha"},
        {"identifiers", CERT_OID_NAME_STR, "2.5.4.3=Alpha, 2.5.4.11=x + 2.5.4.10=Foo!, 2.5.4.6=RU"},
        {"no form", 0, ""},
    };
    const Bytes der = FromHex(kThreeParts);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(TextOf(der, row.type), row.expected);
    }
}

// A name of one attribute.
Bytes NameOf(const std::string& oidElement, const std::string& valueElement) {
    Bytes name = FromHex(oidElement + valueElement);
    for (const std::uint8_t tag : {std::uint8_t{0x30}, std::uint8_t{0x31}, std::uint8_t{0x30}}) {
        name.insert(name.begin(), {tag, static_cast<std::uint8_t>(name.size())});
    }
    return name;
}

TEST_F(NamesTest, WritesKeys) {
    const char* const arcs[] = {"03", "04", "05", "06", "07", "08", "09", "0A",
                                "0B", "0C", "0D", "11", "12", "2A", "2B"};
    std::string keys;
    for (const char* arc : arcs) {
        const std::string oid = std::string("06 03 55 04 ") + arc;
        keys += TextOf(NameOf(oid, "0C 00"), CERT_X500_NAME_STR);
    }
    EXPECT_EQ(keys, "CN=SN=SERIALNUMBER=C=L=S=STREET=O=OU=T=Description=PostalCode=POBox=G=I=");
    EXPECT_EQ(TextOf(NameOf("06 09 2A 86 48 86 F7 0D 01 09 01", "0C 01 61"), CERT_X500_NAME_STR),
              "E=a");
    EXPECT_EQ(TextOf(NameOf("06 0A 09 92 26 89 93 F2 2C 64 01 19", "0C 01 61"), CERT_X500_NAME_STR),
              "DC=a");
    EXPECT_EQ(TextOf(NameOf("06 05 2A 85 03 64 01", "0C 01 61"), CERT_X500_NAME_STR),
              "OID.1.2.643.100.1=a");
}

TEST_F(NamesTest, WritesValues) {
    const struct {
        const char* name;
        const char* value;
        const char* expected;
    } rows[] = {
        {"UTF8String", "0C 04 D0 96 D0 B0", "Жа"},
        {"PrintableString", "13 03 61 27 62", "a'b"},
        {"TeletexString is Latin-1", "14 02 E9 61", "éa"},
        {"IA5String", "16 03 61 40 62", "a@b"},
        {"BMPString", "1E 04 04 16 00 61", "Жa"},
        {"BMPString with a surrogate pair", "1E 04 D8 3D DE 00", "😀"},
        {"UniversalString", "1C 08 00 00 04 16 00 01 F6 00", "Ж😀"},
        {"comma", "0C 08 46 6F 6F 2C 20 49 6E 63", "\"Foo, Inc\""},
        {"inner quote", "0C 03 61 22 62", "\"a\"\"b\""},
        {"leading blank", "0C 02 20 61", "\" a\""},
        {"trailing blank", "0C 02 61 20", "\"a \""},
        {"number sign", "0C 03 61 23 62", "\"a#b\""},
        {"line feed", "0C 03 61 0A 62", "#0C03610A62"},
        {"escape", "13 02 1B 61", "#13021B61"},
        {"delete", "16 01 7F", "#16017F"},
        {"last of C1", "14 01 9F", "#14019F"},
        {"first behind C1", "14 01 A0", "\u00A0"},
        {"C1 in UTF-8", "0C 02 C2 85", "#0C02C285"},
        {"left-to-right mark", "0C 03 E2 80 8E", "#0C03E2808E"},
        {"before what does not show", "0C 03 E2 80 8A", "\u200A"},
        {"blank without width", "0C 03 E2 80 8B", "#0C03E2808B"},
        {"byte order mark", "1E 02 FE FF", "#1E02FEFF"},
        {"tag", "1C 04 00 0E 00 41", "#1C04000E0041"},
        {"override", "1E 02 20 2E", "#1E02202E"},
        {"isolate", "0C 03 E2 81 A9", "#0C03E281A9"},
        {"Arabic mark", "0C 02 D8 9C", "#0C02D89C"},
        {"octets that are an element", "04 02 05 00", "#04020500"},
        {"plus", "0C 01 2B", "\"+\""},
        {"equals", "0C 01 3D", "\"=\""},
        {"angles and semicolon", "0C 03 3C 3E 3B", "\"<>;\""},
        {"backslash stays", "0C 03 61 5C 62", "a\\b"},
        {"octet string", "04 02 0A FF", "#0AFF"},
        {"sequence, whole", "30 03 02 01 05", "#3003020105"},
        {"zero inside", "0C 03 61 00 62", "#0C03610062"},
        {"bad UTF-8", "0C 02 C3 28", "#0C02C328"},
        {"lone surrogate", "1E 02 D8 00", "#1E02D800"},
        {"beyond Unicode", "1C 04 00 11 00 00", "#1C0400110000"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const Bytes name = NameOf("06 03 55 04 03", row.value);
        EXPECT_EQ(TextOf(name, CERT_X500_NAME_STR), "CN=" + std::string(row.expected));
        EXPECT_EQ(TextOf(name, CERT_SIMPLE_NAME_STR), row.expected);
    }
}

TEST_F(NamesTest, DamagedNamesAreEmptyTexts) {
    const char* const rows[] = {"30",
                                "30 05 31 00",
                                "31 00",
                                "30 02 31 01",
                                "30 04 30 02 06 00",
                                "30 00 00",
                                "30 09 31 07 30 05 06 03 55 04 03"};
    for (const char* row : rows) {
        SCOPED_TRACE(row);
        Bytes der = FromHex(row);
        CERT_NAME_BLOB blob = BlobOf(der);
        char text[8] = "???????";
        EXPECT_EQ(CertNameToStrA(kEncoding, &blob, CERT_X500_NAME_STR, text, sizeof text), 1U);
        EXPECT_STREQ(text, "");
    }
    EXPECT_EQ(TextOf(FromHex("30 00"), CERT_X500_NAME_STR), "");
    EXPECT_EQ(CertNameToStrA(kEncoding, nullptr, CERT_X500_NAME_STR, nullptr, 0), 1U);
}

TEST_F(NamesTest, CutsAtTheBuffersEnd) {
    Bytes name = NameOf("06 03 55 04 03", "0C 05 61 D0 96 D0 B0");  // CN=aЖа
    CERT_NAME_BLOB blob = BlobOf(name);
    const struct {
        DWORD size;
        const char* expected;
        const wchar_t* wide;
    } rows[] = {
        {1, "", L""},
        {5, "CN=a", L"CN=a"},
        {6, "CN=a", L"CN=aЖ"},
        {7, "CN=aЖ", L"CN=aЖа"},
        {9, "CN=aЖа", L"CN=aЖа"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.size);
        std::string text(12, '?');
        const DWORD count =
            CertNameToStrA(kEncoding, &blob, CERT_X500_NAME_STR, text.data(), row.size);
        EXPECT_STREQ(text.c_str(), row.expected);
        EXPECT_EQ(count, std::string(row.expected).size() + 1);
        EXPECT_EQ(text.substr(row.size), std::string(12 - row.size, '?'));

        std::wstring wide(12, L'?');
        const DWORD wideCount =
            CertNameToStrW(kEncoding, &blob, CERT_X500_NAME_STR, wide.data(), row.size);
        EXPECT_STREQ(wide.c_str(), row.wide);
        EXPECT_EQ(wideCount, std::wstring(row.wide).size() + 1);
        EXPECT_EQ(wide.substr(row.size), std::wstring(12 - row.size, L'?'));
    }
    EXPECT_EQ(CertNameToStrA(kEncoding, &blob, CERT_X500_NAME_STR, nullptr, 0), 9U);
    EXPECT_EQ(CertNameToStrW(kEncoding, &blob, CERT_X500_NAME_STR, nullptr, 0), 7U);
}

TEST_F(NamesTest, ReadsText) {
    const struct {
        const char* text;
        DWORD flags;
        const char* expected;
    } rows[] = {
        {"", 0, "3000"},
        {"CN=a", 0, "300c310a30080603550403130161"},
        {"  cn =  a  ", 0, "300c310a30080603550403130161"},
        {"CN=a; O=b", 0, "3018310a30080603550403130161310a3008060355040a130162"},
        {"CN=a, O=b", CERT_NAME_STR_REVERSE_FLAG,
         "3018310a3008060355040a130162310a30080603550403130161"},
        // Attributes of a set stand in order of their octets, whatever the text has.
        {"O=b+CN=a", 0, "301631143008060355040313016130080603550 40a130162"},
        {"CN=\" a \"", 0, "300e310c300a06035504031303206120"},
        {"CN=\"a\"\"b\"", 0, "300e310c300a060355040 30c03612262"},
        {"CN=\"x, O=y\"", 0, "3011310f300d06035504031306782c204f3d79"},
        {"CN=\"\"", 0, "300b3109300706035504031300"},
        {"CN=Ж", 0, "300d310b3009060355040 30c02d096"},
        {"E=a@b", 0, "3014311230 1006092a864886f70d0109011603614062"},
        {"ST=x", 0, "300c310a30080603550408130178"},
        {"OID.1.2.643.100.1=12", 0, "300f310d300b06052a85036401 13023132"},
        {"oid.2.5.4.6=RU", 0, "300d310b3009060355040613025255"},
        {"CN=#0a Ff", 0, "300d310b3009060355040304020aff"},
        {"CN=#04020500", 0, "300d310b3009060355040304020500"},
        {"CN=#0000", 0, "300d310b3009060355040304020000"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        BYTE encoded[128];
        DWORD size = sizeof encoded;
        LPCSTR errorAt = row.text;
        ASSERT_TRUE(CertStrToNameA(kEncoding, row.text, CERT_X500_NAME_STR | row.flags, nullptr,
                                   encoded, &size, &errorAt));
        EXPECT_EQ(Hex({encoded, size}), Hex(FromHex(row.expected)));
        EXPECT_EQ(errorAt, nullptr);
    }
}

TEST_F(NamesTest, TellsWhereTextIsWrong) {
    const struct {
        const char* text;
        const wchar_t* wide;
        std::ptrdiff_t at;
        std::ptrdiff_t wideAt;
    } rows[] = {
        {"CN", L"CN", 0, 0},           {"XX=1", L"XX=1", 0, 0},
        {"CN=", L"CN=", 3, 3},         {"CN=a,,O=b", L"CN=a,,O=b", 5, 5},
        {"CN=\"a", L"CN=\"a", 3, 3},   {"CN=\"a\"b", L"CN=\"a\"b", 6, 6},
        {"CN=a\"b", L"CN=a\"b", 4, 4}, {"CN=#0g", L"CN=#0g", 3, 3},
        {"C=Ж", L"C=Ж", 2, 2},         {"CN=Ж, E=Ж", L"CN=Ж, E=Ж", 9, 8},
        {"OID.=a", L"OID.=a", 0, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        BYTE encoded[64];
        DWORD size = sizeof encoded;
        LPCSTR at = nullptr;
        EXPECT_EQ(Outcome(CertStrToNameA(kEncoding, row.text, CERT_X500_NAME_STR, nullptr, encoded,
                                         &size, &at)),
                  Code(CRYPT_E_INVALID_X500_STRING));
        EXPECT_EQ(at - row.text, row.at);
        LPCWSTR wideAt = nullptr;
        EXPECT_FALSE(CertStrToNameW(kEncoding, row.wide, CERT_X500_NAME_STR, nullptr, encoded,
                                    &size, &wideAt));
        EXPECT_EQ(wideAt - row.wide, row.wideAt);
    }
    DWORD size = 0;
    EXPECT_EQ(Outcome(CertStrToNameA(kEncoding, "CN=\xC3(", 3, nullptr, nullptr, &size, nullptr)),
              DWORD{ERROR_NO_UNICODE_TRANSLATION});
}

// What another program wrote reads as that program shows it.
TEST_F(NamesTest, AgreesWithTheCommand) {
    OpenSsl(
        "req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -utf8 -days 1 -keyout n.key "
        "-outform DER -out n.cer -subj '/C=RU/O=Рога, \"Копыта\"/OU=a+CN=b' -multivalue-rdn");
    const CertHolder context = Context(ReadFile("n.cer"));
    ASSERT_TRUE(context);
    const CERT_NAME_BLOB& subject = context->pCertInfo->Subject;
    EXPECT_EQ(TextOf(Copy({subject.pbData, subject.cbData}), CERT_X500_NAME_STR),
              "C=RU, O=\"Рога, \"\"Копыта\"\"\", CN=b + OU=a");
}

}  // namespace
}  // namespace platform::testing
