// What is written is judged by the openssl command.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "encode_support.h"
#include "messages/model.h"
#include "providers/container.h"

namespace platform::testing {
namespace {

constexpr std::size_t kChunk = 65536;

// The records that a caller fills, kept together.
struct Request {
    std::vector<CMSG_SIGNER_ENCODE_INFO> signers;
    std::vector<CERT_BLOB> certificates;
    std::vector<CRL_BLOB> crls;
    DWORD flags = 0;
    const char* contentType = nullptr;

    CMSG_SIGNED_ENCODE_INFO Record() {
        CMSG_SIGNED_ENCODE_INFO info{};
        info.cbSize = sizeof(info);
        info.cSigners = static_cast<DWORD>(signers.size());
        info.rgSigners = signers.data();
        info.cCertEncoded = static_cast<DWORD>(certificates.size());
        info.rgCertEncoded = certificates.data();
        info.cCrlEncoded = static_cast<DWORD>(crls.size());
        info.rgCrlEncoded = crls.data();
        return info;
    }
    std::shared_ptr<Message> Open(const CMSG_STREAM_INFO* stream) {
        const CMSG_SIGNED_ENCODE_INFO info = Record();
        return NewSignedEncoder(info, flags, contentType, stream);
    }
};

Request SignedBy(const Identity& identity) {
    Request request;
    request.signers = {identity.Signer()};
    request.certificates = {
        {identity.certificate->cbCertEncoded, identity.certificate->pbCertEncoded}};
    return request;
}

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

void ExpectVerified(const Identity& identity, const Bytes& message, const Bytes& content,
                    const std::string& more = "") {
    WriteTemp("message", message);
    std::string printed;
    EXPECT_TRUE(OpenSsl("cms" + identity.Engine() +
                            "-verify -noverify -binary -inform DER -in message -out content " +
                            more,
                        &printed))
        << printed;
    EXPECT_EQ(ReadTemp("content"), content);
}

Bytes Stream(Message& message, Sink& sink, ByteView content, std::size_t piece) {
    while (content.size() >= piece) {
        message.Update(content.first(piece), false);
        content = content.subspan(piece);
    }
    message.Update(content, true);
    EXPECT_EQ(sink.finals, 1);
    EXPECT_FALSE(sink.callAfterFinal);
    return sink.output;
}

TEST(SignedEncoder, OpenSslAcceptsEveryKeyStreamedAndWhole) {
    const Bytes content = Noise(kChunk + 100);
    for (const char* name : kSigningIdentities) {
        const Identity& identity = IdentityOf(name);
        for (const bool withAttributes : {false, true}) {
            SCOPED_TRACE(std::string(name) + (withAttributes ? " with attributes" : ""));
            Attributes attributes;
            Request request = SignedBy(identity);
            if (withAttributes) attributes.AddTo(request.signers[0]);
            Sink sink;
            const CMSG_STREAM_INFO info = sink.Info();
            ExpectVerified(identity, Stream(*request.Open(&info), sink, content, kChunk), content);
            ExpectVerified(identity, WholeMessage(*request.Open(nullptr), content), content);
        }
    }
}

TEST(SignedEncoder, ContentOfEverySizeAroundTheChunk) {
    const Identity& identity = IdentityOf("rsa");
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{127},
                                   std::size_t{128}, kChunk - 1, kChunk, kChunk + 1, 2 * kChunk}) {
        SCOPED_TRACE(size);
        const Bytes content = Noise(size);
        Request request = SignedBy(identity);
        Sink sink;
        const CMSG_STREAM_INFO info = sink.Info();
        ExpectVerified(identity, Stream(*request.Open(&info), sink, content, kChunk), content);
        ExpectVerified(identity, WholeMessage(*request.Open(nullptr), content), content);
    }
}

