// What is written is opened by the openssl command.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/encode_support.h"
#include "tests/support/engine.h"

namespace platform::testing {
namespace {

constexpr const char* kAes256 = "2.16.840.1.101.3.4.1.42";

struct EnvelopeRequest {
    std::vector<PCERT_INFO> recipients;
    std::string cipher;
    CMSG_ENVELOPED_ENCODE_INFO info{};

    EnvelopeRequest(const std::vector<const char*>& names, const char* cipherOid)
        : cipher(cipherOid) {
        for (const char* name : names) {
            recipients.push_back(IdentityOf(name).certificate->pCertInfo);
        }
        info.cbSize = sizeof(info);
        info.ContentEncryptionAlgorithm.pszObjId = cipher.data();
        info.cRecipients = static_cast<DWORD>(recipients.size());
        info.rgpRecipients = recipients.data();
    }
    EnvelopeRequest(const EnvelopeRequest&) = delete;
    EnvelopeRequest& operator=(const EnvelopeRequest&) = delete;

    [[nodiscard]] Opener Open() const {
        return [this](const CMSG_STREAM_INFO* stream) {
            return NewEnvelopedEncoder(info, 0, nullptr, stream);
        };
    }
};

void ExpectOpened(const std::string& name, const Bytes& message, const Bytes& content) {
    WriteFile("message", message);
    OpenSsl("cms -engine gost -decrypt -binary -inform DER -in message -out content -recip " +
            name + ".pem -inkey " + name + ".key");
    EXPECT_EQ(ReadFile("content"), content) << name;
}

TEST(EnvelopedEncoder, OpenSslOpensEveryKeyInPiecesOfEverySize) {
    SKIP_WITHOUT_ENGINE();
    // Past the 1 KiB after which the GOST cipher meshes its key.
    const Bytes content = Pattern(2 * kChunk + 3);
    for (const char* name : kEncryptingIdentities) {
        const EnvelopeRequest request({name}, IdentityOf(name).cipher);
        ExpectOpened(name, WholeMessage(*request.Open()(nullptr), content), content);
        for (const std::size_t piece : {std::size_t{7777}, kChunk, kChunk + 1, content.size()}) {
            SCOPED_TRACE(piece);
            ExpectOpened(name, Streamed(request.Open(), content, piece), content);
        }
    }
}

TEST(EnvelopedEncoder, OpenSslOpensTheCiphersOf2015) {
    SKIP_WITHOUT_ENGINE();
    // The engine changes keys after 1 KiB when it opens a message, wherever CMS says to.
    const Bytes content = Pattern(1000);
    for (const char* cipher : {"1.2.643.7.1.1.5.1.1", "1.2.643.7.1.1.5.1.2", "1.2.643.7.1.1.5.2.1",
                               "1.2.643.7.1.1.5.2.2"}) {
        const EnvelopeRequest request({"gost2012-256", "gost2012-512"}, cipher);
        for (const char* name : {"gost2012-256", "gost2012-512"}) {
            SCOPED_TRACE(cipher);
            ExpectOpened(name, WholeMessage(*request.Open()(nullptr), content), content);
            ExpectOpened(name, Streamed(request.Open(), content, 333), content);
        }
    }
}

TEST(EnvelopedEncoder, TheCiphersOf2015AreNotForOlderKeys) {
    SKIP_WITHOUT_ENGINE();
    for (const char* name : {"gost2012-256", "gost2001"}) {
        const EnvelopeRequest request({"gost2012-512", name}, "1.2.643.7.1.1.5.2.2");
        EXPECT_EQ(CodeOf([&] { request.Open()(nullptr); }),
                  name == std::string("gost2001") ? Code(NTE_BAD_ALGID) : 0U);
    }
}

TEST(EnvelopedEncoder, EveryCipherAndSize) {
    for (const char* cipher :
         {kAes256, "2.16.840.1.101.3.4.1.22", "2.16.840.1.101.3.4.1.2", "1.2.840.113549.3.7"}) {
        const EnvelopeRequest request({"rsa"}, cipher);
        for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{16}, kChunk - 1,
                                       kChunk, kChunk + 1, 2 * kChunk}) {
            SCOPED_TRACE(std::string(cipher) + ", " + std::to_string(size));
            ExpectOpened("rsa", Streamed(request.Open(), Pattern(size), kChunk), Pattern(size));
        }
        ExpectOpened("rsa", WholeMessage(*request.Open()(nullptr), {}), {});
    }
}

