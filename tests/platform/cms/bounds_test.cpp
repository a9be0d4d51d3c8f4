// The bounds of the reader hold for what is written: just under, at and just over each.
#include <gtest/gtest.h>

#include "platform/der/der.h"
#include "tests/support/decode_support.h"

using namespace platform;
using namespace platform::testing;

namespace {

constexpr DWORD kDeep = Code(CRYPT_E_ASN1_CONSTRAINT);
constexpr std::size_t kMegabyte = std::size_t{1} << 20;

// One RSA signer with one attribute, detached and without certificates.
struct Signing {
    CMSG_SIGNER_ENCODE_INFO signer = IdentityOf("rsa").Signer();
    CRYPT_ATTR_BLOB blob{};
    std::string oid = "1.2.3.4";
    CRYPT_ATTRIBUTE attribute{oid.data(), 1, &blob};

    Signing(Bytes& value, bool isSigned) {
        blob = {static_cast<DWORD>(value.size()), value.data()};
        (isSigned ? signer.cAuthAttr : signer.cUnauthAttr) = 1;
        (isSigned ? signer.rgAuthAttr : signer.rgUnauthAttr) = &attribute;
    }
    Opener Open() {
        return [this](const CMSG_STREAM_INFO* stream) {
            CMSG_SIGNED_ENCODE_INFO info{};
            info.cbSize = sizeof(info);
            info.cSigners = 1;
            info.rgSigners = &signer;
            return NewSignedEncoder(info, CMSG_DETACHED_FLAG, nullptr, stream);
        };
    }
};

// A message with the value among its signer's attributes: refused before any output, or
// written and read back.
void ExpectWritten(Bytes value, bool isSigned, DWORD expected) {
    Signing signing(value, isSigned);
    Sink sink;
    const CMSG_STREAM_INFO info = sink.Info();
    EXPECT_EQ(CodeOf([&] { signing.Open()(&info)->Update({}, true); }), expected);
    EXPECT_EQ(CodeOf([&] { WholeMessage(*signing.Open()(nullptr), {}); }), expected);
    if (expected != 0) {
        EXPECT_EQ(sink.calls, 0);
        return;
    }
    Decoding message(sink.output);
    EXPECT_EQ(message.Number(CMSG_SIGNER_COUNT_PARAM), 1U);
}

// The same value added to a message that is there.
void ExpectAdded(const Bytes& value, DWORD atControl, DWORD atEnd) {
    Bytes attribute =
        der::Element(der::kSequence, {der::Oid("1.2.3.4"), der::Element(der::kSet, value)});
    Decoding message(SignWith({"rsa"}, "-noattr -nocerts", {}));
    const CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA para{
        sizeof para, 0, {static_cast<DWORD>(attribute.size()), attribute.data()}};
    EXPECT_EQ(message.Control(CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR, &para), atControl);
    EXPECT_EQ(message.Get(CMSG_ENCODED_MESSAGE), atEnd);
    if (atControl != 0 || atEnd != 0) return;
    Decoding again(message.Value(CMSG_ENCODED_MESSAGE));
}

TEST(Bounds, SizeCountsEverythingBesideTheContent) {
    // Held apart from the signer: type, version, digest and content type in 38 octets; each
    // of the five costs 64 more.
    constexpr std::size_t kRoom = 64 * kMegabyte - 38 - 5 * 64;
    Bytes probe = der::Element(der::kOctetString, Bytes(60 * kMegabyte));
    Signing signing(probe, false);
    const std::shared_ptr<Message> message = signing.Open()(nullptr);
    message->Update({}, true);
    const std::size_t around = Param(*message, CMSG_ENCODED_SIGNER).size() - 60 * kMegabyte;
    for (const int over : {-1, 0, 1}) {
        SCOPED_TRACE(over);
        const auto size = static_cast<std::size_t>(static_cast<long>(kRoom - around) + over);
        ExpectWritten(der::Element(der::kOctetString, Bytes(size)), false, over > 0 ? kLarge : 0);
        ExpectAdded(der::Element(der::kOctetString, Bytes(size)), 0, over > 0 ? kLarge : 0);
    }
    EXPECT_EQ(LastErrorDetail(kLarge), "1.2.3.4");
}

TEST(Bounds, NestingCountsFromTheMessage) {
    Bytes value = FromHex("0500");
    for (std::size_t levels = 1; levels <= 57; ++levels) {
        // ContentInfo, [0], SignedData, signers, signer, attributes, attribute and values
        // are 8 of the 64.
        const DWORD expected = levels + 8 > 64 ? kDeep : 0;
        if (levels >= 55) {
            SCOPED_TRACE(levels);
            ExpectWritten(value, false, expected);
            ExpectWritten(value, true, expected);
            ExpectAdded(value, expected, 0);
        }
        value = der::Element(der::kSequence, value);
    }
    EXPECT_EQ(LastErrorDetail(kDeep), "1.2.3.4");
    for (std::size_t levels = 58; levels <= 70; ++levels) {
        value = der::Element(der::kSequence, value);
    }
    ExpectAdded(value, kDeep, 0);
    EXPECT_EQ(LastErrorDetail(kDeep), "1.2.3.4") << "deeper than any reader goes";
}

// ---- content in the place of attributes ------------------------------------------

#define DIGEST "3011 06092A864886F70D010904 3104 0402AABB"
#define OTHER "300A 06032A0304 3103 020107"

const struct {
    const char* name;
    const char* content;
    bool refused;
} kContents[] = {
    {"a digest alone", "3113" DIGEST, true},
    {"a digest behind another", "311F" OTHER DIGEST, true},
    {"a length that is not the shortest", "318113" DIGEST, true},
    {"a value that is no encoding", "3120 300B 06032A0304 3104 3002FFFF" DIGEST, true},
    {"no digest", "310C" OTHER, false},
    {"a sequence", "3013" DIGEST, false},
    {"an octet behind", "3113" DIGEST "00", false},
    {"an octet missing", "3114" DIGEST, false},
    {"an open length", "3180" DIGEST "0000", false},
    {"an attribute of three fields", "3115 3013 06092A864886F70D010904 3104 0402AABB 0500", false},
    {"an attribute of one field", "311F 3007 06052A03040506" DIGEST "0400", false},
    {"nothing", "", false},
};

TEST(Ambiguity, BareSignaturesCoverNoAttributes) {
    const auto missing = Code(CRYPT_E_AUTH_ATTR_MISSING);
    const PCCERT_CONTEXT certificate = IdentityOf("rsa").certificate;
    for (const auto& row : kContents) {
        SCOPED_TRACE(row.name);
        const Bytes content = FromHex(row.content);
        const DWORD expected = row.refused ? missing : 0;
        for (const bool bare : {true, false}) {
            Bytes value = FromHex("0500");
            Signing signing(value, !bare);
            Sink sink;
            const CMSG_STREAM_INFO info = sink.Info();
            const DWORD here = bare ? expected : 0;
            EXPECT_EQ(CodeOf([&] { signing.Open()(&info)->Update(content, true); }), here);
            EXPECT_EQ(sink.calls == 0, here != 0);
            EXPECT_EQ(CodeOf([&] { Streamed(signing.Open(), content, 1); }), here);
            EXPECT_EQ(CodeOf([&] { WholeMessage(*signing.Open()(nullptr), content); }), here);

            const char* form = bare ? "-nodetach -noattr" : "-nodetach";
            const Bytes message = SignWith({"rsa"}, form, content);
            Decoding whole(message);
            EXPECT_EQ(whole.Verify(0, certificate), here);
            const CMSG_SIGNER_ENCODE_INFO more = IdentityOf("ec").Signer();
            EXPECT_EQ(whole.Control(CMSG_CTRL_ADD_SIGNER, &more), expected);
            Sink out;
            Decoding stream(&out);
            ASSERT_EQ(stream.Feed(message, 7), 0U);
            EXPECT_EQ(stream.Verify(0, certificate), here);
            Decoding detached(SignWith({"rsa"}, bare ? "-noattr" : "", content),
                              CMSG_DETACHED_FLAG);
            ASSERT_EQ(detached.Update(content, true), 0U);
            EXPECT_EQ(detached.Verify(0, certificate), here);
        }
    }
}

// ---- what the calls document ---------------------------------------------------------

TEST(Pieces, OneIsAllThatAHeldMessageTakes) {
    const Bytes message = SignWith({"rsa"}, "", FromHex("0102"));
    Decoding detached(nullptr, CMSG_DETACHED_FLAG);
    EXPECT_EQ(detached.Update(message, false), Code(CRYPT_E_MSG_ERROR));
    CMSG_SIGNED_ENCODE_INFO info{};
    info.cbSize = sizeof info;
    const auto encoder = NewSignedEncoder(info, CMSG_DETACHED_FLAG, nullptr, nullptr);
    EXPECT_EQ(CodeOf([&] { encoder->Update(message, false); }), 0U);
    EXPECT_EQ(CodeOf([&] { encoder->Update(message, true); }), 0U);
}

TEST(Pieces, PlainDataIsRead) {
    const Bytes message =
        FromHex("3080 06092A864886F70D010701 A080 2480 0401 61 0402 6263 0000 0000 0000");
    for (const std::size_t chunk : {std::size_t{1}, std::size_t{100}}) {
        Sink sink;
        Decoding stream(&sink);
        EXPECT_EQ(stream.Feed(message, chunk), 0U);
        EXPECT_EQ(stream.Number(CMSG_TYPE_PARAM), Code(CMSG_DATA));
        EXPECT_EQ(Hex(sink.output), "616263");
        EXPECT_EQ(sink.finals, 1);
    }
    Decoding whole(message);
    EXPECT_EQ(Hex(whole.Value(CMSG_CONTENT_PARAM)), "616263");
    EXPECT_EQ(whole.Get(CMSG_SIGNER_COUNT_PARAM), Code(CRYPT_E_INVALID_MSG_TYPE));
}

}  // namespace