TEST(SignedEncoder, PiecesOfEverySizeGiveTheSameContent) {
    const Identity& identity = IdentityOf("rsa");
    const Bytes content = Noise(kChunk + 3);
    for (const std::size_t piece : {std::size_t{1000}, std::size_t{4096}, kChunk - 1, kChunk,
                                    kChunk + 1, kChunk + 2, kChunk + 3, kChunk + 4}) {
        SCOPED_TRACE(piece);
        Sink sink;
        const CMSG_STREAM_INFO info = sink.Info();
        ExpectVerified(identity, Stream(*SignedBy(identity).Open(&info), sink, content, piece),
                       content);
        // A header and the content for each piece, and the two ends.
        EXPECT_LE(sink.calls, static_cast<int>(2 * (content.size() / piece + 1) + 1));
    }
}

// openssl writes DER with every SET OF sorted, so what it makes of a message that is DER
// already is the same octets.
TEST(SignedEncoder, WholeMessageIsDer) {
    for (const char* name : kSigningIdentities) {
        const Identity& identity = IdentityOf(name);
        Attributes attributes;
        Request request = SignedBy(identity);
        request.certificates.push_back({IdentityOf("ec").certificate->cbCertEncoded,
                                        IdentityOf("ec").certificate->pbCertEncoded});
        attributes.AddTo(request.signers[0]);
        WriteTemp("message", WholeMessage(*request.Open(nullptr), Noise(300)));
        ASSERT_TRUE(OpenSsl("cms" + identity.Engine() +
                            "-cmsout -inform DER -in message -outform DER -out again"));
        EXPECT_EQ(Hex(ReadTemp("message")), Hex(ReadTemp("again"))) << name;
    }
}

TEST(SignedEncoder, StreamHasIndefiniteLengthsAndTheContentInPieces) {
    Request request = SignedBy(IdentityOf("rsa"));
    Sink sink;
    const CMSG_STREAM_INFO info = sink.Info();
    WriteTemp("message", Stream(*request.Open(&info), sink, Noise(2500), 1000));
    std::string printed;
    ASSERT_TRUE(OpenSsl("asn1parse -inform DER -in message", &printed));
    for (const char* line :
         {"0:d=0  hl=2 l=inf  cons: SEQUENCE", "13:d=1  hl=2 l=inf  cons: cont [ 0 ]",
          "15:d=2  hl=2 l=inf  cons: SEQUENCE", "d=5  hl=2 l=inf  cons: OCTET STRING",
          "d=6  hl=4 l=1000 prim: OCTET STRING", "d=6  hl=4 l= 500 prim: OCTET STRING"}) {
        EXPECT_NE(printed.find(line), std::string::npos) << line << "\n" << printed;
    }
}

TEST(SignedEncoder, DetachedMessagesLeaveTheContentOut) {
    const Identity& identity = IdentityOf("rsa");
    const Bytes content = Noise(5000);
    WriteTemp("original", content);
    Request request = SignedBy(identity);
    request.flags = CMSG_DETACHED_FLAG;
    Sink sink;
    const CMSG_STREAM_INFO info = sink.Info();
    const Bytes streamed = Stream(*request.Open(&info), sink, content, 1000);
    const Bytes whole = WholeMessage(*request.Open(nullptr), content);
    for (const Bytes& message : {streamed, whole}) {
        EXPECT_LT(message.size(), 2000U);
        ExpectVerified(identity, message, content, "-content original");
    }
}

TEST(SignedEncoder, SeveralSignersAndAnotherContentType) {
    const Identity& identity = IdentityOf("rsa");
    Request request = SignedBy(identity);
    request.contentType = "1.2.840.113549.1.9.16.1.4";
    request.signers.push_back(IdentityOf("ec").Signer());
    request.signers.push_back(identity.Signer());
    std::string sha512 = "2.16.840.1.101.3.4.2.3";
    request.signers.back().HashAlgorithm.pszObjId = sha512.data();
    request.certificates.push_back(
        {IdentityOf("ec").certificate->cbCertEncoded, IdentityOf("ec").certificate->pbCertEncoded});
    const std::shared_ptr<Message> message = request.Open(nullptr);
    ExpectVerified(identity, WholeMessage(*message, Noise(10)), Noise(10));
    const DWORD version = 3;
    const DWORD signers = 3;
    EXPECT_EQ(Param(*message, CMSG_VERSION_PARAM), Copy(ViewOf(&version, sizeof(version))));
    EXPECT_EQ(Param(*message, CMSG_SIGNER_COUNT_PARAM), Copy(ViewOf(&signers, sizeof(signers))));
    std::string printed;
    ASSERT_TRUE(OpenSsl("cms -cmsout -print -noout -inform DER -in message", &printed));
    const std::string digests = printed.substr(0, printed.find("encapContentInfo"));
    EXPECT_NE(digests.find("sha512"), std::string::npos);
    EXPECT_EQ(digests.find("sha256"), digests.rfind("sha256")) << "once, though two sign with it";
}

