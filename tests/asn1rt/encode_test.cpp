// Encoding of primitives and headers, growth of the buffer, the sort of SET OF.
#include <algorithm>
#include <functional>

#include "asn1/rtbersrc/generated_support.h"
#include "tests/asn1rt/support.h"

namespace asn1rt {
namespace {

ASN1OBJID ObjectId(std::initializer_list<std::uint32_t> arcs) {
    ASN1OBJID value;
    for (const std::uint32_t arc : arcs) value.subid[value.numids++] = arc;
    return value;
}

const std::uint8_t kBytes[] = {0x0A, 0x3B, 0x5F, 0x29, 0x1C, 0xDF};
const std::uint16_t kWide[] = {0x041F, 0x41};
const std::uint32_t kWider[] = {0x1F600};
const ASN116BitCharStr kBmp = {2, kWide};
const ASN132BitCharStr kUniversal = {1, kWider};
const ASN1OpenType kByte = {1, kBytes};

TEST(Encode, Elements) {
    using Write = std::function<int(ASN1Context&)>;
    const auto integer = [](ASN1INT value) {
        return [value](ASN1Context& context) { return xe_integer(context, value, kExplicit); };
    };
    const auto natural = [](ASN1UINT value) {
        return [value](ASN1Context& context) { return xe_unsigned(context, value, kExplicit); };
    };
    const auto big = [](const char* text) {
        return [text](ASN1Context& context) { return xe_bigint(context, {text}, kExplicit); };
    };
    const auto arcs = [](const ASN1OBJID& value) {
        return [value](ASN1Context& context) { return xe_objid(context, value, kExplicit); };
    };
    const auto bits = [](std::uint32_t count, const std::uint8_t* data) {
        return [=](ASN1Context& context) { return xe_bitstr(context, {count, data}, kExplicit); };
    };
    const auto octets = [](std::uint32_t count, const std::uint8_t* data) {
        return [=](ASN1Context& context) { return xe_octstr(context, {count, data}, kExplicit); };
    };
    const auto header = [](ASN1TAG tag, int length) {
        return [=](ASN1Context& context) {
            const int written = xe_tag_len(context, tag, length);
            return written < 0 || length < 0 ? written : written - length;
        };
    };
    ASN1OBJID full;
    full.numids = ASN_K_MAXSUBIDS + 1;
    const struct {
        const char* name;
        Write write;
        const char* expected;
    } rows[] = {
        {"128", integer(128), "02 02 00 80"},
        {"-129", integer(-129), "02 02 FF 7F"},
        {"unsigned greatest", natural(UINT32_MAX), "02 05 00 FF FF FF FF"},
        {"big, the zero in front", big("0x08001"), "02 02 80 01"},
        {"big, the octet in front", big("0x00ff"), "02 02 00 FF"},
        {"big, odd", big("0x123"), "02 02 01 23"},
        {"big nothing", big("0x0"), "02 01 00"},
        {"big no hex", big("0x0g"), "status -14"},
        {"big decimal negative", big("-129"), "02 02 FF 7F"},
        {"big no number", big("12a"), "status -18"},
        {"big null", big(nullptr), "status -18"},
        {"true", [](auto& c) { return xe_boolean(c, 5, kExplicit); }, "01 01 FF"},
        {"enumerated", [](auto& c) { return xe_enum(c, -1, kExplicit); }, "0A 01 FF"},
        {"greatest arcs", arcs(ObjectId({2, UINT32_MAX, UINT32_MAX})),
         "06 0A 90 80 80 80 4F 8F FF FF FF 7F"},
        {"3.1", arcs(ObjectId({3, 1})), "status -4"},
        {"1.40", arcs(ObjectId({1, 40})), "status -4"},
        {"129 arcs", [&](auto& c) { return xe_objid(c, full, kExplicit); }, "status -4"},
        {"bits of X.690 8.6.4.2, rest cleared", bits(44, kBytes), "03 07 04 0A 3B 5F 29 1C D0"},
        {"bits none", bits(0, nullptr), "03 01 00"},
        {"bits null", bits(1, nullptr), "status -18"},
        {"octets", octets(3, kBytes), "04 03 0A 3B 5F"},
        {"octets null", octets(1, nullptr), "status -18"},
        {"octets too many", octets(UINT32_MAX, kBytes), "status -33"},
        {"text", [](auto& c) { return xe_charstr(c, {"Jones"}, kExplicit, 0x1A); },
         "1A 05 4A 6F 6E 65 73"},
        {"text null", [](auto& c) { return xe_charstr(c, {}, kExplicit, 0x1A); }, "status -18"},
        {"bmp", [](auto& c) { return xe_16BitCharStr(c, kBmp, kExplicit, 30); },
         "1E 04 04 1F 00 41"},
        {"universal", [](auto& c) { return xe_32BitCharStr(c, kUniversal, kExplicit, 28); },
         "1C 04 00 01 F6 00"},
        {"open of a byte", [](auto& c) { return xe_open_type(c, kByte); }, "status -18"},
        {"header of a byte each", header(0x20000010, 127), "30 7F"},
        {"length 65536", header(0x20000010, 65536), "30 83 01 00 00"},
        {"length indefinite", header(0xA0000000, ASN_K_INDEFLEN), "A0 80"},
        {"a status comes back", header(0x20000010, ASN_E_NOMEM), "status -12"},
        {"sum over", header(0x20000010, INT32_MAX - 2), "status -5"},
        {"tag 31", header(0x8000001F, 0), "9F 1F 00"},
        {"tag greatest", header(0xFFFFFFFF, 0), "FF 81 FF FF FF 7F 00"},
        {"length negative", [](auto& c) { return xe_len(c, -1); }, "status -5"},
    };
    for (const auto& row : rows) {
        Output output;
        EXPECT_EQ(output.Hex(row.write(*output)), row.expected) << row.name;
    }
}

TEST(Encode, BufferGrowsWithAllBytesAtItsEnd) {
    // Up to and beyond the first size, by small and by great pieces.
    for (const std::uint32_t piece : {1U, 2U, 1000U, 16383U, 16384U, 16385U, 50000U}) {
        Output output;
        Bytes expected;
        const std::uint32_t pieces = 2 * 50000 / piece + 2;
        for (std::uint32_t i = 0; i < pieces; ++i) {
            const Bytes bytes(piece, static_cast<std::uint8_t>(i * 7));
            ASSERT_EQ(xe_memcpy(*output, bytes.data(), piece), static_cast<int>(piece));
            expected.insert(expected.begin(), bytes.begin(), bytes.end());
        }
        EXPECT_EQ(output.Taken(static_cast<int>(expected.size())), expected) << piece;
        EXPECT_EQ(output->size - output->byteIndex, expected.size() + 1) << piece;
    }
}

// What a constraint or a default is compared with.
TEST(Encode, ClampedNumbers) {
    const std::pair<std::string, std::int64_t> rows[] = {
        {"0x0ff", -1},
        {"0x7fffffffffffffff", kNoHigh},
        {"0x08000000000000000", kNoLow},
        {"0x008000000000000000", kNoHigh},
        {"0x7f" + Repeat("ff", 20), kNoHigh},
        {"0x0" + Repeat("ff", 20), kNoLow},
        {"0x" + Repeat("FF", 20), kNoLow},
        {"-1" + Repeat("00", 20), kNoLow},
    };
    for (const auto& [text, number] : rows) {
        EXPECT_EQ(ClampedNumber({text.c_str()}), number) << text;
    }
}

TEST(Encode, FixedBufferDoesNotGrow) {
    std::uint8_t data[5] = {9, 9, 9, 9, 9};
    ASN1BEREncodeBuffer buffer(data, sizeof(data));
    ASN1Context& context = *buffer.getContextPtr();
    EXPECT_EQ(xe_integer(context, 128, kExplicit), 4);
    EXPECT_EQ(xe_null(context, kExplicit), ASN_E_BUFOVFLW);
    EXPECT_EQ(context.errorInfo.status, ASN_E_BUFOVFLW);
    EXPECT_EQ(ToHex(data, sizeof(data)), "02 02 00 80 09");
    EXPECT_EQ(buffer.init(), ASN_OK);
    EXPECT_EQ(xe_memcpy(context, "", 0), 0);
    EXPECT_EQ(xe_memcpy(context, nullptr, 0), ASN_E_BADVALUE);
}

TEST(Encode, CanonicalSort) {
    const struct {
        const char* name;
        std::vector<std::string> written;  // the last one comes to stand in front
        const char* expected;
    } rows[] = {
        {"none", {}, ""},
        {"by tag, length, contents",
         {"04 01 00", "02 02 00 80", "02 01 7F", "04 00", "02 01 80", "0C 01 41"},
         "02 01 7F 02 01 80 02 02 00 80 04 00 04 01 00 0C 01 41"},
        {"equal ones stay", {"05 00", "01 01 FF", "05 00"}, "01 01 FF 05 00 05 00"},
        {"bytes are unsigned", {"04 01 80", "04 01 7F"}, "04 01 7F 04 01 80"},
    };
    for (const auto& row : rows) {
        Output output;
        ASSERT_EQ(xe_null(*output, kExplicit), 2);  // stands behind the set
        std::vector<ASN1Written> elements;
        int total = 0;
        for (const std::string& hex : row.written) {
            const Bytes bytes = FromHex(hex);
            total += xe_memcpy(*output, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
            elements.push_back(
                {output->size - output->byteIndex, static_cast<std::uint32_t>(bytes.size())});
        }
        const auto count = static_cast<std::uint32_t>(elements.size());
        EXPECT_EQ(xe_derCanonicalSort(*output, elements.data(), count), ASN_OK) << row.name;
        EXPECT_EQ(output.Hex(total), row.expected) << row.name;
        EXPECT_TRUE(output.Hex(total + 2).ends_with("05 00")) << row.name;
        for (const ASN1Written& element : elements) {
            const std::uint8_t* place = output->buffer + output->size - element.fromEnd;
            const std::string hex = ToHex(place, element.length);
            EXPECT_NE(std::find(row.written.begin(), row.written.end(), hex), row.written.end())
                << row.name;
        }
    }
}

TEST(Encode, CanonicalSortRefusesStrangeElements) {
    const std::vector<ASN1Written> rows[] = {
        {{3, 2}, {5, 1}},          // a gap
        {{3, 2}, {6, 3}},          // beyond what is written
        {{5, 6}},                  // longer than all
        {{5, 2}, {5, 2}},          // the same twice
        {{5, UINT32_MAX}, {3, 2}}  // a length that wraps
    };
    for (std::vector<ASN1Written> elements : rows) {
        Output output;
        xe_null(*output, kExplicit);
        xe_null(*output, kExplicit);
        EXPECT_EQ(xe_derCanonicalSort(*output, elements.data(),
                                      static_cast<std::uint32_t>(elements.size())),
                  ASN_E_BADVALUE)
            << elements[0].fromEnd << ' ' << elements[0].length;
    }
    Output output;
    EXPECT_EQ(xe_derCanonicalSort(*output, nullptr, 1), ASN_E_BADVALUE);
}

}  // namespace
}  // namespace asn1rt