TEST(EnvelopedEncoder, EveryRecipientOpens) {
    SKIP_WITHOUT_ENGINE();
    const std::vector<const char*> names = {"gost2012-512", "gost2001", "gost2012-256"};
    const EnvelopeRequest request(names, IdentityOf("gost2001").cipher);
    const Bytes content = Pattern(5000);
    const Bytes message = Streamed(request.Open(), content, 4096);
    const std::string hex = Hex(message);
    std::size_t last = 0;
    for (const char* name : names) {
        ExpectOpened(name, message, content);
        // In the order of the request.
        const std::size_t at = hex.find(Hex(ViewOf(std::string_view(name))), last);
        ASSERT_NE(at, std::string::npos) << name;
        last = at + 1;
    }
}

TEST(EnvelopedEncoder, WholeMessageIsDerAndOfVersion0) {
    const EnvelopeRequest request({"rsa"}, kAes256);
    const std::shared_ptr<Message> message = request.Open()(nullptr);
    WriteFile("message", WholeMessage(*message, Pattern(300)));
    OpenSsl("cms -cmsout -inform DER -in message -outform DER -out again");
    EXPECT_EQ(Hex(ReadFile("message")), Hex(ReadFile("again")));
    EXPECT_EQ(Hex(Param(*message, CMSG_VERSION_PARAM)), "00000000");
}

TEST(EnvelopedEncoder, RefusesBadRequestsBeforeAnyOutput) {
    CERT_INFO damaged = *IdentityOf("rsa").certificate->pCertInfo;
    damaged.SubjectPublicKeyInfo.PublicKey.cbData /= 2;
    const auto invalid = Code(ERROR_INVALID_PARAMETER);
    const struct {
        const char* name;
        DWORD expected;  // 1: any
        std::function<void(EnvelopeRequest&)> spoil;
    } rows[] = {
        {"nothing wrong", 0, [](EnvelopeRequest&) {}},
        {"no recipients", invalid, [](EnvelopeRequest& r) { r.info.cRecipients = 0; }},
        {"null in the list", invalid, [](EnvelopeRequest& r) { r.recipients[1] = nullptr; }},
        {"small record", invalid, [](EnvelopeRequest& r) { r.info.cbSize = 4; }},
        {"unknown cipher", Code(CRYPT_E_UNKNOWN_ALGO),
         [](EnvelopeRequest& r) { r.cipher[0] = '1'; }},
        {"key that cannot be wrapped for", 1,
         [](EnvelopeRequest& r) { r.recipients[1] = IdentityOf("ec").certificate->pCertInfo; }},
        {"damaged key", 1, [&](EnvelopeRequest& r) { r.recipients[1] = &damaged; }},
    };
    for (const auto& row : rows) {
        EnvelopeRequest request({"rsa", "rsa"}, kAes256);
        row.spoil(request);
        Sink sink;
        const CMSG_STREAM_INFO info = sink.Info();
        const DWORD code = CodeOf([&] { request.Open()(&info); });
        if (row.expected == 1) {
            EXPECT_NE(code, 0U) << row.name;
        } else {
            EXPECT_EQ(code, row.expected) << row.name;
        }
        EXPECT_EQ(sink.calls, 0) << row.name;
    }
}

TEST(EnvelopedEncoder, FailingSinkStopsEverything) {
    const EnvelopeRequest request({"rsa"}, kAes256);
    ExpectFailingSinkStopsEverything(request.Open());
}

}  // namespace
}  // namespace platform::testing