TEST(SignedEncoder, ParametersOfAFinishedMessage) {
    Request request = SignedBy(IdentityOf("rsa"));
    const std::shared_ptr<Message> message = request.Open(nullptr);
    DWORD size = 0;
    const auto code = [&](DWORD param, DWORD index) {
        return CodeOf([&] { message->GetParam(param, index, nullptr, &size); });
    };
    const auto notReady = static_cast<DWORD>(CRYPT_E_STREAM_MSG_NOT_READY);
    EXPECT_EQ(code(CMSG_CONTENT_PARAM, 0), notReady);
    EXPECT_EQ(code(CMSG_ENCRYPTED_DIGEST, 0), notReady);
    const Bytes encoded = WholeMessage(*message, Noise(1000));
    EXPECT_EQ(Param(*message, CMSG_ENCODED_MESSAGE), encoded);
    const Bytes bare = Param(*message, CMSG_BARE_CONTENT_PARAM);
    // ContentInfo before it: two headers of four octets and the identifier of eleven.
    EXPECT_EQ(Hex(bare), Hex(encoded).substr(2 * (4 + 11 + 4)));
    const std::string signature = Hex(Param(*message, CMSG_ENCRYPTED_DIGEST));
    EXPECT_EQ(signature.size(), 2 * 256U);
    const std::string signer = Hex(Param(*message, CMSG_ENCODED_SIGNER));
    EXPECT_TRUE(signer.ends_with(signature));
    EXPECT_TRUE(Hex(encoded).ends_with(signer));
    EXPECT_EQ(code(CMSG_ENCRYPTED_DIGEST, 1), static_cast<DWORD>(CRYPT_E_INVALID_INDEX));
    EXPECT_EQ(code(CMSG_RECIPIENT_COUNT_PARAM, 0), static_cast<DWORD>(CRYPT_E_INVALID_MSG_TYPE));
    EXPECT_EQ(CodeOf([&] { message->Control(CMSG_CTRL_DEL_SIGNER, 0, &size); }),
              static_cast<DWORD>(CRYPT_E_CONTROL_TYPE));
    EXPECT_NE(CodeOf([&] { message->Update({}, true); }), 0U) << "nothing follows the last block";
}

TEST(SignedEncoder, AnnouncedLengthMustBeTrue) {
    const struct {
        const char* name;
        DWORD announced;
        std::vector<std::size_t> pieces;  // the last one is final
        DWORD expected;
    } rows[] = {
        {"exact", 30, {10, 20}, 0},
        {"exact, empty end", 30, {30, 0}, 0},
        {"empty", 0, {0}, 0},
        {"short", 30, {10, 19}, static_cast<DWORD>(CRYPT_E_BAD_LEN)},
        {"long", 30, {10, 21}, static_cast<DWORD>(CRYPT_E_BAD_LEN)},
        {"long before the end", 30, {31, 0}, static_cast<DWORD>(CRYPT_E_BAD_LEN)},
    };
    for (const auto& row : rows) {
        Sink sink;
        const CMSG_STREAM_INFO info = sink.Info(row.announced);
        Request request = SignedBy(IdentityOf("rsa"));
        const std::shared_ptr<Message> message = request.Open(&info);
        Bytes content;
        EXPECT_EQ(CodeOf([&] {
                      for (std::size_t i = 0; i < row.pieces.size(); ++i) {
                          const Bytes piece = Noise(row.pieces[i]);
                          content.insert(content.end(), piece.begin(), piece.end());
                          message->Update(piece, i + 1 == row.pieces.size());
                      }
                  }),
                  row.expected)
            << row.name;
        EXPECT_EQ(sink.finals, row.expected == 0 ? 1 : 0) << row.name;
        if (row.expected == 0) ExpectVerified(IdentityOf("rsa"), sink.output, content);
    }
}

