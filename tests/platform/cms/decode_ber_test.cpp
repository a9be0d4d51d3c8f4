// The same messages in their most spread-out BER: every length open that can be, every
// octet and bit string in pieces. The openssl command confirms that they are still messages.
#include <gtest/gtest.h>

#include "platform/der/der.h"
#include "tests/support/decode_support.h"
#include "tests/support/engine.h"

using namespace platform;
using namespace platform::testing;

namespace {

constexpr std::uint8_t kBitString = 0x03;

// In two pieces; each piece of a bit string begins with its count of unused bits.
Bytes InPieces(std::uint8_t tag, ByteView contents) {
    const bool bits = tag == kBitString;
    const Bytes count(bits ? 1 : 0, 0);
    const ByteView octets = contents.subspan(count.size());
    const ByteView first = octets.first(octets.size() / 2);
    Bytes out = {static_cast<std::uint8_t>(tag | 0x20), 0x80};
    der::Append(out, der::Element(tag, {count, first}));
    const ByteView last = bits ? contents.first(1) : ByteView();
    der::Append(out, der::Element(tag, {last, octets.subspan(first.size())}));
    out.insert(out.end(), {0, 0});
    return out;
}

Bytes Spread(ByteView contents) {
    Bytes out;
    for (der::Cursor cursor(contents); !cursor.AtEnd();) {
        const der::Item item = cursor.Next();
        if (item.tag == kBitString || item.tag == der::kOctetString) {
            der::Append(out, InPieces(item.tag, item.contents));
        } else if ((item.tag & 0x20) != 0) {
            out.insert(out.end(), {item.tag, 0x80});
            der::Append(out, Spread(item.contents));
            out.insert(out.end(), {0, 0});
        } else {
            der::Append(out, item.whole);
        }
    }
    return out;
}

// The command takes no open lengths in keys, and none in signed attributes: those it digests
// as received, where RFC 5652 5.4 asks for their DER.
constexpr const char* kVerify =
    "-verify -binary -noverify -inform DER -out spread.out -nointern -certfile rsa.pem";
constexpr const char* kPrint = "-cmsout -print -inform DER";

TEST(SpreadOut, SignedMessagesReadAsBefore) {
    SKIP_WITHOUT_ENGINE();
    const Bytes content = Pattern(3000);
    const struct {
        const char* signer;
        const char* options;
        const char* judge;
    } rows[] = {
        {"rsa", "-nodetach -noattr -keyid", kVerify},
        {"ec", "-nodetach -econtent_type 1.2.3.4", kPrint},
        {"gost2012-512", "-nodetach", kPrint},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.signer) + row.options);
        const Bytes encoded = SignWith({row.signer}, row.options, content);
        const Bytes spread = Spread(encoded);
        WriteFile("spread.der", spread);
        OpenSsl(std::string("cms -engine gost ") + row.judge + " -in spread.der");
        const PCCERT_CONTEXT certificate = IdentityOf(row.signer).certificate;
        Sink sink;
        Decoding stream(&sink);
        ASSERT_EQ(stream.Feed(spread, 100), 0U);
        EXPECT_EQ(sink.output, content);
        EXPECT_EQ(stream.Verify(0, certificate), 0U);
        // Encoded again it is what it was before.
        Decoding whole(spread);
        EXPECT_EQ(Hex(whole.Value(CMSG_ENCODED_MESSAGE)), Hex(encoded));
    }
}

TEST(SpreadOut, EnvelopedMessagesReadAsBefore) {
    SKIP_WITHOUT_ENGINE();
    const Bytes content = Pattern(3000);
    const struct {
        const char* recipient;
        const char* options;
    } rows[] = {{"rsa", "-aes256"}, {"rsa", "-aes256 -keyid"}, {"gost2012-256", "-gost89"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.recipient) + row.options);
        const Identity& identity = IdentityOf(row.recipient);
        const Bytes spread = Spread(EncryptFor({row.recipient}, row.options, content));
        for (const std::size_t chunk : {std::size_t{1}, std::size_t{1000}, spread.size() + 1}) {
            Sink sink;
            Decoding message(&sink);
            EXPECT_EQ(message.Feed(spread, chunk, identity.provider), 0U) << chunk;
            EXPECT_EQ(sink.output, content) << chunk;
        }
    }
}

}  // namespace
