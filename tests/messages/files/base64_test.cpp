// The BASE64 forms against hand-made text.
#include "messages/files/base64.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <random>
#include <stdexcept>

#include "tests/messages/support.h"

namespace messages_tests {
namespace {

using namespace kestrel;
using std::string_literals::operator""s;

using Encoder = bool (*)(const BYTE*, DWORD, char*, DWORD*);
using Decoder = bool (*)(const char*, DWORD, BYTE*, DWORD*);

constexpr DWORD kBadEncode = 0x80092002;

std::string Counting(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i);
    return bytes;
}

std::string Encode(Encoder encoder, const std::string& bytes, DWORD capacity) {
    std::string text(capacity, '?');
    EXPECT_TRUE(encoder(AsBytes(bytes), SizeOf(bytes), text.data(), &capacity));
    return text.substr(0, capacity);
}

// ---- encoders ----------------------------------------------------------------

// Of the bytes 0, 1, 2, ...: the first 48, 57 and 60, as the base64 command writes them.
const std::string kLine64 = "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8gISIjJCUmJygpKissLS4v";
const std::string kLine76 = kLine64 + "MDEyMzQ1Njc4";

// No tool at hand leaves the rest on the full line.
TEST(Base64Encoding, KnownTexts76) {
    const struct {
        std::size_t size;
        std::string text;
    } rows[] = {{0, ""},
                {1, "AA=="},
                {3, "AAEC"},
                {57, kLine76},
                {58, kLine76 + "OQ=="},
                {59, kLine76 + "OTo="},
                {60, kLine76 + "\r\nOTo7"}};
    for (const auto& row : rows) {
        EXPECT_EQ(Encode(EncodeBase64Lines76, Counting(row.size), 300), row.text) << row.size;
    }
}

// The openssl command writes the same lines with bare line feeds.
TEST(Base64Encoding, EqualsTheOpensslCommand) {
    const std::string path = testing::TempDir() + "base64_input";
    for (const std::size_t size : {1UL, 2UL, 3UL, 47UL, 48UL, 49UL, 4096UL, 100003UL}) {
        const std::string bytes = Noise(size, static_cast<std::uint32_t>(size));
        std::ofstream(path, std::ios::binary) << bytes;
        const std::unique_ptr<FILE, int (*)(FILE*)> pipe(
            popen(("openssl base64 -in " + path).c_str(), "r"), pclose);
        std::string expected;
        for (int c = std::fgetc(pipe.get()); c != EOF; c = std::fgetc(pipe.get())) {
            if (c == '\n') expected += '\r';
            expected += static_cast<char>(c);
        }
        EXPECT_EQ(Encode(EncodeBase64Lines64, bytes, SizeOf(bytes) * 2 + 4), expected) << size;
    }
    std::filesystem::remove(path);
}

const struct {
    const char* name;
    Encoder encoder;
    DWORD size;
    DWORD capacity;
    bool fits;
} kCapacities[] = {
    {"64 columns demand a byte more than groups", EncodeBase64Lines64, 4, 8, false},
    {"64 columns, one short of text and line end", EncodeBase64Lines64, 4, 9, false},
    {"64 columns, text and line end", EncodeBase64Lines64, 4, 10, true},
    {"76 columns want room for a line end", EncodeBase64Lines76, 3, 5, false},
    {"76 columns, a group", EncodeBase64Lines76, 3, 6, true},
    {"76 columns, one short of a full line", EncodeBase64Lines76, 57, 79, false},
    {"76 columns, a full line counts two ends", EncodeBase64Lines76, 57, 80, true},
};

TEST(Base64Encoding, Capacity) {
    for (const auto& row : kCapacities) {
        const std::string bytes = Counting(row.size);
        std::string text(row.capacity + 1, '?');
        DWORD length = row.capacity;
        SetLastError(0);
        EXPECT_EQ(row.encoder(AsBytes(bytes), row.size, text.data(), &length), row.fits)
            << row.name;
        EXPECT_EQ(GetLastError(), row.fits ? 0U : ERROR_MORE_DATA) << row.name;
        EXPECT_EQ(text.back(), '?') << row.name;
    }
    EXPECT_THROW(Base64Lines76Capacity(0x40000000), std::invalid_argument);
    EXPECT_EQ(Base64Lines76Capacity(0), 2U);
}

// ---- decoders ----------------------------------------------------------------

const struct {
    const char* name;
    Decoder decoder;
    std::string text;
    std::string bytes;
    DWORD error;  // of the block decoder; the other one has none
} kDecodings[] = {
    {"blocks: white inside a group", DecodeBase64Blocks, " \tQU\r\nJ D\n", "ABC", 0},
    {"blocks: pads inside are zero bits and come off the end", DecodeBase64Blocks, "QQ==QUJD",
     "A\0\0A"s, 0},
    {"blocks: pads come off every later block", DecodeBase64Blocks, "QQ==-QUJD", "AA", 0},
    {"blocks: more pads than data", DecodeBase64Blocks, "====", "", kBadEncode},
    {"blocks: odd characters at the end are dropped", DecodeBase64Blocks, "QUJDRA", "", 0},
    {"blocks: odd characters before a dash", DecodeBase64Blocks, "QUJDR-", "", kBadEncode},
    {"blocks: a dash flushes", DecodeBase64Blocks, "QUJD-REVG", "ABCDEF", 0},
    {"blocks: a dash on nothing takes a byte off", DecodeBase64Blocks, "-QUJD", "AB", 0},
    {"blocks: the second dash of two", DecodeBase64Blocks, "QUJD--REVG", "ABCDE", 0},
    {"blocks: the top bit is not looked at", DecodeBase64Blocks, "\xD1UJ\xC4", "ABC", 0},
    {"blocks: outside the alphabet", DecodeBase64Blocks, "QU*D", "", kBadEncode},
    {"blocks: armour is data", DecodeBase64Blocks, "-----BEGIN X-----\r\nQUJD\r\n", "", kBadEncode},
    {"text: a pad between groups joins them", DecodeBase64Text, "QQ==QUJD", "A\x04\x14$", 0},
    {"text: a single character is nothing", DecodeBase64Text, "Q", "", 0},
    {"text: foreign bytes are skipped", DecodeBase64Text, "Q*U\xD1J\r\nD!", "ABC", 0},
    {"text: NUL where a group begins ends it", DecodeBase64Text, "QUJD\0QUJD"s, "ABC", 0},
    {"text: NUL inside a group is skipped", DecodeBase64Text, "QU\0JD"s, "ABC", 0},
};

TEST(Base64Decoding, KnownTexts) {
    for (const auto& row : kDecodings) {
        std::string bytes(row.text.size() + 3, '?');
        DWORD length = SizeOf(bytes);
        SetLastError(1);
        const bool decoded = row.decoder(row.text.data(), SizeOf(row.text),
                                         reinterpret_cast<BYTE*>(bytes.data()), &length);
        EXPECT_EQ(decoded, row.error == 0) << row.name;
        EXPECT_EQ(bytes.substr(0, length), row.bytes) << row.name;
        if (row.decoder == DecodeBase64Blocks) {
            EXPECT_EQ(GetLastError(), row.error) << row.name;
        }
    }
}

const struct {
    const char* name;
    Decoder decoder;
    const char* text;
    DWORD capacity;
    DWORD length;
    DWORD error;
    bool given;  // a destination
    bool result;
} kRooms[] = {
    {"blocks: the length", DecodeBase64Blocks, "QUJDREU=", 0, 5, 0, false, true},
    {"blocks: one short", DecodeBase64Blocks, "QUJDREU=", 4, 5, ERROR_MORE_DATA, true, false},
    {"blocks: exact, pads not counted", DecodeBase64Blocks, "QUJDREU=", 5, 5, 0, true, true},
    {"text: the length", DecodeBase64Text, "QUJDREU=", 9, 5, 1, false, false},
    {"text: one short", DecodeBase64Text, "QUJDREU=", 4, 5, 1, true, false},
    {"text: exact", DecodeBase64Text, "QUJDREU=", 5, 5, 1, true, true},
};

TEST(Base64Decoding, Room) {
    for (const auto& row : kRooms) {
        std::string bytes(row.capacity + 1, '?');
        DWORD length = row.capacity;
        SetLastError(1);
        const DWORD size = static_cast<DWORD>(std::strlen(row.text));
        auto* const data = row.given ? reinterpret_cast<BYTE*>(bytes.data()) : nullptr;
        EXPECT_EQ(row.decoder(row.text, size, data, &length), row.result) << row.name;
        EXPECT_EQ(GetLastError(), row.error) << row.name;
        EXPECT_EQ(length, row.length) << row.name;
        EXPECT_EQ(bytes.back(), '?') << row.name;
    }
    DWORD length = 0;
    EXPECT_FALSE(DecodeBase64Blocks(nullptr, 0, nullptr, &length));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_BAD_ARGUMENTS});
    EXPECT_FALSE(DecodeBase64Blocks("", 0, nullptr, nullptr));
}

