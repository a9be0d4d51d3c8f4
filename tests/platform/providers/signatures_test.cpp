// Signatures and digests against the openssl command and the standards' own examples.
#include "platform/cms/model.h"
#include "platform/der/der.h"
#include "tests/support/engine.h"
#include "tests/support/workshop.h"

namespace platform::testing {
namespace {

TEST(Digests, RefuseWhatIsNoDigest) {
    for (const char* oid : {"", "sha256", "1.2.3", oid::kRsa, "2.16.840.1.101.3.4.1.42",
                            "1.2.643.2.2.21", "1.2.643.7.1.1.2.9", "1.2.840.113549.2.4"}) {
        EXPECT_EQ(CodeOf([&] { Digest digest{oid}; }), Code(NTE_BAD_ALGID)) << oid;
    }
}

Bytes DigestOfPattern(const char* oid) {
    Digest digest(oid);
    digest.Update(Pattern(1000));
    return digest.Value();
}

std::string PkeyutlOptions(const KeyRow& row) {
    if (IsGost(row.digestOid)) return "";
    const bool pss = row.name == std::string_view("pss");
    return std::string(" -pkeyopt digest:") + row.digest +
           (pss ? " -pkeyopt rsa_pss_saltlen:32" : "");
}

TEST(Signatures, OursAcceptOpensslAndNothingElse) {
    SKIP_WITHOUT_ENGINE();
    for (const KeyRow& row : KeyRows()) {
        SCOPED_TRACE(row.name);
        const AnyKey key = PublicKey(row.name);
        const Bytes digest = DigestOfPattern(row.digestOid);
        WriteFile("digest", digest);
        OpenSsl("pkeyutl -engine gost -sign -in digest -out signature -inkey " +
                std::string(row.name) + ".key" + PkeyutlOptions(row));
        const Bytes signature = ReadFile("signature");
        const Algorithm algorithm = SignatureAlgorithmFor(key, row.digestOid);
        const auto verify = [&](const Bytes& value, const Bytes& sign) {
            return CodeOf([&] { VerifyDigest(key, algorithm, row.digestOid, value, sign); });
        };
        EXPECT_EQ(verify(digest, signature), 0U);
        for (std::size_t at = 0; at < signature.size(); at += 5) {
            Bytes damaged = signature;
            damaged[at] ^= 0x10;
            EXPECT_EQ(verify(digest, damaged), Code(NTE_BAD_SIGNATURE)) << "byte " << at;
        }
        Bytes other = digest;
        other[0] ^= 1;
        EXPECT_EQ(verify(other, signature), Code(NTE_BAD_SIGNATURE));
        other = digest;
        other.pop_back();
        EXPECT_EQ(verify(other, signature), Code(NTE_BAD_SIGNATURE));
        EXPECT_EQ(verify(digest, {}), Code(NTE_BAD_SIGNATURE));
        Bytes longer = signature;
        longer.push_back(0);
        EXPECT_EQ(verify(digest, longer), Code(NTE_BAD_SIGNATURE));
    }
}

// An empty signature is a bad one wherever the algorithms fit.
constexpr struct {
    const char* name;
    const char* key;
    const char* algorithm;
    const char* digest;
    DWORD expected;
} kFits[] = {
    {"RSA with its digest", "rsa", "1.2.840.113549.1.1.11", oid::kSha256, Code(NTE_BAD_SIGNATURE)},
    {"RSA with another digest", "rsa", "1.2.840.113549.1.1.11", oid::kSha1, Code(NTE_BAD_ALGID)},
    {"RSA key, ECDSA", "rsa", "1.2.840.10045.4.3.2", oid::kSha256, Code(NTE_BAD_ALGID)},
    {"ECDSA, bare", "p256", oid::kEc, oid::kSha256, Code(NTE_BAD_SIGNATURE)},
    {"ECDSA with another digest", "p256", "1.2.840.10045.4.3.2", oid::kSha384, Code(NTE_BAD_ALGID)},
    {"GOST with another digest", "gost256", oid::kGostR3410_2012_256, oid::kGostR3411_94,
     Code(NTE_BAD_ALGID)},
    {"GOST of another length", "gost256", oid::kGostR3410_2012_512, oid::kGostR3411_2012_512,
     Code(NTE_BAD_ALGID)},
};

TEST(Signatures, AlgorithmGoesWithKeyAndDigest) {
    SKIP_WITHOUT_ENGINE();
    for (const auto& row : kFits) {
        const AnyKey key = PublicKey(row.key);
        const Bytes digest = DigestOfPattern(row.digest);
        EXPECT_EQ(CodeOf([&] {
                      VerifyDigest(key, {row.algorithm, {}}, row.digest, digest, {});
                  }),
                  row.expected)
            << row.name;
    }
}

struct PssRow {
    const char* name;
    const char* options;  // of pkeyutl
    const char* digestOid;
    Bytes parameters;
    DWORD expected;
};

Bytes PssDer(const char* digest, const char* mask, long salt) {
    const Bytes digestAlgorithm = EncodeAlgorithm({digest, {0x05, 0x00}});
    const Bytes maskAlgorithm =
        EncodeAlgorithm({"1.2.840.113549.1.1.8", EncodeAlgorithm({mask, {0x05, 0x00}})});
    return der::Element(der::kSequence,
                        {der::Element(0xA0, digestAlgorithm), der::Element(0xA1, maskAlgorithm),
                         der::Element(0xA2, der::Integer(salt))});
}

TEST(Signatures, RsaPssFollowsItsParameters) {
    const std::string sha256 = "-pkeyopt digest:sha256 -pkeyopt rsa_pss_saltlen:32";
    const Bytes good = PssDer(oid::kSha256, oid::kSha256, 32);
    const PssRow rows[] = {
        {"SHA-256", sha256.c_str(), oid::kSha256, good, 0},
        {"defaults", "-pkeyopt digest:sha1 -pkeyopt rsa_pss_saltlen:20", oid::kSha1, {0x30, 0}, 0},
        {"another mask",
         "-pkeyopt digest:sha256 -pkeyopt rsa_pss_saltlen:0 -pkeyopt rsa_mgf1_md:sha1",
         oid::kSha256, PssDer(oid::kSha256, oid::kSha1, 0), 0},
        {"wrong mask", sha256.c_str(), oid::kSha256, PssDer(oid::kSha256, oid::kSha1, 32),
         Code(NTE_BAD_SIGNATURE)},
        {"digest of another signer", sha256.c_str(), oid::kSha256,
         PssDer(oid::kSha384, oid::kSha256, 32), Code(NTE_BAD_ALGID)},
        {"mask unknown", sha256.c_str(), oid::kSha256, PssDer(oid::kSha256, "1.2.3", 32),
         Code(NTE_BAD_ALGID)},
        {"no parameters", sha256.c_str(), oid::kSha256, {}, Code(NTE_BAD_ALGID)},
    };
    const AnyKey key = PublicKey("rsa");
    for (const PssRow& row : rows) {
        const Bytes digest = DigestOfPattern(row.digestOid);
        WriteFile("digest", digest);
        OpenSsl(
            "pkeyutl -sign -in digest -out signature -inkey rsa.key"
            " -pkeyopt rsa_padding_mode:pss " +
            std::string(row.options));
        EXPECT_EQ(CodeOf([&] {
                      VerifyDigest(key, {oid::kRsaPss, row.parameters}, row.digestOid, digest,
                                   ReadFile("signature"));
                  }),
                  row.expected)
            << row.name;
    }
}

TEST(PublicKeys, RefuseDamage) {
    SKIP_WITHOUT_ENGINE();
    for (const KeyRow& row : KeyRows()) {
        CertificateOf(row.name);
        Bytes der = ReadFile(std::string(row.name) + ".pub");
        for (std::size_t size = 0; size < der.size(); ++size) {
            EXPECT_EQ(CodeOf([&] { PublicKeyFromDer(ByteView(der).first(size)); }),
                      Code(CRYPT_E_ASN1_BADTAG))
                << row.name << " cut at " << size;
        }
        der.push_back(0);
        EXPECT_EQ(CodeOf([&] { PublicKeyFromDer(der); }), Code(CRYPT_E_ASN1_BADTAG)) << row.name;
    }
    const Bytes unknown = FromHex("300b 3005 06032a0304 03020001");
    EXPECT_EQ(CodeOf([&] { PublicKeyFromDer(unknown); }), Code(NTE_BAD_ALGID));
}

}  // namespace
}  // namespace platform::testing
