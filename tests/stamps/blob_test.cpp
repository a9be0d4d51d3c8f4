// Owned bytes and integers.
#include "stamps/blob.h"

#include "tests/stamps/support.h"

namespace stamps_tests {
namespace {

using Ferroline::ASN1::CBigInteger;

const struct {
    const char* name;
    const char* first;
    const char* second;
    int order;
} kCompare[] = {
    {"255 and -1", "00FF", "FF", 1},
    {"-1 in two bytes", "FFFF", "FF", 0},
    {"filler before the other sign stays", "0080", "7F", 1},
    {"more bytes is greater, negative too", "8000", "FE", 1},
    {"same size, negative", "FE00", "FF00", -1},
    {"same size, negative, with a filler", "FF80", "8000", 1},
    {"both empty", "", "", 0},
    {"empty and positive", "", "01", -1},
    {"empty and negative", "", "80", 1},
};

TEST(BigInteger, Compare) {
    for (const auto& row : kCompare) {
        const CBigInteger first(Bytes(row.first));
        const CBigInteger second(Bytes(row.second));
        const int order = first < second ? -1 : (first > second ? 1 : 0);
        EXPECT_EQ(order, row.order) << row.name;
        EXPECT_EQ(second < first ? 1 : (second > first ? -1 : 0), row.order) << row.name;
        EXPECT_EQ(first == second, row.order == 0) << row.name;
    }
}

const struct {
    const char* name;
    const char* text;
    unsigned thrown;
    const char* back;
} kTexts[] = {
    {"an odd count that does not", "0x123", 0, "0x12"},
    {"no prefix", "1234", kAsn1Internal, ""},
    {"no digits", "0x", kAsn1Internal, ""},
};

TEST(BigInteger, Text) {
    for (const auto& row : kTexts) {
        CBigInteger value;
        EXPECT_EQ(Thrown([&] { value.FromString(row.text); }), row.thrown) << row.name;
        if (row.thrown == 0) {
            EXPECT_EQ(value.ToString(), row.back) << row.name;
        }
    }
    EXPECT_EQ(CBigInteger().ToPositive().ToString(), "0x");
}

}  // namespace
}  // namespace stamps_tests
