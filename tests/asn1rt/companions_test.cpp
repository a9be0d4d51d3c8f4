// Message buffers and streams; lists, bit strings and times over a context.
#include <cstdio>
#include <fstream>
#include <memory>

#include "asn1/rtsrc/bit_string.h"
#include "asn1/rtsrc/lists.h"
#include "asn1/rtsrc/times.h"
#include "tests/asn1rt/support.h"

namespace asn1rt {
namespace {

template <class Action>
int Thrown(const Action& action) {
    try {
        action();
    } catch (const ASN1RTLException& error) {
        return error.getStatus();
    }
    return ASN_OK;
}

// ---- buffers -----------------------------------------------------------------

TEST(Buffers, EncodedMessageIsTaken) {
    ASN1BEREncodeBuffer buffer;
    ASN1Context& context = *buffer.getContextPtr();
    EXPECT_EQ(context.byteIndex, kBufferStep - 1);
    ASSERT_EQ(xe_integer(context, 128, kExplicit), 4);
    const std::unique_ptr<std::uint8_t[]> copy(buffer.getMsgCopy());
    EXPECT_EQ(ToHex(copy.get(), 4), "02 02 00 80");
    EXPECT_EQ(context.byteIndex, kBufferStep - 1);
    EXPECT_EQ(buffer.getContext()->referenceCount, 2U);
}

TEST(Buffers, SourceIsReadFromItsStart) {
    const Bytes first = FromHex("02 01 05");
    const Bytes second = FromHex("02 01 06");
    ASN1BERDecodeBuffer buffer;
    ASN1Context& context = *buffer.getContextPtr();
    ASN1INT value = 0;
    EXPECT_EQ(xd_integer(context, value, kExplicit, 0), ASN_E_ENDOFBUF);
    EXPECT_EQ(buffer.setSource(first.data(), first.size()), ASN_OK);
    EXPECT_EQ(context.errorInfo.status, ASN_OK);
    EXPECT_EQ(xd_integer(context, value, kExplicit, 0), ASN_OK);
    EXPECT_EQ(buffer.setSource(first.data(), first.size()), ASN_OK);
    EXPECT_EQ(context.byteIndex, 3U);  // the same one is left alone
    EXPECT_EQ(buffer.init(), ASN_OK);
    EXPECT_EQ(context.byteIndex, 0U);
    EXPECT_EQ(buffer.setSource(second.data(), second.size()), ASN_OK);
    EXPECT_EQ(xd_integer(context, value, kExplicit, 0), ASN_OK);
    EXPECT_EQ(value, 6);
    EXPECT_EQ(buffer.getMsgPtr(), second.data());
    EXPECT_EQ(buffer.getMsgCopy(), nullptr);
}

TEST(Buffers, UnreadBytesOfAMemoryBuffer) {
    const Bytes bytes = FromHex("05 00 02 01 05");
    ASN1BERDecodeBuffer buffer;
    ASN1MemoryBuffer memory{bytes.data(), bytes.size(), 2};
    EXPECT_EQ(buffer.setBuffer(memory), ASN_OK);
    EXPECT_EQ(buffer.init(), ASN_OK);
    ASN1INT value = 0;
    EXPECT_EQ(xd_integer(*buffer.getContextPtr(), value, kExplicit, 0), ASN_OK);
    EXPECT_EQ(value, 5);
    memory.read = 6;
    EXPECT_EQ(buffer.setBuffer(memory), ASN_E_INVPARAM);
    EXPECT_EQ(buffer.initBuffer(memory), ASN_E_NOTSUPP);
    EXPECT_EQ(buffer.setStatus(ASN_OK), ASN_E_NOTSUPP);
}

TEST(Buffers, ConstructorsThrow) {
    const Bytes bytes(1);
    EXPECT_EQ(Thrown([] { ASN1BERDecodeBuffer(nullptr, 1); }), ASN_E_INVPARAM);
    EXPECT_EQ(Thrown([&] { ASN1BERDecodeBuffer(bytes.data(), std::size_t{1} << 31); }),
              ASN_E_TOOBIG);
    EXPECT_EQ(Thrown([] { ASN1BEREncodeBuffer(nullptr, 1); }), ASN_E_INVPARAM);
    std::uint8_t byte = 0;
    EXPECT_EQ(Thrown([&] { ASN1BEREncodeBuffer(&byte, 0); }), ASN_E_INVPARAM);
    EXPECT_EQ(Thrown([] { ASN1BERDecodeBuffer(nullptr, 0); }), ASN_OK);
}

TEST(Buffers, FileAsSource) {
    const std::string name = testing::TempDir() + "asn1rt_stream";
    for (const std::size_t size : {0U, 16383U, 16384U, 70000U}) {
        Bytes bytes(size, 0x5A);
        std::ofstream(name, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(size));
        std::unique_ptr<ASN1BERDecodeBuffer> buffer;
        {
            OSCFileInputStream stream(name.c_str());
            EXPECT_TRUE(stream.isOpened());
            buffer = std::make_unique<ASN1BERDecodeBuffer>(stream);
            stream.close();
            EXPECT_EQ(Thrown([&] { stream.read(bytes.data(), 1); }), ASN_E_FILEREAD);
        }
        const ASN1Context& context = *buffer->getContextPtr();
        EXPECT_EQ(Bytes(context.buffer, context.buffer + context.size), bytes);
    }
    std::remove(name.c_str());
    EXPECT_EQ(Thrown([&] { OSCFileInputStream stream(name.c_str()); }), ASN_E_FILNOTFOU);
    EXPECT_EQ(Thrown([] {
                  OSCFileInputStream folder(testing::TempDir().c_str());
                  ASN1BERDecodeBuffer buffer(folder);
              }),
              ASN_E_FILEREAD);
}

// ---- lists -------------------------------------------------------------------

class Lists : public testing::Test {
  protected:
    void Fill(int count) {
        for (int i = 0; i < count; ++i) *list_.append<int>() = i;
    }
    std::string Text() {
        std::string text;
        for (const int element : elements_) text += std::to_string(element);
        return text;
    }
    static int At(void* element) { return element == nullptr ? -1 : *static_cast<int*>(element); }

