// What is written is judged by the openssl command.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/encode_support.h"
#include "tests/support/engine.h"

namespace platform::testing {
namespace {

// The records that a caller fills, kept together.
struct SignRequest {
    std::vector<CMSG_SIGNER_ENCODE_INFO> signers;
    std::vector<CERT_BLOB> certificates;
    DWORD flags = 0;
    const char* contentType = nullptr;

    explicit SignRequest(const std::vector<const char*>& names) {
        for (const char* name : names) {
            const Identity& identity = IdentityOf(name);
            signers.push_back(identity.Signer());
            certificates.push_back(
                {identity.certificate->cbCertEncoded, identity.certificate->pbCertEncoded});
        }
    }
    Opener Open() {
        return [this](const CMSG_STREAM_INFO* stream) {
            CMSG_SIGNED_ENCODE_INFO info{};
            info.cbSize = sizeof(info);
            info.cSigners = static_cast<DWORD>(signers.size());
            info.rgSigners = signers.data();
            info.cCertEncoded = static_cast<DWORD>(certificates.size());
            info.rgCertEncoded = certificates.data();
            return NewSignedEncoder(info, flags, contentType, stream);
        };
    }
};

// Attributes whose order in DER is not the order in which they are given.
struct Attributes {
    Bytes text = {0x0C, 0x05, 'l', 'a', 't', 'e', 'r'};
    Bytes number = {0x02, 0x01, 0x2A};
    Bytes indefinite = {0x30, 0x80, 0x02, 0x01, 0x07, 0x00, 0x00};
    CRYPT_ATTR_BLOB textValue{static_cast<DWORD>(text.size()), text.data()};
    CRYPT_ATTR_BLOB numberValue{static_cast<DWORD>(number.size()), number.data()};
    CRYPT_ATTR_BLOB indefiniteValue{static_cast<DWORD>(indefinite.size()), indefinite.data()};
    std::string first = "1.2.3.4.5.6.7.8.9";
    std::string second = "1.2.3";
    CRYPT_ATTRIBUTE list[3] = {{first.data(), 1, &textValue},
                               {second.data(), 1, &numberValue},
                               {second.data(), 1, &indefiniteValue}};

