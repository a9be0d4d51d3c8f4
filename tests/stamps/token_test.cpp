// Tokens that `openssl ts` made, and records written by hand.
#include "stamps/cert_id.h"
#include "stamps/stamp_records.h"
#include "tests/stamps/support.h"

namespace stamps_tests {
namespace {

using namespace Ferroline::PKI;
namespace ASN1 = Ferroline::ASN1;

std::string Raw(const CBlob& blob) {
    return {reinterpret_cast<const char*>(blob.GetData()), blob.GetSize()};
}

CBlob Blob(const std::string& bytes) {
    return {bytes.data(), static_cast<std::uint32_t>(bytes.size())};
}

// What the message object says of other messages.
constexpr unsigned kAnotherType = 0x80091004;
constexpr unsigned kNoSuchIndex = 0x80091008;
constexpr unsigned kCutShort = 0x80093102;

// Every field that a service may set.
std::string ResponseOfAService() {
    const Folder folder;
    folder.Write("data", "the data");
    folder.Write("serial", "7FFE");
    folder.Write("tsa.cnf",
                 "[tsa]\ndefault_tsa=it\n[it]\nserial=serial\nsigner_digest=sha256\n"
                 "digests=sha512\ndefault_policy=1.2.3.4.5\n"
                 "accuracy = secs:1, millisecs:500, microsecs:100\nclock_precision_digits = 6\n"
                 "ordering = yes\ntsa_name = yes\ness_cert_id_chain = yes\n");
    folder.Run(
        "openssl req -x509 -nodes -newkey rsa:2048 -keyout key -out cert -subj /CN=Stamps "
        "-addext extendedKeyUsage=critical,timeStamping");
    folder.Run("openssl ts -query -data data -out query -sha512 -cert");
    folder.Run(
        "openssl ts -reply -config tsa.cnf -section it -signer cert -inkey key "
        "-queryfile query -out response");
    return Raw(folder.Read("response"));
}

TEST(Token, DamagedOnesFailAsTold) {
    const std::string whole = ResponseOfAService();
    CStampResponse good;
    good.Decode(Blob(whole));
    ASSERT_TRUE(good.token);
    EXPECT_EQ(*good.token->accuracy, (CAccuracy{1, 500, 100}));
    for (std::size_t length = 0; length < whole.size(); ++length) {
        CStampResponse response;
        const unsigned thrown = Thrown([&] { response.Decode(Blob(whole.substr(0, length))); });
        ASSERT_EQ(thrown, length == 0 ? kInvalidArgument : kAsn1Internal) << length;
    }
    for (std::size_t at = 0; at < whole.size(); ++at) {
        std::string damaged = whole;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x21);
        CStampResponse response;
        const unsigned thrown = Thrown([&] { response.Decode(Blob(damaged)); });
        ASSERT_TRUE(thrown == 0 || thrown >> 16 == 0x8009 || thrown >> 16 == 0x8007)
            << at << ": " << std::hex << thrown;
    }
}

// ---- by hand -----------------------------------------------------------------

struct InfoRow {
    const char* name;
    std::string der;
    unsigned thrown;
    std::uint32_t version = 1;
};

// A TSTInfo with this version, and with this behind the time.
std::string Info(const std::string& version, const std::string& rest) {
    return "30{" + version + "06{2A03} 30{30{06{2A04}} 04{AA}} 02{05}" +
           "18{3230323630313031303030303030 5A}" + rest + "}";
}

const InfoRow kInfos[] = {
    {"the least", Info("02{01}", ""), 0},
    {"a version of two bytes is folded", Info("02{0102}", ""), 0, 13},
    {"a version of five", Info("02{0100000000}", ""), kInvalidArgument},
    // Services vouch for odd accuracies, and their stamps stand all the same.
    {"seconds beyond 32 bits", Info("02{01}", "30{02{0100000000}}"), 0},
    {"negative seconds", Info("02{01}", "30{02{FF}}"), 0},
    {"1000 milliseconds", Info("02{01}", "30{80{03E8}}"), 0},
    {"a tsa that is not kept", Info("02{01}", "A0{A0{06{2A03} A0{0500}}}"), kInvalidArgument},
    {"fields out of order", Info("02{01}", "A1{30{06{2A03} 0400}} 02{05}"), kAsn1Internal},
};

TEST(TstInfo, Rows) {
    for (const InfoRow& row : kInfos) {
        CTokenInfo token;
        const CBlob der = Der(row.der);
        EXPECT_EQ(Thrown([&] { ReadContent(der, token); }), row.thrown) << row.name;
        if (row.thrown != 0) continue;
        EXPECT_EQ(token.version, row.version) << row.name;
        EXPECT_EQ(token.genTime, "20260101000000Z") << row.name;
    }
}

TEST(TstInfo, RestOfTheFields) {
    CTokenInfo token;
    ReadContent(Der(Info("02{01}",
                         "30{02{02} 81{64}} 0101FF 02{FF01} A0{82{41}}"
                         "A1{30{06{2A05} 0101FF 04{0500}} 30{06{2A06} 0400}}")),
                token);
    EXPECT_EQ(token.policy, "1.2.3");
    EXPECT_EQ(token.hashAlgorithm.GetOID(), "1.2.4");
    EXPECT_EQ(token.hashValue, Bytes("AA"));
    EXPECT_EQ(token.serial, CBigInteger(Bytes("05")));
    EXPECT_EQ(*token.accuracy, (CAccuracy{2, 0, 100}));
    EXPECT_TRUE(token.ordering);
    EXPECT_EQ(token.nonce->ToHex(), "FF01");
    EXPECT_EQ(token.tsa->ToString(), L"dNSName: A");
    const CExtensions expected = {{{"1.2.5", Der("0500")}, true}, {{"1.2.6", {}}, false}};
    EXPECT_EQ(*token.extensions, expected);
    // What the next one lacks is empty again.
    ReadContent(Der(Info("02{01}", "")), token);
    EXPECT_FALSE(token.accuracy || token.ordering || token.nonce || token.tsa || token.extensions);
}

const struct {
    const char* name;
    const char* der;
    unsigned thrown;
    std::uint32_t status;
    std::uint32_t failInfo;
    std::vector<std::wstring> texts;
} kStatuses[] = {
    {"granted without a token", "30{30{02{00}}}", 0, 0, 0, {}},
    {"rejected, with texts",
     "30{30{02{02} 30{0C{6F6E65} 0C{D096}}}}",
     0,
     2,
     0,
     {L"one", L"\u0416"}},
    {"badAlg and systemFailure", "30{30{02{02} 03{0680000040}}}", 0, 2, 1U | 1U << 25, {}},
    {"bits beyond the 32nd", "30{30{02{02} 03{00200000000F}}}", 0, 2, 1U << 2, {}},
    {"a status of three bytes", "30{30{02{010000}}}", 0, 65536, 0, {}},
    {"a negative status", "30{30{02{FF}}}", kInvalidArgument, 0, 0, {}},
    {"no texts in the list", "30{30{02{02} 30{}}}", kAsn1Internal, 0, 0, {}},
    {"a token that is none", "30{30{02{00}} 30{06{2A03} A0{0500}}}", kAnotherType, 0, 0, {}},
};

TEST(Response, Statuses) {
    EXPECT_EQ(CStampStatus().status, 2U);
    for (const auto& row : kStatuses) {
        CStampResponse response;
        EXPECT_EQ(Thrown([&] { response.Decode(Der(row.der)); }), row.thrown) << row.name;
        if (row.thrown != 0) continue;
        EXPECT_EQ(response.status.status, row.status) << row.name;
        EXPECT_EQ(response.status.failInfo, row.failInfo) << row.name;
        EXPECT_EQ(response.status.statusString, row.texts) << row.name;
        EXPECT_FALSE(response.token) << row.name;
    }
}

// SignedData with this content and these signers.
std::string Signed(const std::string& content, const std::string& signers) {
    return "30{06{2A864886F70D010702} A0{30{02{03} 31{} 30{" + content + "} 31{" + signers + "}}}}";
}

TEST(Token, RefusesWhatIsNoToken) {
    const std::string info = "06{2A864886F70D0109100104}";
    const std::string content = info + "A0{04{" + Info("02{01}", "") + "}}";
    const std::string rest = "30{06{2A03}} 30{06{2A03}} 0400";
    const std::string signer = "30{02{01} 30{30{} 02{05}}" + rest + "}";
    const std::pair<std::string, unsigned> rows[] = {
        {Signed(content, signer), 0},
        {Signed("06{2A03} A0{04{}}", signer), kBadMessage},
        {Signed(info, signer), kAsn1Internal},
        {Signed(content, ""), kNoSuchIndex},
        {Signed(content, "30{02{03} 80{AA}" + rest + "}"), kAsn1Internal},
        {"30{06{2A864886F70D010701} A0{04{}}}", kAnotherType},
        {"", kCutShort},
    };
    for (const auto& [der, thrown] : rows) {
        CTokenInfo token;
        EXPECT_EQ(Thrown([&] { token.Decode(Der(der)); }), thrown) << der;
    }
}

// The signer, and certificates as they were: not in DER, with a default that is written. Their
// bytes are what was signed.
TEST(Token, SignerAndCertificates) {
    const std::string algorithm = "30{06{2A03}}";
    const std::string time = "17{3236303130313030303030305A}";
    const std::string certificate =
        "30{30{02{01}" + algorithm + "30{} 30{" + time + time + "} 30{} 30{" + algorithm +
        "03{00}} A3{30{30{06{2A03} 010100 0400}}}}" + algorithm + "03{00}}";
    const std::vector<CBlob> expected = {Der(certificate), Der(certificate)};
    EXPECT_EQ(ASN1::DecodeCertificateValues(Der("30{" + certificate + certificate + "}")),
              expected);
    CTokenInfo token;
    token.Decode(Der(Signed("06{2A864886F70D0109100104} A0{04{" + Info("02{01}", "") + "}}} A0{" +
                                certificate + certificate,
                            "30{02{01} 30{30{} 02{05}} 30{06{2A03}} A0{30{06{2A05} 31{0500}}} "
                            "30{06{2A04}} 04{AA} A1{30{06{2A06} 31{16{616263}}}}}")));
    EXPECT_EQ(token.certificates, expected);
    EXPECT_EQ(token.signer.version, 1U);
    EXPECT_EQ(token.signer.issuer, Der("30{}"));
    EXPECT_EQ(token.signer.serial, CBigInteger(Bytes("05")));
    EXPECT_EQ(token.signer.digestAlgorithm.GetOID(), "1.2.3");
    EXPECT_EQ(token.signer.signatureAlgorithm.GetOID(), "1.2.4");
    EXPECT_EQ(token.signer.signature, Bytes("AA"));
    EXPECT_EQ(token.signedAttributes.value().front(), (ASN1::CAttribute{"1.2.5", Der("0500")}));
    EXPECT_EQ(token.unsignedAttributes.value().front(),
              (ASN1::CAttribute{"1.2.6", Der("16{616263}")}));
}

TEST(Request, Encodes) {
    CStampRequest request;
    request.hashAlgorithm.SetOID("1.2.4");
    request.hashValue = Bytes("AABB");
    request.extensions.emplace();
    EXPECT_EQ(request.Encode(), Der("30{02{01} 30{30{06{2A04}} 04{AABB}}}"));
    request.hashAlgorithm.SetParameters(Bytes("0500"));
    request.certReq = true;
    request.policy = "1.2.3";
    request.nonce = CBigInteger(Bytes("00FF"));
    request.extensions->push_back({{"1.2.5", Bytes("01")}, true});
    request.extensions->push_back({{"1.2.6", {}}, false});
    EXPECT_EQ(request.Encode(), Der("30{02{01} 30{30{06{2A04} 0500} 04{AABB}} 06{2A03} 02{00FF}"
                                    "0101FF A0{30{06{2A05} 0101FF 04{01}} 30{06{2A06} 0400}}}"));
    request.policy = "nonsense";
    EXPECT_EQ(Thrown([&] { (void)request.Encode(); }), kAsn1Internal);
}

}  // namespace
}  // namespace stamps_tests
