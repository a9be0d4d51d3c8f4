// Which OCSP answers count: made by OpenSSL, good ones beside those that fail in one thing.
#include "platform/chain/ocsp.h"

#include <openssl/err.h>
#include <openssl/ocsp.h>

#include "platform/base/ticks.h"
#include "platform/providers/openssl.h"
#include "tests/platform/chain/authority.h"

namespace platform::testing {
namespace {

constexpr long kHour = 3600;
constexpr const char* kUsage = "extendedKeyUsage";

struct ResponseRecipe {
    const Identity* subject = nullptr;  // null: the leaf
    const Identity* issuer = nullptr;   // null: the root
    const Identity* signer = nullptr;   // null: the root
    const EVP_MD* idDigest = EVP_sha1();
    const EVP_MD* digest = EVP_sha256();
    int status = V_OCSP_CERTSTATUS_GOOD;
    long revokedAt = -kHour;
    int reason = OCSP_REVOKED_STATUS_NOSTATUS;
    std::optional<long> invalidAt = {};
    long from = -60;
    long to = kHour;  // 0: no next update
    unsigned long flags = 0;
    bool nonce = false;
    const char* critical = nullptr;  // an extension of the answer
};

class NobodyElse : public OtherSigners {
  public:
    std::vector<std::shared_ptr<Certificate>> Of(const CERT_NAME_BLOB&) override { return {}; }
    bool Trusted(const std::shared_ptr<Certificate>&) override { return false; }
};

Recipe DelegateNamed(const char* usage) {
    Recipe recipe = LeafNamed("Delegate");
    SetExtension(recipe, kUsage, usage);
    return recipe;
}

struct OcspWorld {
    Identity root{AuthorityNamed("Root")};
    Identity namesake{AuthorityNamed("Root")};
    Identity leaf{LeafNamed("Leaf"), &root};
    Identity other{LeafNamed("Other"), &root};
    Identity delegate{DelegateNamed("OCSPSigning"), &root};
    Identity clerk{DelegateNamed("clientAuth"), &root};
    Identity anybody{DelegateNamed(""), &root};
    Identity foreign{DelegateNamed("OCSPSigning"), &namesake};
    Identity former{[] {
                        Recipe recipe = DelegateNamed("OCSPSigning");
                        recipe.to = -kHour;
                        return recipe;
                    }(),
                    &root};

    [[nodiscard]] Bytes Answer(const ResponseRecipe& recipe) const {
        using Time = std::unique_ptr<ASN1_TIME, Freer<ASN1_TIME_free>>;
        const auto or_ = [](const Identity* one, const Identity& other) -> const Identity& {
            return one == nullptr ? other : *one;
        };
        const std::unique_ptr<OCSP_BASICRESP, Freer<OCSP_BASICRESP_free>> basic(
            OCSP_BASICRESP_new());
        const std::unique_ptr<OCSP_CERTID, Freer<OCSP_CERTID_free>> id(
            OCSP_cert_to_id(recipe.idDigest, or_(recipe.subject, leaf).Cert()->Native(),
                            or_(recipe.issuer, root).Cert()->Native()));
        const Time revoked(X509_gmtime_adj(nullptr, recipe.revokedAt));
        const Time from(X509_gmtime_adj(nullptr, recipe.from));
        const Time to(recipe.to == 0 ? nullptr : X509_gmtime_adj(nullptr, recipe.to));
        OCSP_SINGLERESP* single =
            OCSP_basic_add1_status(basic.get(), id.get(), recipe.status, recipe.reason,
                                   revoked.get(), from.get(), to.get());
        if (recipe.invalidAt) {
            const std::unique_ptr<ASN1_GENERALIZEDTIME, Freer<ASN1_GENERALIZEDTIME_free>> since(
                ASN1_GENERALIZEDTIME_adj(nullptr, std::time(nullptr), 0, *recipe.invalidAt));
            OCSP_SINGLERESP_add1_ext_i2d(single, NID_invalidity_date, since.get(), 0, 0);
        }
        if (recipe.nonce) OCSP_basic_add1_nonce(basic.get(), nullptr, 16);
        if (recipe.critical != nullptr) {
            X509_EXTENSION* extension =
                X509V3_EXT_nconf(nullptr, nullptr, recipe.critical, "critical,DER:0500");
            OCSP_BASICRESP_add_ext(basic.get(), extension, -1);
            X509_EXTENSION_free(extension);
        }
        const Identity& signer = or_(recipe.signer, root);
        OCSP_basic_sign(basic.get(), signer.Cert()->Native(), signer.Key(), recipe.digest, nullptr,
                        recipe.flags);
        const std::unique_ptr<OCSP_RESPONSE, Freer<OCSP_RESPONSE_free>> response(
            OCSP_response_create(OCSP_RESPONSE_STATUS_SUCCESSFUL, basic.get()));
        return EncodeWhole<OCSP_RESPONSE>(&i2d_OCSP_RESPONSE, response.get());
    }

