// What is written is opened by the openssl command.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "encode_support.h"

namespace platform::testing {
namespace {

constexpr std::size_t kChunk = 65536;
constexpr const char* kAes256 = "2.16.840.1.101.3.4.1.42";

struct Request {
    std::vector<PCERT_INFO> recipients;
    std::string cipher;
    CMSG_ENVELOPED_ENCODE_INFO info{};

    Request(const std::vector<const char*>& names, const char* cipherOid) : cipher(cipherOid) {
        for (const char* name : names) {
            recipients.push_back(IdentityOf(name).certificate->pCertInfo);
        }
        info.cbSize = sizeof(info);
        info.ContentEncryptionAlgorithm.pszObjId = cipher.data();
        info.cRecipients = static_cast<DWORD>(recipients.size());
        info.rgpRecipients = recipients.data();
    }
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;
};

Bytes Streamed(const Request& request, ByteView content, std::size_t piece) {
    Sink sink;
    const CMSG_STREAM_INFO info = sink.Info();
    const std::shared_ptr<Message> message = NewEnvelopedEncoder(request.info, 0, nullptr, &info);
    EXPECT_EQ(sink.calls, 0);
    while (content.size() >= piece) {
        message->Update(content.first(piece), false);
        content = content.subspan(piece);
    }
    message->Update(content, true);
    EXPECT_EQ(sink.finals, 1);
    EXPECT_FALSE(sink.callAfterFinal);
    return sink.output;
}

Bytes Whole(const Request& request, ByteView content) {
    return WholeMessage(*NewEnvelopedEncoder(request.info, 0, nullptr, nullptr), content);
}

void ExpectOpened(const char* name, const Bytes& message, const Bytes& content) {
    WriteTemp("message", message);
    const Identity& identity = IdentityOf(name);
    const std::string files = std::string(name) + ".pem -inkey " + name + ".key";
    std::string printed;
    EXPECT_TRUE(OpenSsl("cms" + identity.Engine() +
                            "-decrypt -binary -inform DER -in message -out content -recip " + files,
                        &printed))
        << printed;
    EXPECT_EQ(ReadTemp("content"), content) << name;
}

TEST(EnvelopedEncoder, OpenSslOpensEveryKeyStreamedAndWhole) {
    // Past the 1 KiB after which the GOST cipher meshes its key.
    const Bytes content = Noise(3 * kChunk + 5);
    for (const char* name : kEncryptingIdentities) {
        SCOPED_TRACE(name);
        const Request request({name}, IdentityOf(name).cipher);
        ExpectOpened(name, Streamed(request, content, kChunk), content);
        ExpectOpened(name, Whole(request, content), content);
    }
}

TEST(EnvelopedEncoder, EveryCipherAndSize) {
    const char* const ciphers[] = {kAes256, "2.16.840.1.101.3.4.1.22", "2.16.840.1.101.3.4.1.2",
                                   "1.2.840.113549.3.7"};
    for (const char* cipher : ciphers) {
        for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{16}, kChunk - 1,
                                       kChunk, kChunk + 1, 2 * kChunk}) {
            SCOPED_TRACE(std::string(cipher) + ", " + std::to_string(size));
            const Bytes content = Noise(size);
            const Request request({"rsa"}, cipher);
            ExpectOpened("rsa", Streamed(request, content, kChunk), content);
        }
        const Request request({"rsa"}, cipher);
        ExpectOpened("rsa", Whole(request, {}), {});
    }
}

TEST(EnvelopedEncoder, PiecesOfEverySizeGiveTheSameContent) {
    const Bytes content = Noise(2 * kChunk + 3);
    for (const char* name : {"rsa", "gost2012-256"}) {
        const Request request({name}, IdentityOf(name).cipher);
        for (const std::size_t piece :
             {std::size_t{7777}, kChunk - 1, kChunk + 1, 2 * kChunk + 3, 3 * kChunk}) {
            SCOPED_TRACE(piece);
            ExpectOpened(name, Streamed(request, content, piece), content);
        }
    }
}

