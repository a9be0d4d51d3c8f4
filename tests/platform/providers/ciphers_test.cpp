// Content ciphers and key transport against messages of the openssl command, in both
// directions. The payload is above 2 MiB, so that every change of key on the way happens.
#include <algorithm>

#include "platform/cms/model.h"
#include "platform/der/der.h"
#include "platform/providers/container.h"
#include "tests/support/engine.h"
#include "tests/support/workshop.h"

namespace platform::testing {
namespace {

constexpr std::size_t kPayload = (2U << 20) + 12345;
constexpr std::size_t kChunk = 65536;

// Identifiers as the standards write them: RFC 3565, 3370, 3657, 5794, 4010, 4490, 2144.
constexpr struct {
    const char* name;  // of the openssl command
    const char* oid;
    std::size_t keyLength;
} kCiphers[] = {
    {"aes-128-cbc", "2.16.840.1.101.3.4.1.2", 16},
    {"aes-192-cbc", "2.16.840.1.101.3.4.1.22", 24},
    {"aes-256-cbc", "2.16.840.1.101.3.4.1.42", 32},
    {"des3", "1.2.840.113549.3.7", 24},
    {"camellia256", "1.2.392.200011.61.1.1.1.4", 32},
    {"aria-256-cbc", "1.2.410.200046.1.1.12", 32},
    {"sm4-cbc", "1.2.156.10197.1.104.2", 16},
    {"seed-cbc", "1.2.410.200004.1.4", 16},
    {"des-cbc", "1.3.14.3.2.7", 8},
    {"rc2-cbc", "1.2.840.113549.3.2", 16},
    {"cast5-cbc", "1.2.840.113533.7.66.10", 16},
    {"bf-cbc", "1.3.6.1.4.1.3029.1.2", 16},
    {"gost89", "1.2.643.2.2.21", 32},
};
// Naming modules to the command keeps it from finding what the engine adds.
std::string Modules(std::string_view cipher) {
    return cipher == "gost89" ? " -engine gost " : " -provider default -provider legacy ";
}

Bytes Transform(Cipher& cipher, ByteView input) {
    Bytes output;
    Bytes block(kChunk + Cipher::kSlack);
    std::size_t size = 0;
    for (std::size_t at = 0; at < input.size(); at += kChunk) {
        const ByteView chunk = input.subspan(at, std::min(kChunk, input.size() - at));
        if (!cipher.Update(chunk, block.data(), size)) throw Error(NTE_BAD_DATA);
        output.insert(output.end(), block.data(), block.data() + size);
    }
    if (!cipher.Finish(block.data(), size)) throw Error(NTE_BAD_DATA);
    output.insert(output.end(), block.data(), block.data() + size);
    return output;
}

// The parts of an EnvelopedData with one recipient, or of an EncryptedData.
struct Sealed {
    Algorithm transport;
    Bytes wrapped;
    Algorithm cipher;
    Bytes content;
};

Sealed ReadMessage(ByteView message) {
    Sealed sealed;
    der::Cursor outer(der::Cursor(message).Next().contents);
    outer.Next();  // content type
    der::Cursor data(der::Cursor(outer.Next().contents).Next().contents);
    data.Next();  // version
    if (data.NextIs(der::kSet)) {
        der::Cursor recipient(der::Cursor(data.Next().contents).Next().contents);
        recipient.Next();  // version
        recipient.Next();  // issuer and serial number
        sealed.transport = ParseAlgorithm(recipient.Next().whole);
        sealed.wrapped = Copy(recipient.Next().contents);
    }
    der::Cursor inside(data.Next().contents);
    inside.Next();  // content type
    sealed.cipher = ParseAlgorithm(inside.Next().whole);
    sealed.content = Copy(inside.Next().contents);
    return sealed;
}

Bytes EncryptedData(const Sealed& sealed) {
    const Bytes content = der::Element(
        der::kSequence, {der::Oid("1.2.840.113549.1.7.1"), EncodeAlgorithm(sealed.cipher),
                         der::Element(der::Context(0), sealed.content)});
    const Bytes data = der::Element(der::kSequence, {der::Integer(0), content});
    return der::Element(der::kSequence, {der::Oid("1.2.840.113549.1.7.6"),
                                         der::Element(der::ContextConstructed(0), data)});
}

TEST(Ciphers, OpensslOpensOurs) {
    SKIP_WITHOUT_ENGINE();
    const Bytes payload = Pattern(kPayload);
    for (const auto& row : kCiphers) {
        SCOPED_TRACE(row.name);
        Sealed sealed;
        Secret key;
        const CipherContext context = StartEncryption(row.oid, sealed.cipher, key);
        ASSERT_EQ(key.View().size(), row.keyLength);
        EXPECT_EQ(CipherKeyLength(row.oid), row.keyLength);
        sealed.content = Transform(*context, payload);
        WriteFile("message", EncryptedData(sealed));
        OpenSsl(
            "cms -EncryptedData_decrypt -inform DER -binary -in message"
            " -out plain -secretkey " +
            Hex(key.View()) + Modules(row.name));
        EXPECT_TRUE(ReadFile("plain") == payload);
    }
}

TEST(Ciphers, OursOpenOpenssl) {
    SKIP_WITHOUT_ENGINE();
    const Bytes payload = Pattern(kPayload);
    WriteFile("payload", payload);
    for (const auto& row : kCiphers) {
        SCOPED_TRACE(row.name);
        const Bytes key = Pattern(row.keyLength);
        OpenSsl(
            "cms -EncryptedData_encrypt -outform DER -binary -in payload"
            " -out message -secretkey " +
            Hex(key) + Modules(row.name) + "-" + row.name);
        const Sealed sealed = ReadMessage(ReadFile("message"));
        EXPECT_EQ(sealed.cipher.oid, row.oid);
        EXPECT_EQ(CipherKeyLength(sealed.cipher), row.keyLength);
        const CipherContext context = StartDecryption(sealed.cipher, key);
        EXPECT_TRUE(Transform(*context, sealed.content) == payload);
    }
}

struct BadRow {
    const char* name;
    Algorithm algorithm;
    std::size_t keyLength;
    DWORD expected;
};

TEST(Ciphers, RefuseBadParametersAndKeys) {
    const std::string aes = "2.16.840.1.101.3.4.1.42";
    const std::string rc2 = "1.2.840.113549.3.2";
    const Bytes iv16 = der::Element(der::kOctetString, Bytes(16));
    const Bytes iv8 = der::Element(der::kOctetString, Bytes(8));
    Bytes tail = iv16;
    tail.push_back(0);
    const BadRow rows[] = {
        {"good", {aes, iv16}, 32, 0},
        {"short key", {aes, iv16}, 31, Code(NTE_BAD_LEN)},
        {"no parameters", {aes, {}}, 32, Code(CRYPT_E_ASN1_CORRUPT)},
        {"IV of another block", {aes, iv8}, 32, Code(CRYPT_E_ASN1_CORRUPT)},
        {"IV with a tail", {aes, tail}, 32, Code(CRYPT_E_ASN1_CORRUPT)},
        {"RC2 without version", {rc2, iv8}, 16, Code(CRYPT_E_ASN1_CORRUPT)},
        {"GOST without parameter set",
         {oid::kGost28147_89, der::Element(der::kSequence, iv8)},
         32,
         Code(CRYPT_E_ASN1_CORRUPT)},
        {"GOST with a bad IV",
         {oid::kGost28147_89, der::Element(der::kSequence, {iv16, der::Oid("1.2.643.2.2.31.1")})},
         32,
         Code(CRYPT_E_ASN1_CORRUPT)},
        {"authenticated mode", {"2.16.840.1.101.3.4.1.46", iv16}, 32, Code(NTE_BAD_ALGID)},
        {"unknown GOST", {"1.2.643.2.2.99", iv16}, 32, Code(NTE_BAD_ALGID)},
    };
    for (const BadRow& row : rows) {
        const Bytes key(row.keyLength, 7);
        EXPECT_EQ(CodeOf([&] { StartDecryption(row.algorithm, key); }), row.expected) << row.name;
    }
}

// ---- transport ---------------------------------------------------------------

struct SealedRow {
    const char* name;
    const char* key;
    const char* options;
};

constexpr SealedRow kSealed[] = {
    {"RSA, PKCS #1", "rsa", "-aes-256-cbc -recip rsa.pem"},
    {"RSA, OAEP with SHA-256", "rsa",
     "-aes-256-cbc -recip rsa.pem -keyopt rsa_padding_mode:oaep -keyopt rsa_oaep_md:sha256"},
    {"RSA, OAEP with label", "rsa",
     "-aes-256-cbc -recip rsa.pem -keyopt rsa_padding_mode:oaep -keyopt rsa_oaep_label:0102ff"},
    // RFC 2268: the version in the parameters fixes the length of the key.
    {"RC2 of 64 bits", "rsa", "-provider default -provider legacy -rc2-64-cbc -recip rsa.pem"},
    {"GOST R 34.10-2001", "gost2001", "-engine gost -gost89 -recip gost2001.pem"},
    {"GOST R 34.10-2012, 256 bit", "gost256", "-engine gost -gost89 -recip gost256.pem"},
    {"GOST R 34.10-2012, 512 bit", "gost512", "-engine gost -gost89 -recip gost512.pem"},
    {"GOST R 34.10-2012, 512 bit, twisted", "gost512c", "-engine gost -gost89 -recip gost512c.pem"},
    {"Magma", "gost256", "-engine gost -magma-ctr-acpkm -recip gost256.pem"},
    {"Kuznyechik", "gost512", "-engine gost -kuznyechik-ctr-acpkm -recip gost512.pem"},
};

Sealed SealWithOpenssl(const SealedRow& row, ByteView payload) {
    CertificateOf(row.key);
    WriteFile("payload", payload);
    OpenSsl(
        "cms -encrypt -binary -in payload -outform DER"
        " -out message " +
        std::string(row.options));
    return ReadMessage(ReadFile("message"));
}

TEST(Transport, OursOpenOpenssl) {
    SKIP_WITHOUT_ENGINE();
    const Bytes payload = Pattern(kPayload);
    for (const SealedRow& row : kSealed) {
        SCOPED_TRACE(row.name);
        const Sealed sealed = SealWithOpenssl(row, payload);
        const AnyKey key = PrivateKey(row.key);
        const Secret content =
            UnwrapKey(key, sealed.transport, sealed.wrapped, CipherKeyLength(sealed.cipher));
        const CipherContext context = StartDecryption(sealed.cipher, content.View());
        EXPECT_TRUE(Transform(*context, sealed.content) == payload);
    }
}

// A random key, different each time and of the length asked for.
void ExpectRandomKey(const AnyKey& key, const Algorithm& transport, ByteView wrapped) {
    const Secret first = UnwrapKey(key, transport, wrapped, 32);
    const Secret second = UnwrapKey(key, transport, wrapped, 32);
    EXPECT_EQ(first.View().size(), 32U);
    EXPECT_EQ(second.View().size(), 32U);
    EXPECT_FALSE(Equal(first.View(), second.View()));
}

TEST(Transport, DamageNeverShowsWithRsa) {
    for (const SealedRow& row : kSealed) {
        if (std::string_view(row.key) != "rsa") continue;
        SCOPED_TRACE(row.name);
        const Sealed sealed = SealWithOpenssl(row, Pattern(100));
        const AnyKey key = PrivateKey(row.key);
        for (std::size_t at = 0; at < sealed.wrapped.size(); at += 9) {
            SCOPED_TRACE("byte " + std::to_string(at));
            Bytes damaged = sealed.wrapped;
            damaged[at] ^= 0x04;
            ExpectRandomKey(key, sealed.transport, damaged);
            damaged.resize(at);
            ExpectRandomKey(key, sealed.transport, damaged);
        }
        const AnyKey other = GenerateKey(TypeForKey(key));
        ExpectRandomKey(other, sealed.transport, sealed.wrapped);
    }
}

// A check value protects the key; bits around it (the form of an encoding) may change
// without effect.
TEST(Transport, DamageWithGostIsAnErrorOrNoDamage) {
    SKIP_WITHOUT_ENGINE();
    for (const SealedRow& row : kSealed) {
        if (std::string_view(row.key) == "rsa") continue;
        SCOPED_TRACE(row.name);
        const Sealed sealed = SealWithOpenssl(row, Pattern(100));
        const AnyKey key = PrivateKey(row.key);
        const auto unwrap = [&](const AnyKey& with, ByteView wrapped) {
            return UnwrapKey(with, sealed.transport, wrapped, 32);
        };
        const Secret good = unwrap(key, sealed.wrapped);
        for (std::size_t at = 0; at < sealed.wrapped.size(); ++at) {
            SCOPED_TRACE("byte " + std::to_string(at));
            Bytes damaged = sealed.wrapped;
            damaged[at] ^= static_cast<std::uint8_t>(1U << at % 8);
            Secret got = good;
            const DWORD code = CodeOf([&] { got = unwrap(key, damaged); });
            EXPECT_TRUE(code == Code(NTE_BAD_DATA) || Equal(got.View(), good.View())) << code;
            damaged.resize(at);
            EXPECT_EQ(CodeOf([&] { unwrap(key, damaged); }), Code(NTE_BAD_DATA));
        }
        const AnyKey other = GenerateKey(TypeForKey(key));
        EXPECT_EQ(CodeOf([&] { unwrap(other, sealed.wrapped); }), Code(NTE_BAD_DATA));
    }
}

struct BlockRow {
    const char* name;
    std::function<void(Bytes&)> damage;
    bool taken;
};

TEST(Transport, RsaBlockIsReadAsTheStandardSays) {
    const BlockRow rows[] = {
        {"good", [](Bytes&) {}, true},
        {"block type 3", [](Bytes& block) { block[1] = 3; }, false},
        {"zero in the padding", [](Bytes& block) { block[2] = 0; }, false},
        {"no separator", [](Bytes& block) { block[256 - 33] = 9; }, false},
        {"longer key", [](Bytes& block) { block[256 - 33] = 9, block[256 - 34] = 0; }, false},
        {"shorter key", [](Bytes& block) { block[256 - 33] = 9, block[256 - 32] = 0; }, false},
        {"0xFF everywhere else", [](Bytes& block) { std::fill_n(block.begin() + 2, 221, 255); },
         true},
    };
    const AnyKey key = PrivateKey("rsa");
    const Bytes content = Pattern(32);
    for (const BlockRow& row : rows) {
        Bytes block(256, 0x5A);
        block[0] = 0;
        block[1] = 2;
        block[256 - 33] = 0;
        std::copy(content.begin(), content.end(), block.end() - 32);
        row.damage(block);
        WriteFile("block", block);
        // A raw block must stay below the modulus, whose first bit is set.
        OpenSsl(
            "pkeyutl -encrypt -pubin -keyform DER -inkey rsa.pub -in block"
            " -out wrapped -pkeyopt rsa_padding_mode:none");
        const Secret got = UnwrapKey(key, {oid::kRsa, {5, 0}}, ReadFile("wrapped"), 32);
        EXPECT_EQ(Equal(got.View(), content), row.taken) << row.name;
    }
}

TEST(Transport, AlgorithmGoesWithTheKey) {
    SKIP_WITHOUT_ENGINE();
    const struct {
        const char* key;
        const char* transport;
    } rows[] = {
        {"rsa", oid::kGostR3410_2001},         {"rsa", ""},         {"gost256", oid::kRsa},
        {"gost256", oid::kGostR3410_2012_512}, {"p256", oid::kRsa}, {"gost2001", oid::kMagmaWrap},
    };
    for (const auto& row : rows) {
        const AnyKey key = PrivateKey(row.key);
        EXPECT_EQ(CodeOf([&] {
                      UnwrapKey(key, {row.transport, {}}, Bytes(256), 32);
                  }),
                  Code(NTE_BAD_ALGID))
            << row.key << " " << row.transport;
    }
    const AnyKey ec = PublicKey("p256");
    EXPECT_EQ(CodeOf([&] { WrapKey(ec, "2.16.840.1.101.3.4.1.42", Bytes(32)); }),
              Code(NTE_BAD_ALGID));
    const AnyKey rsa = PublicKey("rsa");
    EXPECT_EQ(CodeOf([&] { WrapKey(rsa, "2.16.840.1.101.3.4.1.42", Bytes(16)); }),
              Code(NTE_BAD_LEN));
}

}  // namespace
}  // namespace platform::testing
