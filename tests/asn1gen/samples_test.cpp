// The code that is generated for tests/asn1gen/Samples.asn1. The encodings are written by
// hand after X.690.
#include <gtest/gtest.h>

#include "tests/asn1gen/codec.h"

namespace {

using namespace asn1data;
using asn1rt::Repeat;

// Decodes, copies, and encodes the copy: its bytes, or the status that ended this.
template <class Record, class Control, int (*copy)(ASN1Context&, const Record&, Record&)>
std::string Travel(const Bytes& input) {
    ASN1BERDecodeBuffer buffer(input.data(), input.size());
    Record record;
    if (const int status = Control(buffer, record).Decode(); status < 0) {
        return std::to_string(status);
    }
    if (buffer.getContextPtr()->byteIndex != input.size()) return "bytes left";
    // The copy falls upon an older value, of which nothing may remain.
    ASN1BERDecodeBuffer owner;
    Record second;
    int status = copy(*owner.getContextPtr(), record, second);
    if (status == ASN_OK) status = copy(*owner.getContextPtr(), record, second);
    if (status < 0) return "copy " + std::to_string(status);
    const std::string encoded = EncodeToHex<Control>(record);
    return EncodeToHex<Control>(second) == encoded ? encoded : "a different copy";
}

#define TRAVEL(T) Travel<T, ASN1C_##T, asn1Copy_##T>

const struct {
    const char* name;
    std::string (*travel)(const Bytes&);
    std::string input;
    std::string expected;  // empty: as the input
} kSamples[] = {
    // Tags.
    {"implicit", TRAVEL(Tagged), "3003 800105", ""},
    {"explicit", TRAVEL(Tagged), "3008 800105 A103020107", ""},
    {"CHOICE under implicit", TRAVEL(Tagged), "3008 800105 A203020109", ""},
    {"tags above 30", TRAVEL(Tagged), "300E 800105 9F1F01FF BF876803 0101FF", ""},
    {"application and private", TRAVEL(Tagged), "300B 800105 4500 E604 87020102", ""},
    {"application NULL with contents", TRAVEL(Tagged), "3006 800105 450100", "-5"},
    {"two headers", TRAVEL(Double), "A304 4402 0102", ""},
    {"inner header wrong", TRAVEL(Double), "A304 0402 0102", "-3"},
    {"explicit around SEQUENCE", TRAVEL(Wrapped), "A505 3003 0101FF", ""},
    {"implicit over explicit", TRAVEL(Retagged), "A605 3003 0101FF", ""},
    {"the old tag", TRAVEL(Retagged), "A505 3003 0101FF", "-3"},
    {"alias", TRAVEL(Other), "3003 800105", ""},
    // Lengths.
    {"indefinite", TRAVEL(Tagged), "3080 800105 A180 020107 0000 0000", "3008800105A103020107"},
    {"beyond the parent", TRAVEL(Tagged), "3006 800105 A103 020107", "-5"},
    {"beyond the wrapper", TRAVEL(Tagged), "3008 800105 A102 020107", "-5"},
    {"no end-of-contents", TRAVEL(Tagged), "3080 800105", "-2"},
    {"no end-of-contents of a wrapper", TRAVEL(Tagged), "3008 800105 A180 020107", "-2"},
    {"empty input", TRAVEL(Tagged), "", "-2"},
    // Components.
    {"required one missing", TRAVEL(Tagged), "3000", "-2"},
    {"required one missing, indefinite", TRAVEL(Tagged), "3080 0000", "-3"},
    {"another in its place", TRAVEL(Tagged), "3003 810105", "-3"},
    {"unknown one", TRAVEL(Tagged), "3006 800105 9E0100", "-9"},
    {"wrong order", TRAVEL(Tagged), "3008 A103020107 800105", "-3"},
    {"two in a wrapper", TRAVEL(Tagged), "300B 800105 A106020107020107", "-9"},
    {"no components", TRAVEL(Empty), "3000", ""},
    {"one where none are", TRAVEL(Empty), "3002 0500", "-9"},
    {"ANY", TRAVEL(Holder), "3009 06022A03 3003020105", ""},
    {"ANY of a long tag", TRAVEL(Holder), "3009 06022A03 1F870402AABB", "-5"},
    {"ANY left out", TRAVEL(Holder), "3004 06022A03", ""},
    {"tagged ANY", TRAVEL(Bound), "3004 A002 0500", ""},
    {"tagged ANY without an element", TRAVEL(Bound), "3002 A000", "-2"},
    // Defaults: written out in the input, gone in the output.
    {"all left out", TRAVEL(Defaults), "3000", ""},
    {"all are defaults", TRAVEL(Defaults), "300D 0101FF 0201FD 8002012C 0A0105", "3000"},
    {"none is a default", TRAVEL(Defaults), "300C 010100 020103 800102 0A0100", ""},
    {"structured default stays", TRAVEL(Defaults), "3003 8101AB", ""},
    {"a longer number", TRAVEL(Defaults), "3005 8003 0ABCDE", ""},
    // SET.
    {"SET sorted", TRAVEL(Mixed), "310B 8201FF A1030101FF 800105", "310B800105A1030101FF8201FF"},
    {"SET with a default", TRAVEL(Mixed), "310B 820100 A1030101FF 800105", "3108800105A1030101FF"},
    {"SET: universal first", TRAVEL(Mixed), "310A 800105 A1030101FF 0500",
     "310A0500800105A1030101FF"},
    {"SET: twice", TRAVEL(Mixed), "310B 800105 800105 A1030101FF", "-7"},
    {"SET: one missing", TRAVEL(Mixed), "3103 800105", "-8"},
    {"SET: unknown", TRAVEL(Mixed), "310B 800105 A1030101FF 830100", "-9"},
    {"SET: unknown, with a mark", TRAVEL(OpenSet), "3106 830100 0101FF", "31030101FF"},
    {"SET: no end", TRAVEL(Mixed), "3180 800105 A1030101FF", "-2"},
    // SET OF and SEQUENCE OF.
    {"SET OF sorted", TRAVEL(Numbers), "310A 020105 020101 02020100", "310A02010102010502020100"},
    {"SET OF 20", TRAVEL(Numbers), "313C" + Repeat("020102020101", 10),
     "313C" + Repeat("020101", 10) + Repeat("020102", 10)},
    {"SET OF nothing", TRAVEL(Numbers), "3100", ""},
    {"indefinite SET OF", TRAVEL(Numbers), "3180 020105 0000", "3103020105"},
    {"wrong element", TRAVEL(Numbers), "3106 020105 010105", "-3"},
    {"one element", TRAVEL(Few), "3005 A403020105", ""},
    {"three elements", TRAVEL(Few), "300F A403020105 A403020106 A403020107", "-10"},
    {"too few elements", TRAVEL(Few), "3000", "-23"},
    {"element out of range", TRAVEL(Few), "3005 A403020165", "-23"},
    // CHOICE.
    {"number", TRAVEL(Pick), "020105", ""},
    {"last single-byte tag", TRAVEL(Pick), "9E01FF", ""},
    {"NULL", TRAVEL(Pick), "8000", ""},
    {"list", TRAVEL(Pick), "A106 0101FF 010100", ""},
    {"alternative within", TRAVEL(Pick), "8201FF", ""},
    {"alternative within, long tag", TRAVEL(Pick), "9F822C 02 0102", ""},
    {"size of an alternative", TRAVEL(Pick), "9F822C 03 010203", "-23"},
    {"no alternative", TRAVEL(Pick), "0400", "-11"},
    {"unknown alternative, with a mark", TRAVEL(OpenPick), "A103020105", ""},
    {"nothing to choose from", TRAVEL(Pick), "", "-2"},
    // Extension mark.
    {"no addition", TRAVEL(Extended), "3003 0101FF", ""},
    {"known addition", TRAVEL(Extended), "3006 0101FF 020105", ""},
    {"unknown addition", TRAVEL(Extended), "3008 0101FF 020105 0500", "30060101FF020105"},
    {"broken addition", TRAVEL(Extended), "3007 0101FF 0502", "-5"},
    // Values.
    {"lowest", TRAVEL(Small), "0201FB", ""},
    {"below", TRAVEL(Small), "0201FA", "-23"},
    {"highest", TRAVEL(Small), "020164", ""},
    {"above", TRAVEL(Small), "020165", "-23"},
    {"unsigned", TRAVEL(Wide), "0205 00FFFFFFFF", ""},
    {"big", TRAVEL(Positive), "0209 00FFFFFFFFFFFFFFFF", ""},
    {"big and negative", TRAVEL(Positive), "0209 FF0000000000000000", "-23"},
    {"zero", TRAVEL(Positive), "020100", "-23"},
    {"in the union", TRAVEL(Picked), "020104", ""},
    {"between", TRAVEL(Picked), "020102", "-23"},
    {"ENUMERATED", TRAVEL(Color), "0A01FF", ""},
    {"ENUMERATED, unknown", TRAVEL(Color), "0A0101", "-6"},
    {"ENUMERATED, unknown, with a mark", TRAVEL(OpenColor), "0A0109", ""},
    {"named bits lose zeros", TRAVEL(Flags), "0303 06A000", "030205A0"},
    {"named bits, all zero", TRAVEL(Flags), "0302 0000", "030100"},
    {"too many bits", TRAVEL(Flags), "0303 05FFE0", "-23"},
    {"size 2", TRAVEL(Code), "0402 0102", ""},
    {"size 3", TRAVEL(Code), "0403 010203", "-23"},
    {"size in characters", TRAVEL(Texts), "3008 0C06 D0B0D0B1D0B2", ""},
    {"too many characters", TRAVEL(Texts), "3006 0C04 61626364", "-23"},
    {"too few characters", TRAVEL(Texts), "3002 0C00", "-23"},
    {"PrintableString too long", TRAVEL(Texts), "3008 0C0161 1303 616263", "-23"},
    {"half a wide character", TRAVEL(Texts), "3008 0C0161 1E03043004", "-5"},
    {"too many wide characters", TRAVEL(Texts), "300B 0C0161 1E06043004310432", "-23"},
    {"all texts", TRAVEL(Texts),
     "3021 0C0161 130162 1E0404300431 1C0400010000 170D 3236303130313030303030305A", ""},
    {"no alternative, some way down", TRAVEL(Tree), "A108 A006 0101FF A101 00", "-11"},
    {"recursion by list and choice", TRAVEL(Tree), "A10A A008 0101FF A103010100", ""},
    {"60 deep", TRAVEL(Tree), Repeat("A180", 60) + "010100" + Repeat("0000", 60), "*"},
    {"too deep", TRAVEL(Tree), Repeat("A180", 70) + "010100" + Repeat("0000", 70), "-22"},
    {"too deep by lists", TRAVEL(Tree), Repeat("A080", 4000), "-22"},
};

TEST(Samples, Encodings) {
    for (const auto& row : kSamples) {
        const Bytes input = FromHex(row.input);
        const std::string found = row.travel(input);
        if (row.expected == "*") {
            EXPECT_NE(found[0], '-') << row.name;
        } else {
            const std::string same = ToHex(input.data(), static_cast<int>(input.size()));
            EXPECT_EQ(found, row.expected.empty() ? same : row.expected) << row.name;
        }
    }
}

// No prefix of a whole message is one, and none leads astray.
TEST(Samples, TruncatedAnywhere) {
    for (const auto& row : kSamples) {
        const Bytes input = FromHex(row.input);
        if (!row.expected.empty()) continue;
        for (std::size_t size = 0; size < input.size(); ++size) {
            const std::string found =
                row.travel(Bytes(input.begin(), input.begin() + static_cast<std::ptrdiff_t>(size)));
            EXPECT_EQ(found[0], '-') << row.name << " cut to " << size;
        }
    }
}

// ---- records that cannot be encoded ------------------------------------------

TEST(Samples, EncodersCheck) {
    const std::uint8_t bytes[4] = {1, 2, 3, 4};
    ASN1BEREncodeBuffer owner;
    ASN1Context& heap = *owner.getContextPtr();

    ASN1INT small = 101;
    EXPECT_EQ((EncodeToHex<ASN1C_Small>(small)), "-23");
    ASN1ENUM color = 1;
    EXPECT_EQ((EncodeToHex<ASN1C_Color>(color)), "-6");
    ASN1BigInt number{"-1"};
    EXPECT_EQ((EncodeToHex<ASN1C_Positive>(number)), "-23");
    number.text = "18446744073709551616";
    EXPECT_EQ((EncodeToHex<ASN1C_Positive>(number)), "0209010000000000000000");
    ASN1DynOctStr code{3, bytes};
    EXPECT_EQ((EncodeToHex<ASN1C_Code>(code)), "-23");
    code = {2, nullptr};
    EXPECT_EQ((EncodeToHex<ASN1C_Code>(code)), "-18");

    Pick pick;
    EXPECT_EQ((EncodeToHex<ASN1C_Pick>(pick)), "-11") << "nothing chosen";
    pick.t = Pick::kNumber;
    EXPECT_EQ((EncodeToHex<ASN1C_Pick>(pick)), "-18") << "no alternative behind the number";
    pick.t = 77;
    EXPECT_EQ((EncodeToHex<ASN1C_Pick>(pick)), "-11");

    Few few;
    EXPECT_EQ((EncodeToHex<ASN1C_Few>(few)), "-23");
    for (int i = 0; i < 3; ++i) *Append(heap, few) = 1;
    EXPECT_EQ((EncodeToHex<ASN1C_Few>(few)), "-10");
    few.count = 2;
    few.head = nullptr;
    EXPECT_EQ((EncodeToHex<ASN1C_Few>(few)), "-18") << "a count without nodes";

    Tree endless;
    endless.t = Tree::kNot;
    endless.u.not_ = &endless;
    EXPECT_EQ((EncodeToHex<ASN1C_Tree>(endless)), "-22");
    Tree copy;
    EXPECT_EQ(asn1Copy_Tree(heap, endless, copy), ASN_E_TOODEEP);
}

// The way to the fault, the innermost level first, and what the status's text tells.
TEST(Samples, ErrorStack) {
    const Bytes input = FromHex("3008 800105 A103020165");
    ASN1BERDecodeBuffer buffer(input.data(), input.size());
    Tagged record;
    EXPECT_EQ(ASN1C_Tagged(buffer, record).Decode(), ASN_E_CONSVIO);
    const ASN1ErrorInfo& error = buffer.getContextPtr()->errorInfo;
    ASSERT_EQ(error.stackCount, 2U);
    EXPECT_STREQ(error.stack[0].module, "Samples");
    EXPECT_NE(error.stack[0].line, error.stack[1].line);
    ASSERT_EQ(error.parameterCount, 1U);
    EXPECT_STREQ(error.parameters[0], "Small");
}

TEST(Samples, Constants) {
    EXPECT_EQ(Flags_tenth, 9);
    EXPECT_EQ(Color_blue, -1);
    EXPECT_EQ(OpenColor_green, 1);
}

}  // namespace
