// What is no message, or not a whole one: octets written by hand after RFC 5652.
#include <gtest/gtest.h>

#include "platform/base/handle.h"
#include "platform/cms/decoder.h"
#include "tests/support/decode_support.h"

using namespace platform;
using namespace platform::testing;

namespace {

constexpr DWORD kBadTag = Code(CRYPT_E_ASN1_BADTAG);
constexpr DWORD kCorrupt = Code(CRYPT_E_ASN1_CORRUPT);
constexpr DWORD kMissing = Code(CRYPT_E_ASN1_EOD);
constexpr DWORD kOtherType = Code(CRYPT_E_INVALID_MSG_TYPE);

#define SIGNED "3080 06092A864886F70D010702 A080 "
#define ENVELOPED "3080 06092A864886F70D010703 A080 "
#define DATA "06092A864886F70D010701 "
#define END "0000 "

const struct {
    const char* name;
    const char* octets;
    DWORD whole;
    DWORD stream;
} kMalformedCases[] = {
    {"nothing", "", kMissing, kShort},
    {"text", "68656C6C6F2C20776F726C64", kBadTag, kBadTag},
    {"zeros", "0000", kBadTag, kBadTag},
    {"begin of a sequence", "30", kMissing, kShort},
    {"empty sequence", "3000", kMissing, kMissing},
    {"content info of data", "3080 " DATA "A080 0401 61 " END END, 0, 0},
    {"content info of another type", "3080 0601 2A A080 0401 61 " END END, kOtherType, kOtherType},
    {"content info of data without any", "3080 " DATA END, kMissing, kMissing},
    {"type alone", "300B 06092A864886F70D010702", kMissing, kMissing},
    {"type with an open arc", "3005 0601 AA A000", kCorrupt, kCorrupt},
    {"the least signed data", SIGNED "3080 0201 01 3100 3080 " DATA END "3100 " END END END, 0, 0},
    {"the least signed data, definite",
     "3023 06092A864886F70D010702 A016 3014 0201 01 3100 300B " DATA "3100", 0, 0},
    {"the last version", SIGNED "3080 0201 05 3100 3080 " DATA END "3100 " END END END, 0, 0},
    {"a version past the last", SIGNED "3080 0201 06 3100 3080 " DATA END "3100 " END END END,
     kBadMessage, kBadMessage},
    {"a version before the first", SIGNED "3080 0201 00 3100 3080 " DATA END "3100 " END END END,
     kBadMessage, kBadMessage},
    {"an element too many", SIGNED "3080 0201 01 3100 3080 " DATA END "3100 0500 " END END END,
     kBadTag, kBadTag},
    {"two contents",
     SIGNED "3080 0201 01 3100 3080 " DATA "A080 0401 61 0401 61 " END END "3100 " END END END,
     kBadTag, kBadTag},
    {"content with a foreign piece",
     SIGNED "3080 0201 01 3100 3080 " DATA "A080 2480 0401 61 0201 05 " END END END
            "3100 " END END END,
     kBadTag, kBadTag},
    {"certificates behind the revocation lists",
     SIGNED "3080 0201 01 3100 3080 " DATA END "A100 A000 3100 " END END END, kBadTag, kBadTag},
    {"a signer that is none", SIGNED "3080 0201 01 3100 3080 " DATA END "3103 0201 05 " END END END,
     kBadTag, kBadTag},
    {"an empty signer", SIGNED "3080 0201 01 3100 3080 " DATA END "3102 3000 " END END END,
     kMissing, kMissing},
    {"a version of no octets", SIGNED "3080 0200 3100 ", kCorrupt, kCorrupt},
    {"unknown digests, other certificates",
     SIGNED "3080 0201 05 3180 3006 0604 2A030405 " END "3080 " DATA END
            "A080 A305 0603 2A0304 BF8101 02 0500 " END "3100 " END END END,
     0, 0},
    {"absurd length of a certificate",
     SIGNED "3080 0201 01 3100 3080 " DATA END "A080 3088 7FFFFFFFFFFFFF00 01", kMissing, kShort},
    {"absurd length of the content",
     SIGNED "3080 0201 01 3100 3080 " DATA "A080 0488 7FFFFFFFFFFFFF00 01", kMissing, kShort},
    {"enveloped, no recipients, no content",
     ENVELOPED "3080 0201 00 3100 3080 " DATA "3003 0601 2A " END END END END, 0, 0},
    {"enveloped, originator and unprotected attributes",
     ENVELOPED "3080 0201 02 A080 A000 " END "3100 3080 " DATA "3003 0601 2A 8001 61 " END
               "A180 3000 " END END END END,
     0, 0},
    {"enveloped, content in no octet string",
     ENVELOPED "3080 0201 00 3100 3080 " DATA "3003 0601 2A A080 0201 05 " END END END END END,
     kBadTag, kBadTag},
    {"enveloped, no algorithm", ENVELOPED "3080 0201 00 3100 3080 " DATA END END END END, kMissing,
     kMissing},
};

TEST(Malformed, GivesADefinedError) {
    const std::size_t handles = LiveHandles();
    for (const auto& row : kMalformedCases) {
        SCOPED_TRACE(row.name);
        const Bytes octets = FromHex(row.octets);
        Decoding whole(nullptr);
        EXPECT_EQ(whole.Update(octets, true), row.whole);
        for (const std::size_t chunk : {std::size_t{1}, std::size_t{3}, octets.size() + 1}) {
            Sink sink;
            Decoding stream(&sink);
            EXPECT_EQ(stream.Feed(octets, chunk), row.stream) << chunk;
            if (row.stream != 0) {
                EXPECT_EQ(sink.finals, 0);
                EXPECT_EQ(stream.Update({}, true), row.stream) << "not sticky";
            }
        }
    }
    EXPECT_EQ(LiveHandles(), handles);
}

// Limits are small here; their defaults differ in size only.
DWORD FeedLimited(const DecodeLimits& limits, ByteView octets, Sink& sink, std::size_t chunk) {
    DecodeSettings settings;
    settings.limits = limits;
    settings.sink.emplace(sink.Info());
    DecodedMessage message(settings);
    return CodeOf([&] {
        for (std::size_t at = 0; at < octets.size(); at += chunk) {
            message.Update(octets.subspan(at, std::min(chunk, octets.size() - at)), false);
        }
        message.Update({}, true);
    });
}

TEST(Limits, BoundHeadersAndTrailersTogether) {
    const Bytes encoded = SignWith({"rsa"}, "-nodetach -stream", Pattern(100000));
    Sink sink;
    EXPECT_EQ(FeedLimited({.kept = 4000}, encoded, sink, 1000), 0U);
    EXPECT_EQ(FeedLimited({.kept = 500}, encoded, sink, 1000), kLarge);
    // Many small elements cost more than their octets.
    Bytes many = FromHex(SIGNED "3080 0201 01 3100 3080 " DATA END "A080");
    for (int i = 0; i < 1000; ++i) many.insert(many.end(), {0x30, 0x00});
    EXPECT_EQ(FeedLimited({.kept = 4000}, many, sink, 1000), kLarge);
}

TEST(Limits, BoundEncryptedContentThatWaits) {
    const Bytes encoded = EncryptFor({"rsa"}, "-aes256", Pattern(100000));
    Sink sink;
    // What comes with the header is taken whatever its size.
    EXPECT_EQ(FeedLimited({.undecrypted = 5000}, encoded, sink, encoded.size()), 0U);
    EXPECT_EQ(FeedLimited({.undecrypted = 200000}, encoded, sink, 1000), 0U);
    EXPECT_EQ(FeedLimited({.undecrypted = 5000}, encoded, sink, 1000), Code(CRYPT_E_NOT_DECRYPTED));
    EXPECT_EQ(sink.calls, 0);
}

}  // namespace