TEST(SignedEncoder, RefusesBadRequestsBeforeAnyOutput) {
    Attributes good;
    Bytes cut = {0x02, 0x02, 0x01};
    Bytes two = {0x05, 0x00, 0x05, 0x00};
    Bytes pem = Copy(ViewOf("-----BEGIN"));
    const auto attribute = [&good](Bytes& value, std::string oid = "1.2.3") {
        static std::vector<std::unique_ptr<std::string>> oids;
        oids.push_back(std::make_unique<std::string>(std::move(oid)));
        good.textValue = {static_cast<DWORD>(value.size()), value.data()};
        return CRYPT_ATTRIBUTE{oids.back()->data(), 1, &good.textValue};
    };
    const auto invalid = static_cast<DWORD>(ERROR_INVALID_PARAMETER);
    const auto badEncode = static_cast<DWORD>(CRYPT_E_BAD_ENCODE);
    const auto badOid = static_cast<DWORD>(CRYPT_E_OID_FORMAT);
    const auto badAlgorithm = static_cast<DWORD>(NTE_BAD_ALGID);
    Bytes none;
    std::string unknown = "1.2.3.4";
    const struct {
        const char* name;
        DWORD expected;
        std::function<void(Request&, CRYPT_ATTRIBUTE&)> spoil;
    } rows[] = {
        {"nothing wrong", 0, [](Request&, CRYPT_ATTRIBUTE&) {}},
        {"empty value", badEncode, [&](Request&, CRYPT_ATTRIBUTE& a) { a = attribute(none); }},
        {"value cut", badEncode, [&](Request&, CRYPT_ATTRIBUTE& a) { a = attribute(cut); }},
        {"two values in one", badEncode, [&](Request&, CRYPT_ATTRIBUTE& a) { a = attribute(two); }},
        {"text", badEncode, [&](Request&, CRYPT_ATTRIBUTE& a) { a = attribute(pem); }},
        {"no values", badEncode, [](Request&, CRYPT_ATTRIBUTE& a) { a.cValue = 0; }},
        {"no list of values", invalid, [](Request&, CRYPT_ATTRIBUTE& a) { a.rgValue = nullptr; }},
        {"empty identifier", badOid,
         [&](Request&, CRYPT_ATTRIBUTE& a) { a = attribute(good.number, ""); }},
        {"bad identifier", badOid,
         [&](Request&, CRYPT_ATTRIBUTE& a) { a = attribute(good.number, "1.2.x"); }},
        {"no identifier", invalid, [](Request&, CRYPT_ATTRIBUTE& a) { a.pszObjId = nullptr; }},
        {"small signer record", invalid,
         [](Request& r, CRYPT_ATTRIBUTE&) { r.signers[0].cbSize = 8; }},
        {"no certificate record", invalid,
         [](Request& r, CRYPT_ATTRIBUTE&) { r.signers[0].pCertInfo = nullptr; }},
        {"no digest", invalid,
         [](Request& r, CRYPT_ATTRIBUTE&) { r.signers[0].HashAlgorithm.pszObjId = nullptr; }},
        {"unknown digest", badAlgorithm,
         [&](Request& r, CRYPT_ATTRIBUTE&) {
             r.signers[0].HashAlgorithm.pszObjId = unknown.data();
         }},
        {"no key of that kind", static_cast<DWORD>(NTE_NO_KEY),
         [](Request& r, CRYPT_ATTRIBUTE&) { r.signers[0].dwKeySpec = AT_SIGNATURE; }},
        {"certificate cut", static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT),
         [](Request& r, CRYPT_ATTRIBUTE&) { --r.certificates[0].cbData; }},
        {"unknown flag", invalid, [](Request& r, CRYPT_ATTRIBUTE&) { r.flags = 0x40; }},
        {"bad content type", badOid, [](Request& r, CRYPT_ATTRIBUTE&) { r.contentType = "data"; }},
    };
    for (const auto& row : rows) {
        for (const bool isSigned : {true, false}) {
            Request request = SignedBy(IdentityOf("rsa"));
            CRYPT_ATTRIBUTE given = attribute(good.number);
            row.spoil(request, given);
            CMSG_SIGNER_ENCODE_INFO& signer = request.signers[0];
            (isSigned ? signer.cAuthAttr : signer.cUnauthAttr) = 1;
            (isSigned ? signer.rgAuthAttr : signer.rgUnauthAttr) = &given;
            Sink sink;
            const CMSG_STREAM_INFO info = sink.Info();
            EXPECT_EQ(CodeOf([&] { request.Open(&info); }), row.expected)
                << row.name << (isSigned ? ", signed" : ", unsigned");
            EXPECT_EQ(sink.calls, 0) << row.name;
        }
    }
}

