// Owned bytes and integers.
#include "stamps/blob.h"

#include "tests/stamps/support.h"

namespace stamps_tests {
namespace {

using Ferroline::ASN1::CBigInteger;

TEST(Blob, ShrinksInPlaceAndGrowsByCopy) {
    CBlob blob("abcdef", 6);
    const auto* const buffer = blob.GetData();
    blob.Resize(3);
    EXPECT_EQ(blob.GetData(), buffer);
    blob.Resize(5);
    EXPECT_EQ(CBlob(blob.GetData(), 3), CBlob("abc", 3));
    blob.Clear();
    EXPECT_NE(blob.GetData(), nullptr);
    EXPECT_EQ(blob, CBlob());
    EXPECT_EQ(blob, CBlob(std::uint32_t{0}));
    EXPECT_EQ(CBlob(std::uint32_t{3}), Bytes("000000"));
}

TEST(Blob, OwnsItsBytes) {
    CBlob first("abc", 3);
    CBlob second(first);
    second.GetData()[0] = 'x';
    EXPECT_EQ(first, CBlob("abc", 3));
    first.Append(first);
    EXPECT_EQ(first, CBlob("abcabc", 6));
    first.Append(CBlob());
    first.Swap(second);
    EXPECT_EQ(first, CBlob("xbc", 3));
    CBlob& alias = first;
    first = alias;
    EXPECT_EQ(first, CBlob("xbc", 3));
    const CBlob moved(std::move(first));
    EXPECT_EQ(moved, CBlob("xbc", 3));
    EXPECT_EQ(first, CBlob());
    EXPECT_FALSE(CBlob("abc", 3) == CBlob("abd", 3));
    EXPECT_FALSE(CBlob("abc", 3) == CBlob("ab", 2));
}

struct HexRow {
    const char* name;
    const char* text;
    const char* hex;
};

const HexRow kHex[] = {
    {"either case", "aBCd09fF", "ABCD09FF"},
    {"white space before and between", " \t01 02\r\n03", "010203"},
    {"white space inside a pair", "01 2 3", "01"},
    {"a digit alone at the end", "0102 3", "0102"},
    {"no digit", "01zz02", "01"},
};

TEST(Blob, Hex) {
    for (const HexRow& row : kHex) {
        CBlob blob("old", 3);
        blob.FromHex(row.text);
        EXPECT_EQ(blob.ToHex(), row.hex) << row.name;
    }
}

struct CompareRow {
    const char* name;
    const char* first;
    const char* second;
    int order;
};

const CompareRow kCompare[] = {
    {"255 and -1", "00FF", "FF", 1},
    {"-1 in two bytes", "FFFF", "FF", 0},
    {"1 in two bytes", "0001", "01", 0},
    {"filler before the other sign stays", "0080", "7F", 1},
    {"filler before the other sign, negative", "FF7F", "80", 1},
    {"more bytes is greater, negative too", "8000", "FE", 1},
    {"same size, negative", "FE00", "FF00", -1},
    {"same size, negative, with a filler", "FF80", "8000", 1},
    {"both empty", "", "", 0},
    {"empty and positive", "", "01", -1},
    {"empty and zero", "", "00", -1},
    {"empty and negative", "", "80", 1},
};

TEST(BigInteger, Compare) {
    for (const CompareRow& row : kCompare) {
        const CBigInteger first(Bytes(row.first));
        const CBigInteger second(Bytes(row.second));
        const int order = first < second ? -1 : (first > second ? 1 : 0);
        EXPECT_EQ(order, row.order) << row.name;
        EXPECT_EQ(second < first ? 1 : (second > first ? -1 : 0), row.order) << row.name;
        EXPECT_EQ(first == second, row.order == 0) << row.name;
    }
}

struct TextRow {
    const char* name;
    const char* text;
    unsigned thrown;
    const char* back;
};

const TextRow kTexts[] = {
    {"pairs", "0x12aB", 0, "0x12AB"},
    {"an odd count that begins with 0", "0x012", 0, "0x0012"},
    {"an odd count that does not", "0x123", 0, "0x12"},
    {"a single 0", "0x0", 0, "0x00"},
    {"no prefix", "1234", kAsn1Internal, ""},
    {"a prefix in upper case", "0X12", kAsn1Internal, ""},
    {"no digits", "0x", kAsn1Internal, ""},
    {"nothing", "", kAsn1Internal, ""},
};

TEST(BigInteger, Text) {
    for (const TextRow& row : kTexts) {
        CBigInteger value;
        EXPECT_EQ(Thrown([&] { value.FromString(row.text); }), row.thrown) << row.name;
        if (row.thrown == 0) {
            EXPECT_EQ(value.ToString(), row.back) << row.name;
        }
    }
    EXPECT_EQ(CBigInteger(Bytes("FF01")).ToPositive().ToString(), "0x7F01");
    EXPECT_EQ(CBigInteger().ToPositive().ToString(), "0x");
}

}  // namespace
}  // namespace stamps_tests
