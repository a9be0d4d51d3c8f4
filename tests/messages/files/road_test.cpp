// The input side of the streaming road.
#include "messages/files/road.h"

#include "front/core/catalogue.h"
#include "messages/files/base64.h"
#include "tests/messages/support.h"

namespace messages_tests {
namespace {

using namespace kestrel;
using std::string_literals::operator""s;

// ---- a message to read -------------------------------------------------------

std::string Element(char tag, const std::string& value) {
    const auto size = static_cast<std::uint32_t>(value.size());
    std::string length = "\x84";
    for (const int shift : {24, 16, 8, 0}) length += static_cast<char>(size >> shift);
    return tag + length + value;
}

// SignedData (RFC 5652, 5.1) without signers: the content is all that it carries.
std::string SignedMessage(const std::string& content) {
    const std::string data = "\x06\x09\x2A\x86\x48\x86\xF7\x0D\x01\x07\x01";
    const std::string signedData = "\x06\x09\x2A\x86\x48\x86\xF7\x0D\x01\x07\x02";
    const std::string inside = "\x02\x01\x01\x31"s + '\0' +
                               Element(0x30, data + Element('\xA0', Element(0x04, content))) +
                               "\x31"s + '\0';
    return Element(0x30, signedData + Element('\xA0', Element(0x30, inside)));
}

// A message of exactly this many bytes.
std::string MessageOfSize(std::size_t size) {
    const std::size_t frame = SignedMessage(std::string(size - 80, 'x')).size() - (size - 80);
    return SignedMessage(Noise(size - frame, 5));
}

std::string InLines(const std::string& bytes, std::size_t width, const std::string& end) {
    std::string line = Lines64(bytes);
    std::erase_if(line, [](char c) { return c == '\r' || c == '\n'; });
    if (width == 0) return line;
    std::string text;
    for (std::size_t at = 0; at < line.size(); at += width) text += line.substr(at, width) + end;
    return text;
}

// ---- reading it --------------------------------------------------------------

BOOL WINAPI Collect(const void* argument, BYTE* block, DWORD size, BOOL) {
    static_cast<std::string*>(const_cast<void*>(argument))
        ->append(reinterpret_cast<char*>(block), size);
    return TRUE;
}

struct Reading {
    DWORD code = 0;
    std::string content;
    std::string output;
};

class Roads : public FolderTest {
  protected:
    [[nodiscard]] Reading Read(const std::string& file) const {
        Reading reading;
        const std::string path = Store("message", file);
        InputFile input;
        EXPECT_EQ(OpenInput(path.c_str(), input), 0U);
        CMSG_STREAM_INFO stream{CMSG_INDEFINITE_LENGTH, Collect, &reading.content};
        const MessageHolder message(
            CryptMsgOpenToDecode(kMessageEncodingType, 0, 0, 0, nullptr, &stream));
        EXPECT_TRUE(message);
        const auto accept = [] { return Reported(); };
        reading.output = Printed([&] { reading.code = FeedDecoder(message.get(), input, accept); });
        return reading;
    }
};

TEST_F(Roads, FormsOfTextAroundTheChunk) {
    const struct {
        std::size_t width;  // 0: one line without an end
        const char* end;
    } forms[] = {{64, "\r\n"}, {64, "\n"}, {76, "\r\n"}, {60, "\n"},
                 {4, "\r\n"},  {0, ""},    {65540, "\n"}};
    for (const auto& row : forms) {
        for (const std::size_t size :
             {200UL, 47000UL, 49150UL, 49151UL, 49152UL, 49153UL, 150000UL}) {
            const std::string message = SignedMessage(Noise(size, 6));
            const Reading reading = Read(InLines(message, row.width, row.end));
            EXPECT_EQ(reading.code, 0U) << row.width << " columns, " << size << reading.output;
            EXPECT_TRUE(reading.content == Noise(size, 6)) << row.width << " columns, " << size;
        }
    }
}

struct BadRow {
    const char* name;
    std::string file;
    DWORD code;  // 0: any failure of the message object
};

TEST_F(Roads, BadText) {
    const std::string message = SignedMessage(Noise(150000, 7));
    std::string broken = InLines(message, 64, "\r\n");
    broken[70000] = '*';
    const BadRow rows[] = {
        {"lines that are not made of groups", InLines(message, 61, "\n"), 0},
        {"a blank first makes it binary", " " + InLines(message, 64, "\r\n"), 0},
        {"cut short", InLines(message, 64, "\r\n").substr(0, 100000), 0},
        {"armour", "-----BEGIN X-----\r\n" + InLines(message, 64, "\r\n"), kBadBase64},
        {"a character outside the alphabet", broken, kBadBase64},
        {"nothing", "", 0},
        {"a text that ends with a line end and its chunk", InLines(MessageOfSize(48513), 76, "\n"),
         kBadBase64},
    };
    EXPECT_EQ(rows[6].file.size(), 65536U);
    for (const BadRow& row : rows) {
        const Reading reading = Read(row.file);
        EXPECT_NE(reading.code, 0U) << row.name;
        if (row.code != 0) {
            EXPECT_EQ(reading.code, row.code) << row.name;
        }
        const std::string error = "Error: ";
        EXPECT_NE(reading.output.find(error), std::string::npos) << row.name;
    }
}

// A file that opens and cannot be read must not make a complete, empty message.
TEST_F(Roads, AReadThatFailsIsNotTheEnd) {
    InputFile input;
    ASSERT_EQ(OpenInput("/proc/self/mem", input), 0U);
    DWORD code = 0;
    EXPECT_EQ(Printed([&] { code = FeedEncoder(nullptr, input); }),
              "\b\b\b\b100%\b\b\b\b    \nError: Can't open file '/proc/self/mem'. (0x20000065)\n");
    EXPECT_EQ(code, kCannotOpenFile);
}

}  // namespace
}  // namespace messages_tests