    [[nodiscard]] OcspFinding Judged(ByteView answer,
                                     const std::vector<std::shared_ptr<Crl>>& lists = {},
                                     Evidence* evidence = nullptr) const {
        const FILETIME now = FileTimeOf(CurrentTicks());
        NobodyElse nobody;
        Budget budget;
        RevocationQuestion question{*leaf.Cert(), *root.Cert(), now, now, nobody, budget};
        OcspFinding finding = JudgeOcsp(answer, question, [&](RevocationQuestion& own) {
            return Judge(own, Sound(own, lists, true)) == Revocation::Revoked;
        });
        if (evidence != nullptr) *evidence = question.evidence;
        return finding;
    }
};

TEST_F(ChainTest, WhichOcspAnswersCount) {
    const OcspWorld w;
    constexpr Revocation kGood = Revocation::Good;
    constexpr Revocation kNo = Revocation::Unknown;  // no answer
    constexpr const char* kOld = "it is out of date";
    constexpr const char* kOther = "it is about another certificate";
    constexpr const char* kNobody = "nobody signed it who may";
    const struct {
        const char* name;
        Revocation verdict;
        ResponseRecipe recipe;
        std::string fault = {};
    } rows[] = {
        {"good", kGood, {}},
        {"by its key", kGood, {.flags = OCSP_RESPID_KEY}},
        {"named with SHA-256", kGood, {.idDigest = EVP_sha256()}},
        {"signed with SHA-1", kGood, {.digest = EVP_sha1()}},
        {"revoked", Revocation::Revoked, {.status = V_OCSP_CERTSTATUS_REVOKED}},
        {"revoked later", kGood, {.status = V_OCSP_CERTSTATUS_REVOKED, .revokedAt = kHour}},
        {"not known",
         kNo,
         {.status = V_OCSP_CERTSTATUS_UNKNOWN},
         "the responder does not know the certificate"},
        {"without next update", kGood, {.to = 0}},
        {"without next update, of long ago", kNo, {.from = -2 * kHour, .to = 0}, kOld},
        {"out of date", kNo, {.from = -2 * kHour, .to = -kHour}, kOld},
        {"a clock that is fast", kGood, {.from = 200}},
        {"of the future", kNo, {.from = kHour, .to = 2 * kHour}, "it is of the future"},
        {"with a nonce", kGood, {.nonce = true}},
        {"a critical extension", kNo, {.critical = "1.2.3.4"}, "an unknown critical extension"},
        {"another certificate", kNo, {.subject = &w.other}, kOther},
        {"another issuer's key", kNo, {.issuer = &w.namesake}, kOther},
        {"another issuer's signature", kNo, {.signer = &w.namesake}, kNobody},
        {"a delegate", kGood, {.signer = &w.delegate}},
        {"a delegate, by its key", kGood, {.signer = &w.delegate, .flags = OCSP_RESPID_KEY}},
        {"a delegate not shown", kNo, {.signer = &w.delegate, .flags = OCSP_NOCERTS}, kNobody},
        {"a delegate for something else", kNo, {.signer = &w.clerk}, kNobody},
        {"a delegate for anything", kNo, {.signer = &w.anybody}, kNobody},
        {"another's delegate", kNo, {.signer = &w.foreign}, kNobody},
        {"a delegate of former times", kNo, {.signer = &w.former}, kNobody},
        {"the certificate itself", kNo, {.signer = &w.leaf}, kNobody},
    };
    for (const auto& row : rows) {
        const OcspFinding finding = w.Judged(w.Answer(row.recipe));
        EXPECT_EQ(finding.verdict, row.verdict) << row.name << ": " << finding.fault;
        EXPECT_EQ(finding.fault, row.fault) << row.name;
    }
    Recipe recipe = DelegateNamed("OCSPSigning");
    recipe.to = 600;
    const Identity brief(recipe, &w.root);
    const std::pair<ResponseRecipe, long> lasting[] = {
        {{}, kHour}, {{.from = -600, .to = 0}, kHour - 600}, {{.signer = &brief}, 600}};
    for (const auto& [answer, seconds] : lasting) {
        const Ticks until = w.Judged(w.Answer(answer)).until;
        const auto left = static_cast<long>((until - CurrentTicks()) / kTicksPerSecond);
        EXPECT_LE(std::labs(left - seconds), 60) << seconds;
    }
    const Bytes delegates = w.Answer({.signer = &w.delegate});
    EXPECT_EQ(w.Judged(delegates, {MakeCrl(w.root)}).verdict, kGood);
    EXPECT_EQ(w.Judged(delegates, {MakeCrl(w.root, {.revoked = {{&w.delegate}}})}).verdict, kNo);
}

// Revoked later, for a key that was somebody else's before.
TEST_F(ChainTest, OcspAnswersAboutLostKeys) {
    const OcspWorld w;
    const struct {
        int reason;
        std::optional<long> invalidAt;
        bool compromised;
    } rows[] = {
        {OCSP_REVOKED_STATUS_KEYCOMPROMISE, -kHour, true},
        {OCSP_REVOKED_STATUS_CACOMPROMISE, -kHour, true},
        {OCSP_REVOKED_STATUS_KEYCOMPROMISE, kHour, false},
        {OCSP_REVOKED_STATUS_KEYCOMPROMISE, std::nullopt, false},
        {OCSP_REVOKED_STATUS_SUPERSEDED, -kHour, false},
        {OCSP_REVOKED_STATUS_NOSTATUS, -kHour, false},
    };
    for (const auto& row : rows) {
        Evidence evidence;
        const Bytes answer = w.Answer({.status = V_OCSP_CERTSTATUS_REVOKED,
                                       .revokedAt = 2 * kHour,
                                       .reason = row.reason,
                                       .invalidAt = row.invalidAt});
        EXPECT_EQ(w.Judged(answer, {}, &evidence).verdict, Revocation::Good);
        EXPECT_EQ(evidence.compromised, row.compromised) << row.reason;
    }
}

// No cut and no flipped bit of an answer makes another answer of it.
TEST_F(ChainTest, DamagedOcspAnswers) {
    const OcspWorld w;
    const Bytes answer = w.Answer({.signer = &w.delegate, .status = V_OCSP_CERTSTATUS_REVOKED});
    ASSERT_EQ(w.Judged(answer).verdict, Revocation::Revoked);
    for (std::size_t size = 0; size < answer.size(); ++size) {
        ASSERT_EQ(w.Judged(ByteView(answer).first(size)).verdict, Revocation::Unknown) << size;
    }
    for (std::size_t at = 0; at < answer.size(); ++at) {
        Bytes damaged = answer;
        damaged[at] ^= 0x01;
        ASSERT_NE(w.Judged(damaged).verdict, Revocation::Good) << at;
    }
}

// What is asked is what OpenSSL asks.
TEST_F(ChainTest, OcspRequests) {
    const OcspWorld w;
    for (const auto& [oid, digest] :
         {std::pair(oid::kSha1, EVP_sha1()), std::pair(oid::kSha256, EVP_sha256())}) {
        const std::unique_ptr<OCSP_REQUEST, Freer<OCSP_REQUEST_free>> expected(OCSP_REQUEST_new());
        OCSP_request_add0_id(expected.get(), OCSP_cert_to_id(digest, w.leaf.Cert()->Native(),
                                                             w.root.Cert()->Native()));
        EXPECT_EQ(OcspRequest(oid, *w.leaf.Cert(), *w.root.Cert()),
                  EncodeWhole<OCSP_REQUEST>(&i2d_OCSP_REQUEST, expected.get()));
    }
}

}  // namespace
}  // namespace platform::testing