TEST(SignedEncoder, AttributesThatTheMessagePlacesItselfAreRefused) {
    Attributes attributes;
    for (const char* oid : {szOID_RSA_contentType, szOID_RSA_messageDigest}) {
        attributes.list[0].pszObjId = const_cast<char*>(oid);
        Request request = SignedBy(IdentityOf("rsa"));
        attributes.AddTo(request.signers[0]);
        EXPECT_EQ(CodeOf([&] { request.Open(nullptr); }), static_cast<DWORD>(CRYPT_E_BAD_ENCODE));
    }
}

TEST(SignedEncoder, WrongPasswordLeavesNoOutput) {
    const Identity& identity = IdentityOf("rsa");
    const std::shared_ptr<EVP_PKEY> key = PrivateKeyOf(identity.provider, AT_KEYEXCHANGE);
    Container::Create(Side::User, "guarded", identity.type)
        .SaveKey(AT_KEYEXCHANGE, key.get(), Secret(ViewOf("correct")));
    const struct {
        const char* password;
        DWORD expected;
    } rows[] = {
        {"wrong", SCARD_W_WRONG_CHV},
        {nullptr, static_cast<DWORD>(NTE_SILENT_CONTEXT)},
        {"correct", 0},
    };
    for (const auto& row : rows) {
        HCRYPTPROV provider = 0;
        ASSERT_TRUE(
            CryptAcquireContextA(&provider, "guarded", nullptr, identity.type, CRYPT_SILENT));
        if (row.password != nullptr) {
            ASSERT_TRUE(CryptSetProvParam(provider, PP_KEYEXCHANGE_PIN,
                                          reinterpret_cast<const BYTE*>(row.password), 0));
        }
        Request request = SignedBy(identity);
        request.signers[0].hCryptProv = provider;
        Sink sink;
        const CMSG_STREAM_INFO info = sink.Info();
        EXPECT_EQ(CodeOf([&] { request.Open(&info); }), row.expected);
        EXPECT_EQ(sink.calls, 0);
        CryptReleaseContext(provider, 0);
    }
}

TEST(SignedEncoder, FailingSinkStopsEverything) {
    for (int failAt = 0;; ++failAt) {
        Request request = SignedBy(IdentityOf("rsa"));
        Sink sink;
        sink.failAt = failAt;
        const CMSG_STREAM_INFO info = sink.Info();
        const std::shared_ptr<Message> message = request.Open(&info);
        const DWORD code = CodeOf([&] {
            for (int i = 0; i < 3; ++i) message->Update(Noise(1000), i == 2);
        });
        if (code == 0) {
            EXPECT_GE(failAt, 7);
            return;
        }
        ASSERT_EQ(code, static_cast<DWORD>(ERROR_WRITE_FAULT)) << failAt;
        EXPECT_EQ(CodeOf([&] { message->Update(Noise(1), true); }), code) << failAt;
        EXPECT_EQ(sink.calls, failAt + 1);
        EXPECT_EQ(sink.finals, 0);
    }
}

}  // namespace
}  // namespace platform::testing