    ASN1BEREncodeBuffer buffer_;
    ASN1TList<int> elements_;
    ASN1CSeqOfList list_{buffer_, elements_};
};

TEST_F(Lists, WalkedToTheEnd) {
    Fill(2);
    ASN1CSeqOfListIterator* iterator = list_.iterator();
    EXPECT_EQ(At(iterator->next()), 0);
    EXPECT_TRUE(iterator->hasNext());
    EXPECT_EQ(At(iterator->next()), 1);
    EXPECT_FALSE(iterator->hasNext());
    EXPECT_EQ(iterator->status(), ASN_OK);
    EXPECT_EQ(iterator->next(), nullptr);
    EXPECT_EQ(iterator->status(), ASN_E_SETMISRQ);
    iterator->reset();
    EXPECT_EQ(At(iterator->next()), 0);
    EXPECT_EQ(iterator->status(), ASN_OK);
}

TEST_F(Lists, ChangeStopsOtherIterators) {
    Fill(3);
    ASN1CSeqOfListIterator* first = list_.iterator();
    ASN1CSeqOfListIterator* second = list_.iterator();
    first->next();
    second->next();
    EXPECT_EQ(first->remove(), ASN_OK);
    EXPECT_EQ(At(first->next()), 1);
    EXPECT_EQ(second->next(), nullptr);
    EXPECT_EQ(second->status(), ASN_E_CONCMODF);
    EXPECT_EQ(second->remove(), ASN_E_CONCMODF);
    Fill(1);
    EXPECT_EQ(first->next(), nullptr);
    EXPECT_EQ(first->status(), ASN_E_CONCMODF);
    EXPECT_EQ(Text(), "120");
}

TEST_F(Lists, RemovalAnywhere) {
    const struct {
        const char* removed;  // by the iterator
        const char* left;
    } rows[] = {{"0", "123"}, {"3", "012"}, {"01", "23"}, {"12", "03"}, {"0123", ""}};
    for (const auto& row : rows) {
        list_.clear();
        EXPECT_TRUE(list_.isEmpty());
        Fill(4);
        ASN1CSeqOfListIterator* iterator = list_.iterator();
        EXPECT_EQ(iterator->remove(), ASN_E_ILLSTATE);
        while (iterator->hasNext()) {
            const char element = static_cast<char>('0' + At(iterator->next()));
            if (std::string_view(row.removed).find(element) == std::string_view::npos) continue;
            EXPECT_EQ(iterator->remove(), ASN_OK) << row.removed;
            EXPECT_EQ(iterator->remove(), ASN_E_ILLSTATE) << row.removed;
        }
        EXPECT_EQ(Text(), row.left) << row.removed;
        EXPECT_EQ(list_.size(), std::string_view(row.left).size());
        Fill(1);  // the tail is right
        EXPECT_EQ(Text(), std::string(row.left) + "0") << row.removed;
    }
}

TEST_F(Lists, Indices) {
    Fill(3);
    void* element = nullptr;
    EXPECT_EQ(list_.get(2, element), ASN_OK);
    EXPECT_EQ(At(element), 2);
    EXPECT_TRUE(list_.get(3, element) == ASN_E_OUTOFBND && list_.remove(3) == ASN_E_OUTOFBND);
    int mine = 7;
    EXPECT_TRUE(list_.remove(1) == ASN_OK && list_.append(&mine) == ASN_OK);
    EXPECT_EQ(Text(), "027");
}

// ---- bit strings -------------------------------------------------------------

TEST(BitStrings, BitByBit) {
    const Bytes bytes = FromHex("03 03 03 A5 FF");  // the last three bits are no bits
    ASN1BERDecodeBuffer buffer(bytes.data(), bytes.size());
    ASN1DynBitStr value;
    ASSERT_EQ(xd_bitstr(*buffer.getContextPtr(), value, kExplicit, 0), ASN_OK);
    ASN1CBitStr bits(buffer, value);
    EXPECT_TRUE(bits.get(0) && !bits.get(1) && bits.get(12) && !bits.get(13));
    EXPECT_EQ(bits.cardinality(), 9U);
    EXPECT_EQ(bits.clear(8, 100), ASN_OK);
    EXPECT_EQ(ToHex(bytes), "03 03 03 A5 FF");  // the message is as it was
    EXPECT_EQ(bits.length(), 8U);
    EXPECT_EQ(bits.size(), 13U);
    EXPECT_EQ(bits.set(1), ASN_OK);
    EXPECT_EQ(bits.set(14, 17), ASN_OK);
    EXPECT_EQ(ToHex(value.data, 3), "E5 03 80");
    EXPECT_EQ(bits.size(), 17U);
    EXPECT_EQ(bits.set(70), ASN_OK);
    EXPECT_EQ(bits.cardinality(), 9U);
    EXPECT_EQ(ToHex(value.data, 9), "E5 03 80 00 00 00 00 00 02");
    EXPECT_EQ(bits.grow(1000), ASN_OK);
    EXPECT_EQ(bits.size(), 1000U);
    EXPECT_EQ(bits.length(), 71U);
    EXPECT_EQ(bits.set(3, 2), ASN_E_OUTOFBND);
    EXPECT_EQ(bits.clear(3, 2), ASN_E_OUTOFBND);
    bits.clear();
    EXPECT_TRUE(bits.size() == 0 && !bits.get(0) && bits.length() == 0);
    EXPECT_EQ(bits.set(UINT32_MAX), ASN_E_OUTOFBND);
    EXPECT_EQ(bits.set(0), ASN_OK);
    EXPECT_EQ(ToHex(value.data, 1), "80");
}

// ---- times -------------------------------------------------------------------

const char* const kBad = "bad";

template <class Time>
std::string Rewritten(const char* text) {
    ASN1BEREncodeBuffer buffer;
    ASN1CharStr value{text};
    Time time(buffer, value);
    if (const int status = time.Parse(); status < 0) {
        return status == ASN_E_INVFORMAT ? kBad : "another status";
    }
    return time.Compile() == ASN_OK ? value.text : "cannot write";
}

TEST(Times, Texts) {
    constexpr auto kGeneral = Rewritten<ASN1CGeneralizedTime>;
    constexpr auto kUtc = Rewritten<ASN1CUTCTime>;
    const struct {
        std::string (*rewrite)(const char* text);
        const char* text;
        const char* rewritten;
    } rows[] = {
        {kGeneral, "20261121055007.120Z", "20261121055007.12Z"},
        {kGeneral, "20261121055007,000000001Z", "20261121055007.000000001Z"},
        {kGeneral, "20261121055007.1234567890Z", "20261121055007.123456789Z"},
        {kGeneral, "20261121055007.1234567891Z", kBad},
        {kGeneral, "19851106210627+03", "19851106210627+0300"},
        {kGeneral, "1985110621.1234Z", "19851106210724.24Z"},
        {kGeneral, "1985110621", "19851106210000"},
        {kGeneral, "20230229000000Z", kBad},
        {kGeneral, "20161231235960Z", "20161231235960Z"},
        {kGeneral, "20230101000000+2400", kBad},
        {kGeneral, "20230101000000.Z", kBad},
        {kGeneral, "", kBad},
        {kUtc, "491231235959Z", "491231235959Z"},
        {kUtc, "991231235959-03", kBad},
        {kUtc, "991231235959", kBad},
        {kUtc, "990229000000Z", kBad},
    };
    for (const auto& row : rows) EXPECT_EQ(row.rewrite(row.text), row.rewritten) << row.text;
    EXPECT_EQ(kGeneral(nullptr), kBad);
}

TEST(Times, Seconds) {
    const struct {
        std::int64_t seconds;
        const char* text;  // of date -u -d @seconds +%Y%m%d%H%M%SZ
    } rows[] = {{-1, "19691231235959Z"},
                {951827696, "20000229123456Z"},
                {253402300799, "99991231235959Z"},
                {-62167219200, "00000101000000Z"}};
    for (const auto& row : rows) {
        ASN1BEREncodeBuffer buffer;
        ASN1CharStr value;
        ASN1CGeneralizedTime time(buffer, value);
        EXPECT_EQ(time.SetTime(row.seconds), ASN_OK) << row.text;
        EXPECT_EQ(time.Compile(), ASN_OK) << row.text;
        EXPECT_STREQ(value.text, row.text);
        std::int64_t seconds = 1;
        EXPECT_EQ(time.GetTime(seconds), ASN_OK) << row.text;
        EXPECT_EQ(seconds, row.seconds);
        EXPECT_EQ(time.SetTime(253402300800), ASN_E_INVPARAM);
        time.parts.difference = 90;
        EXPECT_EQ(time.GetTime(seconds), ASN_OK);
        EXPECT_EQ(seconds, row.seconds - 5400);
    }
}

TEST(Times, PartsThatCannotBeTold) {
    ASN1BEREncodeBuffer buffer;
    ASN1CharStr value;
    ASN1CUTCTime time(buffer, value);
    std::int64_t seconds = 0;
    for (const ASN1TimeParts& parts :
         {ASN1TimeParts{.year = 2050},
          ASN1TimeParts{.year = 2000, .fraction = 1, .fractionDigits = 1},
          ASN1TimeParts{.year = 2000, .utc = false}, ASN1TimeParts{.year = 2000, .month = 13},
          ASN1TimeParts{.year = 2000, .minute = -1},
          ASN1TimeParts{.year = 2000, .fractionDigits = 1000}}) {
        time.parts = parts;
        EXPECT_EQ(time.Compile(), ASN_E_INVPARAM) << parts.year << ' ' << parts.fractionDigits;
    }
    time.parts.utc = false;
    EXPECT_EQ(time.GetTime(seconds), ASN_E_INVPARAM);
    EXPECT_EQ(value.text, nullptr);
}

}  // namespace
}  // namespace asn1rt