// ---- the fast way and the plain rules ----------------------------------------

struct Decoded {
    explicit Decoded(const std::string& text, DWORD capacity) {
        const auto buffer = std::make_unique<BYTE[]>(capacity);  // exact, for the sanitizer
        DWORD length = capacity;
        done = DecodeBase64Blocks(text.data(), SizeOf(text), buffer.get(), &length);
        told = length;
        if (done) bytes.assign(buffer.get(), buffer.get() + length);
    }

    bool done;
    DWORD told;
    std::string bytes;
};

// A blank before each character means nothing and keeps the decoder off the fast way.
void ExpectPlainRules(const std::string& text, DWORD capacity) {
    std::string spaced;
    for (const char character : text) spaced.append(" ").append(1, character);
    const Decoded fast(text, capacity);
    const Decoded plain(spaced, capacity);
    ASSERT_EQ(fast.done, plain.done) << text;
    ASSERT_EQ(fast.told, plain.told) << text;
    ASSERT_EQ(fast.bytes, plain.bytes) << text;
}

TEST(Base64Decoding, FastWayEqualsThePlainRules) {
    std::mt19937 random(20240229);
    const auto below = [&random](std::size_t limit) { return random() % limit; };
    const std::string mischief = "=-\n\r \t*\xC1\x80\xBDQ"s + '\0';
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        const std::size_t width = below(2) != 0 ? 64 : 1 + below(130);
        for (std::size_t line = below(6); line > 0; --line) {
            for (std::size_t i = 0; i < width; ++i) text += kLine76[below(kLine76.size())];
            text += below(4) != 0 ? "\r\n" : "\n";
        }
        for (std::size_t changes = below(4); changes > 0 && !text.empty(); --changes) {
            const std::size_t at = below(3) != 0 ? below(text.size()) : text.size() - 1;
            text.replace(at, below(2), 1, mischief[below(mischief.size())]);
        }
        const DWORD full = SizeOf(text) / 4 * 3 + 3;
        ASSERT_NO_FATAL_FAILURE(ExpectPlainRules(text, full));
        ASSERT_NO_FATAL_FAILURE(ExpectPlainRules(text, static_cast<DWORD>(below(full + 1))));
    }
}

// Each byte value at each place of a line that would otherwise take the fast way, and
// each cut.
TEST(Base64Decoding, EveryByteAndCutOfPlainLines) {
    const std::string lines = kLine64 + "\r\n" + kLine64 + "\n" + kLine64 + "\r\nQUI=\r\n";
    for (std::size_t at = 60; at < 140; ++at) {
        for (int value = 0; value < 256; ++value) {
            std::string text = lines;
            text[at] = static_cast<char>(value);
            ASSERT_NO_FATAL_FAILURE(ExpectPlainRules(text, SizeOf(text)));
        }
    }
    for (std::size_t size = 0; size <= lines.size(); ++size) {
        ASSERT_NO_FATAL_FAILURE(ExpectPlainRules(lines.substr(0, size), SizeOf(lines)));
    }
}

}  // namespace
}  // namespace messages_tests