    void AddTo(CMSG_SIGNER_ENCODE_INFO& signer) {
        signer.cAuthAttr = 3;
        signer.rgAuthAttr = list;
        signer.cUnauthAttr = 2;
        signer.rgUnauthAttr = list;
    }
};

void ExpectVerified(const Bytes& message, const Bytes& content) {
    WriteFile("message", message);
    OpenSsl("cms -engine gost -verify -noverify -binary -inform DER -in message -out content");
    EXPECT_EQ(ReadFile("content"), content);
}

TEST(SignedEncoder, OpenSslAcceptsEveryKeyStreamedAndWhole) {
    SKIP_WITHOUT_ENGINE();
    const Bytes content = Pattern(kChunk + 100);
    for (const char* name : kSigningIdentities) {
        for (const bool withAttributes : {false, true}) {
            SCOPED_TRACE(std::string(name) + (withAttributes ? " with attributes" : ""));
            Attributes attributes;
            SignRequest request({name});
            if (withAttributes) attributes.AddTo(request.signers[0]);
            ExpectVerified(Streamed(request.Open(), content, kChunk), content);
            ExpectVerified(WholeMessage(*request.Open()(nullptr), content), content);
        }
    }
}

TEST(SignedEncoder, EverySizeOfContentAndPiece) {
    SignRequest request({"rsa"});
    for (const std::size_t size :
         {std::size_t{0}, std::size_t{1}, std::size_t{127}, std::size_t{128}, kChunk, kChunk + 1}) {
        const Bytes content = Pattern(size);
        ExpectVerified(WholeMessage(*request.Open()(nullptr), content), content);
        for (const std::size_t piece : {std::size_t{1000}, kChunk - 1, kChunk, kChunk + 1}) {
            SCOPED_TRACE(std::to_string(size) + " in " + std::to_string(piece));
            ExpectVerified(Streamed(request.Open(), content, piece), content);
        }
    }
}

// openssl writes DER with every SET OF sorted, so what it makes of a message that is DER
// already is the same octets.
TEST(SignedEncoder, WholeMessageIsDer) {
    SKIP_WITHOUT_ENGINE();
    for (const char* name : kSigningIdentities) {
        Attributes attributes;
        SignRequest request({name, "ec"});
        request.signers.pop_back();
        attributes.AddTo(request.signers[0]);
        WriteFile("message", WholeMessage(*request.Open()(nullptr), Pattern(300)));
        OpenSsl("cms -engine gost -cmsout -inform DER -in message -outform DER -out again");
        EXPECT_EQ(Hex(ReadFile("message")), Hex(ReadFile("again"))) << name;
    }
}

TEST(SignedEncoder, StreamHasIndefiniteLengthsAndTheContentInPieces) {
    WriteFile("message", Streamed(SignRequest({"rsa"}).Open(), Pattern(2500), 1000));
    const std::string printed = OpenSsl("asn1parse -inform DER -in message");
    for (const char* line :
         {"0:d=0  hl=2 l=inf  cons: SEQUENCE", "15:d=2  hl=2 l=inf  cons: SEQUENCE",
          "d=6  hl=4 l=1000 prim: OCTET STRING", "d=6  hl=4 l= 500 prim: OCTET STRING"}) {
        EXPECT_NE(printed.find(line), std::string::npos) << line << "\n" << printed;
    }
}

TEST(SignedEncoder, SeveralSignersAndAnotherContentType) {
    SignRequest request({"rsa", "ec", "rsa"});
    request.contentType = "1.2.840.113549.1.9.16.1.4";
    std::string sha512 = "2.16.840.1.101.3.4.2.3";
    request.signers.back().HashAlgorithm.pszObjId = sha512.data();
    request.certificates.pop_back();
    const std::shared_ptr<Message> message = request.Open()(nullptr);
    ExpectVerified(WholeMessage(*message, Pattern(10)), Pattern(10));
    EXPECT_EQ(Hex(Param(*message, CMSG_VERSION_PARAM)), "03000000");
    EXPECT_EQ(Hex(Param(*message, CMSG_SIGNER_COUNT_PARAM)), "03000000");
    const std::string printed = OpenSsl("cms -cmsout -print -noout -inform DER -in message");
    const std::string digests = printed.substr(0, printed.find("encapContentInfo"));
    EXPECT_NE(digests.find("sha512"), std::string::npos);
    EXPECT_EQ(digests.find("sha256"), digests.rfind("sha256")) << "once, though two sign with it";
}

TEST(SignedEncoder, RefusesBadAttributesBeforeAnyOutput) {
    const auto badEncode = Code(CRYPT_E_BAD_ENCODE);
    const auto badOid = Code(CRYPT_E_OID_FORMAT);
    const struct {
        const char* name;
        std::string oid;
        Bytes value;
        DWORD expected;
        bool onlyUnsigned = false;
    } rows[] = {
        {"nothing wrong", "1.2.3", {0x02, 0x01, 0x2A}, 0},
        {"empty value", "1.2.3", {}, badEncode},
        {"value cut", "1.2.3", {0x02, 0x02, 0x01}, badEncode},
        {"two values in one", "1.2.3", {0x05, 0x00, 0x05, 0x00}, badEncode},
        {"text", "1.2.3", Copy(ViewOf("-----BEGIN")), badEncode},
        {"empty identifier", "", {0x05, 0x00}, badOid},
        {"bad identifier", "1.2.x", {0x05, 0x00}, badOid},
        {"placed by the message", szOID_RSA_contentType, {0x05, 0x00}, badEncode},
        {"placed by the message too", szOID_RSA_messageDigest, {0x05, 0x00}, badEncode},
        {"a time that must be signed", szOID_RSA_signingTime, {0x05, 0x00}, badEncode, true},
    };
    for (const auto& row : rows) {
        for (const bool isSigned : {true, false}) {
            if (row.onlyUnsigned && isSigned) continue;
            SCOPED_TRACE(row.name);
            Bytes value = row.value;
            std::string oid = row.oid;
            CRYPT_ATTR_BLOB blob{static_cast<DWORD>(value.size()), value.data()};
            CRYPT_ATTRIBUTE attribute{oid.data(), 1, &blob};
            SignRequest request({"rsa"});
            CMSG_SIGNER_ENCODE_INFO& signer = request.signers[0];
            (isSigned ? signer.cAuthAttr : signer.cUnauthAttr) = 1;
            (isSigned ? signer.rgAuthAttr : signer.rgUnauthAttr) = &attribute;
            Sink sink;
            const CMSG_STREAM_INFO info = sink.Info();
            EXPECT_EQ(CodeOf([&] { request.Open()(&info); }), row.expected) << isSigned;
            EXPECT_EQ(sink.calls, 0);
        }
    }
}

TEST(SignedEncoder, RefusesBadRequestsBeforeAnyOutput) {
    const auto invalid = Code(ERROR_INVALID_PARAMETER);
    const struct {
        const char* name;
        DWORD expected;
        std::function<void(SignRequest&)> spoil;
    } rows[] = {
        {"small signer record", invalid, [](SignRequest& r) { r.signers[0].cbSize = 8; }},
        {"no certificate record", invalid,
         [](SignRequest& r) { r.signers[0].pCertInfo = nullptr; }},
        {"unknown digest", Code(CRYPT_E_UNKNOWN_ALGO),
         [](SignRequest& r) {
             r.signers[0].HashAlgorithm.pszObjId = const_cast<char*>("1.2.3.4");
         }},
        {"no key of that kind", Code(NTE_NO_KEY),
         [](SignRequest& r) { r.signers[0].dwKeySpec = AT_SIGNATURE; }},
        {"no key of the default kind", Code(NTE_NO_KEY),
         [](SignRequest& r) { r.signers[0].dwKeySpec = 0; }},
        {"certificate cut", Code(CRYPT_E_ASN1_CORRUPT),
         [](SignRequest& r) { --r.certificates[0].cbData; }},
        {"unknown flag", invalid, [](SignRequest& r) { r.flags = 0x40; }},
        {"bad content type", Code(CRYPT_E_OID_FORMAT),
         [](SignRequest& r) { r.contentType = "data"; }},
    };
    for (const auto& row : rows) {
        SignRequest request({"rsa"});
        row.spoil(request);
        Sink sink;
        const CMSG_STREAM_INFO info = sink.Info();
        EXPECT_EQ(CodeOf([&] { request.Open()(&info); }), row.expected) << row.name;
        EXPECT_EQ(sink.calls, 0) << row.name;
    }
}

TEST(SignedEncoder, FailingSinkStopsEverything) {
    SignRequest request({"rsa"});
    ExpectFailingSinkStopsEverything(request.Open());
}

}  // namespace
}  // namespace platform::testing
