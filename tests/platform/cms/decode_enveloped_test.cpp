// EnvelopedData as the openssl command makes it, through the exported calls.
#include <gtest/gtest.h>

#include "platform/base/handle.h"
#include "tests/support/decode_support.h"
#include "tests/support/engine.h"

using namespace platform;
using namespace platform::testing;

namespace {

constexpr DWORD kNotDecrypted = Code(CRYPT_E_NOT_DECRYPTED);

struct EnvelopedCase {
    const char* name;
    std::vector<std::string> recipients;
    const char* options;
    std::size_t size;
    const char* cipher = "2.16.840.1.101.3.4.1.42";
};

constexpr const char* kGost = "1.2.643.2.2.21";

const EnvelopedCase kEnvelopedCases[] = {
    {"no octets", {"rsa"}, "-aes256", 0},
    {"no octets, indefinite", {"rsa"}, "-aes256 -stream", 0},
    {"one octet less than a block", {"rsa"}, "-aes256", 15},
    {"a block, key identifier", {"rsa"}, "-aes256 -keyid", 16},
    {"one octet more than a block", {"rsa"}, "-aes256 -stream", 17},
    {"3DES", {"rsa"}, "-des3", 5000, "1.2.840.113549.3.7"},
    {"RSA OAEP", {"rsa"}, "-aes256 -recip rsa.pem -keyopt rsa_padding_mode:oaep", 100},
    {"long", {"rsa"}, "-aes256", 300000},
    {"whole blocks of input", {"rsa"}, "-aes256 -stream", 131072},
    {"GOST 2012, 512 bit", {"gost2012-512"}, "-gost89", 200000, kGost},
    {"GOST, no octets", {"gost2012-256"}, "-gost89", 0, kGost},
    {"Magma", {"gost2012-256"}, "-magma-ctr-acpkm", 20000, "1.2.643.7.1.1.5.1.1"},
    {"Magma with a code", {"gost2012-512"}, "-magma-ctr-acpkm-omac", 20000, "1.2.643.7.1.1.5.1.2"},
    {"Kuznyechik with a code",
     {"gost2012-256", "gost2012-512"},
     "-kuznyechik-ctr-acpkm-omac -stream",
     600000,
     "1.2.643.7.1.1.5.2.2"},
    {"a code over no octets",
     {"gost2012-256"},
     "-kuznyechik-ctr-acpkm-omac",
     0,
     "1.2.643.7.1.1.5.2.2"},
    {"recipients of two kinds", {"gost2012-256", "rsa"}, "-gost89 -stream", 5000, kGost},
};

HCRYPTPROV ProviderOf(const std::string& name) { return IdentityOf(name).provider; }

// The index of the recipient that the certificate is named by.
DWORD RecipientIndex(Decoding& message, const std::string& name) {
    const CERT_INFO& certificate = *IdentityOf(name).certificate->pCertInfo;
    for (DWORD i = 0; i < message.Number(CMSG_RECIPIENT_COUNT_PARAM); ++i) {
        Bytes block = message.Value(CMSG_RECIPIENT_INFO_PARAM, i);
        auto* info = reinterpret_cast<PCERT_INFO>(block.data());
        if (CertCompareCertificate(X509_ASN_ENCODING, info, const_cast<PCERT_INFO>(&certificate)) !=
            FALSE) {
            return i;
        }
    }
    return ~DWORD{0};
}

TEST(DecodeEnveloped, ReadsInAnyPiecesAndWhole) {
    SKIP_WITHOUT_ENGINE();
    for (const EnvelopedCase& row : kEnvelopedCases) {
        const Bytes content = Pattern(row.size);
        const std::string options = row.options;
        const bool named = options.find("-recip") != std::string::npos;
        const Bytes encoded =
            EncryptFor(named ? std::vector<std::string>{} : row.recipients, options, content);
        const std::size_t all = encoded.size() + 1;
        const std::size_t handles = LiveHandles();
        for (const std::string& name : row.recipients) {
            SCOPED_TRACE(row.name + (" " + name));
            Decoding whole(encoded);
            EXPECT_EQ(whole.Get(CMSG_CONTENT_PARAM), kNotDecrypted);
            const DWORD index = RecipientIndex(whole, name);
            EXPECT_EQ(whole.Decrypt(ProviderOf(name), index), 0U);
            EXPECT_EQ(whole.Value(CMSG_CONTENT_PARAM), content);
            EXPECT_EQ(whole.Decrypt(ProviderOf(name), index), Code(CRYPT_E_ALREADY_DECRYPTED));
            for (const std::size_t chunk : {std::size_t{all > 20000 ? 4093U : 1U}, std::size_t{977},
                                            std::size_t{65536}, all}) {
                SCOPED_TRACE(chunk);
                Sink sink;
                Decoding message(&sink);
                EXPECT_EQ(message.Feed(encoded, chunk, ProviderOf(name), index), 0U);
                EXPECT_EQ(sink.output, content);
                EXPECT_EQ(sink.finals, 1);
                EXPECT_FALSE(sink.callAfterFinal);
                EXPECT_EQ(message.Number(CMSG_RECIPIENT_INDEX_PARAM), index);
                const Bytes algorithm = message.Value(CMSG_ENVELOPE_ALGORITHM_PARAM);
                EXPECT_STREQ(
                    reinterpret_cast<const CRYPT_ALGORITHM_IDENTIFIER*>(algorithm.data())->pszObjId,
                    row.cipher);
            }
        }
        EXPECT_EQ(LiveHandles(), handles);
    }
}

TEST(DecodeEnveloped, BeginsOnceTheKeyIsKnown) {
    const Bytes content = Pattern(200000);
    const Bytes encoded = EncryptFor({"rsa"}, "-aes256 -stream", content);
    const ByteView view(encoded);
    Sink sink;
    Decoding message(&sink);
    ASSERT_EQ(message.Update(view.first(100), false), 0U);
    EXPECT_EQ(message.Get(CMSG_ENVELOPE_ALGORITHM_PARAM), kNotReady);
    EXPECT_EQ(message.Get(CMSG_SIGNER_COUNT_PARAM), Code(CRYPT_E_INVALID_MSG_TYPE));
    EXPECT_EQ(message.Decrypt(ProviderOf("rsa")), kNotReady);
    ASSERT_EQ(message.Update(view.subspan(100, 60000), false), 0U);
    EXPECT_EQ(message.Get(CMSG_ENVELOPE_ALGORITHM_PARAM), 0U);
    EXPECT_EQ(sink.calls, 0);
    ASSERT_EQ(message.Decrypt(ProviderOf("rsa")), 0U);
    // All that came so far but the block that may be the last.
    EXPECT_GT(sink.output.size(), 59000U);
    const std::size_t before = sink.output.size();
    ASSERT_EQ(message.Update(view.subspan(60100, 65536), false), 0U);
    EXPECT_GT(sink.output.size(), before + 65000);
    EXPECT_EQ(sink.finals, 0);
    ASSERT_EQ(message.Update(view.subspan(125636), true), 0U);
    EXPECT_EQ(sink.output, content);
    EXPECT_EQ(sink.finals, 1);
}

// Wrong key, damaged key, bad padding and a cut content must look the same.
TEST(DecodeEnveloped, HidesWhatWentWrong) {
    const Bytes content = Pattern(5000);
    const Bytes good = EncryptFor({"rsa"}, "-aes256", content);
    const HCRYPTPROV own = ProviderOf("rsa");
    const HCRYPTPROV stranger = StrangerProvider(IdentityOf("rsa"));
    Bytes wrapped = good;
    // encryptedKey is the only element of 256 octets.
    const Bytes header = FromHex("04820100");
    const auto key = std::search(wrapped.begin(), wrapped.end(), header.begin(), header.end());
    ASSERT_NE(key, wrapped.end());
    *(key + 100) ^= 1;
    // CBC: a change in the last block but one turns the same bits of the last one, the
    // padding (here 8 octets of 8).
    Bytes padding = good;
    *(padding.end() - 17) ^= 0x40;
    const struct {
        const char* name;
        const Bytes& message;
        HCRYPTPROV provider;
    } rows[] = {
        {"wrong private key", good, stranger},
        {"damaged key", wrapped, own},
        {"bad padding", padding, own},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        for (const std::size_t chunk : {std::size_t{512}, good.size() + 1}) {
            Sink sink;
            Decoding message(&sink);
            const DWORD error = message.Feed(row.message, chunk, row.provider);
            // A random key leaves padding that fits in one of 256 cases.
            const bool keyIsWrong = &row.message != &padding;
            if (error == 0 && keyIsWrong && sink.output != content) continue;
            EXPECT_EQ(error, kBadData);
            EXPECT_EQ(LastErrorDetail(kBadData), "");
            EXPECT_EQ(sink.finals, 0);
            // The control itself had nothing to say: what came before the end is out.
            EXPECT_EQ(sink.output.empty(), chunk > 512);
            EXPECT_EQ(message.Update({}, true), kBadData) << "not sticky";
        }
    }
    EXPECT_TRUE(CryptReleaseContext(stranger, 0));
}

TEST(DecodeEnveloped, RefusesACutContent) {
    // Only the last piece has a length; it loses four octets.
    Bytes cut = EncryptFor({"rsa"}, "-aes256 -stream", Pattern(5000));
    const Bytes ends(10, 0);
    const auto end = std::search(cut.begin(), cut.end(), ends.begin(), ends.end());
    const Bytes header = FromHex("0410");
    ASSERT_TRUE(std::equal(header.begin(), header.end(), end - 18)) << Hex(cut);
    *(end - 17) -= 4;
    cut.erase(end - 4, end);
    Sink sink;
    Decoding message(&sink);
    EXPECT_EQ(message.Feed(cut, 4096, ProviderOf("rsa")), kBadData);
    EXPECT_EQ(sink.finals, 0);
}

TEST(DecodeEnveloped, HoldsContentAgainstItsCode) {
    SKIP_WITHOUT_ENGINE();
    const Bytes content = Pattern(100);
    const Bytes good = EncryptFor({"gost2012-256"}, "-magma-ctr-acpkm-omac", content);
    // At the end: [0] of 100 octets of content, then the attribute with 8 octets of code.
    const std::size_t end = good.size();
    const auto change = [&](std::size_t fromEnd) {
        Bytes message = good;
        message[end - fromEnd] ^= 1;
        return message;
    };
    const struct {
        const char* name;
        Bytes message;
        DWORD expected;
    } rows[] = {
        {"good", good, 0},
        {"first octet of the code", change(8), kBadData},
        {"last octet of the code", change(1), kBadData},
        {"first octet of the content", change(27 + 100), kBadData},
        {"last octet of the content", change(28), kBadData},
        {"code under another name", change(8 + 2 + 2 + 1), kBadData},
    };
    ASSERT_EQ(good[end - 27], 0xA1) << Hex(good);
    for (const auto& row : rows) {
        Sink sink;
        Decoding message(&sink);
        EXPECT_EQ(message.Feed(row.message, 65536, ProviderOf("gost2012-256")), row.expected)
            << row.name;
        EXPECT_EQ(sink.finals, row.expected == 0 ? 1 : 0) << row.name;
    }
}

TEST(DecodeEnveloped, TellsAWrongGostKeyAtOnce) {
    SKIP_WITHOUT_ENGINE();
    // Its transport carries a check value, and its cipher no padding that could tell later.
    const HCRYPTPROV stranger = StrangerProvider(IdentityOf("gost2012-256"));
    Sink sink;
    Decoding message(&sink);
    EXPECT_EQ(message.Feed(EncryptFor({"gost2012-256"}, "-gost89", Pattern(100)), 65536, stranger),
              kBadData);
    EXPECT_EQ(sink.calls, 0);
    EXPECT_TRUE(CryptReleaseContext(stranger, 0));
}

}  // namespace