TEST(EnvelopedEncoder, EveryRecipientOpens) {
    const std::vector<const char*> names = {"gost2012-512", "gost2001", "gost2012-256"};
    const Request request(names, IdentityOf("gost2001").cipher);
    const Bytes content = Noise(5000);
    const Bytes message = Streamed(request, content, 4096);
    for (const char* name : names) ExpectOpened(name, message, content);
    // In the order of the request.
    const std::string hex = Hex(message);
    std::size_t last = 0;
    for (const char* name : names) {
        const std::size_t at = hex.find(Hex(ViewOf(std::string_view(name))), last);
        ASSERT_NE(at, std::string::npos) << name;
        last = at + 1;
    }
}

TEST(EnvelopedEncoder, WholeMessageIsDerAndOfVersion0) {
    const Request request({"rsa"}, kAes256);
    const std::shared_ptr<Message> message = NewEnvelopedEncoder(request.info, 0, nullptr, nullptr);
    WriteTemp("message", WholeMessage(*message, Noise(300)));
    ASSERT_TRUE(OpenSsl("cms -cmsout -inform DER -in message -outform DER -out again"));
    EXPECT_EQ(Hex(ReadTemp("message")), Hex(ReadTemp("again")));
    EXPECT_EQ(Hex(Param(*message, CMSG_VERSION_PARAM)), "00000000");
    EXPECT_EQ(Hex(Param(*message, CMSG_RECIPIENT_COUNT_PARAM)), "01000000");
    EXPECT_EQ(Param(*message, CMSG_ENCODED_MESSAGE), ReadTemp("message"));
}

TEST(EnvelopedEncoder, RefusesBadRequestsBeforeAnyOutput) {
    Bytes iv(16);
    CERT_INFO damaged = *IdentityOf("rsa").certificate->pCertInfo;
    damaged.SubjectPublicKeyInfo.PublicKey.cbData /= 2;
    const auto invalid = static_cast<DWORD>(ERROR_INVALID_PARAMETER);
    const struct {
        const char* name;
        DWORD expected;  // 1: any
        std::function<void(Request&)> spoil;
    } rows[] = {
        {"nothing wrong", 0, [](Request&) {}},
        {"no recipients", invalid, [](Request& r) { r.info.cRecipients = 0; }},
        {"no list", invalid, [](Request& r) { r.info.rgpRecipients = nullptr; }},
        {"null in the list", invalid, [](Request& r) { r.recipients[1] = nullptr; }},
        {"small record", invalid, [](Request& r) { r.info.cbSize = 4; }},
        {"no cipher", invalid,
         [](Request& r) { r.info.ContentEncryptionAlgorithm.pszObjId = nullptr; }},
        {"unknown cipher", static_cast<DWORD>(NTE_BAD_ALGID),
         [](Request& r) { r.cipher[0] = '1'; }},
        {"parameters given", invalid,
         [&](Request& r) {
             r.info.ContentEncryptionAlgorithm.Parameters = {16, iv.data()};
         }},
        {"key that cannot be wrapped for", 1,
         [](Request& r) { r.recipients[1] = IdentityOf("ec").certificate->pCertInfo; }},
        {"damaged key", 1, [&](Request& r) { r.recipients[1] = &damaged; }},
    };
    for (const auto& row : rows) {
        Request request({"rsa", "rsa"}, kAes256);
        row.spoil(request);
        Sink sink;
        const CMSG_STREAM_INFO info = sink.Info();
        const DWORD code = CodeOf([&] { NewEnvelopedEncoder(request.info, 0, nullptr, &info); });
        if (row.expected == 1) {
            EXPECT_NE(code, 0U) << row.name;
        } else {
            EXPECT_EQ(code, row.expected) << row.name;
        }
        EXPECT_EQ(sink.calls, 0) << row.name;
    }
}

TEST(EnvelopedEncoder, FailingSinkStopsEverything) {
    const Request request({"rsa"}, kAes256);
    for (int failAt = 0;; ++failAt) {
        Sink sink;
        sink.failAt = failAt;
        const CMSG_STREAM_INFO info = sink.Info();
        const std::shared_ptr<Message> message =
            NewEnvelopedEncoder(request.info, 0, nullptr, &info);
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
