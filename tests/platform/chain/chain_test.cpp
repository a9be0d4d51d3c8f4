// Status bits of chains: trust, signatures, times, constraints and usages.
#include <gtest/gtest.h>

#include <functional>

#include "authority.h"
#include "base/error.h"
#include "base/handle.h"
#include "base/ticks.h"

namespace platform::testing {
namespace {

constexpr DWORD kCheck = CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT;
constexpr DWORD kNone = 0;

using Leaf = std::shared_ptr<Certificate>;

// Authorities with a key each, made once.
const Identity& Root() {
    static const Identity root(AuthorityNamed("Root"));
    return root;
}
const Identity& Middle() {
    static const Identity middle(AuthorityNamed("Middle"), &Root());
    return middle;
}

Leaf LeafOf(const Identity& issuer, std::vector<Extension> more = {}, long from = -kDay,
            long to = kDay) {
    Recipe recipe = LeafNamed("Leaf");
    recipe.extensions.insert(recipe.extensions.end(), more.begin(), more.end());
    recipe.from = from;
    recipe.to = to;
    return Identity(recipe, &issuer).Cert();
}

// A leaf under an authority made by `change` from the plain one, under the trusted root.
Leaf LeafBelow(const std::function<void(Recipe&)>& change) {
    Recipe recipe = AuthorityNamed("Changed");
    change(recipe);
    const Identity authority(recipe, &Root());
    Put("Root", Root().Cert());
    Put("CA", authority.Cert());
    return LeafOf(authority);
}

void SetExtension(Recipe& recipe, const std::string& name, const std::string& value) {
    std::erase_if(recipe.extensions, [&](const Extension& e) { return e.name == name; });
    if (!value.empty()) recipe.extensions.push_back({name, value});
}

TEST_F(ChainTest, StatusOfEveryKindOfChain) {
    const struct {
        const char* name;
        DWORD flags;
        DWORD status;
        std::function<Leaf()> prepare;
    } rows[] = {
        {"trusted self-signed", kCheck, 0,
         [] {
             Put("Root", Root().Cert());
             return Root().Cert();
         }},
        {"untrusted self-signed", kCheck, 0x20, [] { return Root().Cert(); }},
        {"self-signed in another store", kCheck, 0x20,
         [] {
             Put("CA", Root().Cert());
             return Root().Cert();
         }},
        {"self-signed, forged", kCheck, 0x28, [] { return Root().Forged(); }},
        {"under a trusted root", kNone, 0,
         [] {
             Put("Root", Root().Cert());
             return LeafOf(Root());
         }},
        {"trust of the machine", kNone, 0,
         [] {
             Put("Root", Root().Cert(), Side::Machine);
             return LeafOf(Root());
         }},
        {"intermediate from CA", kNone, 0,
         [] {
             Put("Root", Root().Cert(), Side::Machine);
             Put("CA", Middle().Cert());
             return LeafOf(Middle());
         }},
        {"intermediate from the machine's AddressBook", kNone, 0,
         [] {
             Put("Root", Root().Cert());
             Put("AddressBook", Middle().Cert(), Side::Machine);
             return LeafOf(Middle());
         }},
        {"trusted intermediate without its root", kNone, 0,
         [] {
             Put("Root", Middle().Cert());
             return LeafOf(Middle());
         }},
        {"intermediate missing", kNone, 0x10000,
         [] {
             Put("Root", Root().Cert());
             return LeafOf(Middle());
         }},
        {"intermediate missing, revocation asked for", kCheck, 0x10040,
         [] {
             Put("Root", Root().Cert());
             return LeafOf(Middle());
         }},
        {"root not trusted", kNone, 0x20,
         [] {
             Put("CA", Root().Cert());
             return LeafOf(Root());
         }},
        {"expired", kNone, 0x1,
         [] {
             Put("Root", Root().Cert());
             return LeafOf(Root(), {}, -2 * kDay, -kDay);
         }},
        {"not yet valid", kNone, 0x1,
         [] {
             Put("Root", Root().Cert());
             return LeafOf(Root(), {}, kDay, 2 * kDay);
         }},
        {"root expired", kNone, 0x1,
         [] {
             Recipe recipe = AuthorityNamed("Old root");
             recipe.from = -3 * kDay;
             recipe.to = -kDay;
             const Identity old(recipe);
             Put("Root", old.Cert());
             return LeafOf(old);
         }},
        {"intermediate expired", kNone, 0x1,
         [] {
             return LeafBelow([](Recipe& recipe) {
                 recipe.from = -3 * kDay;
                 recipe.to = -kDay;
             });
         }},
        {"forged signature", kNone, 0x8,
         [] {
             Put("Root", Root().Cert());
             return Identity(LeafNamed("Leaf"), &Root()).Forged();
         }},
        {"forged signature, revocation asked for", kCheck, 0x8,
         [] {
             Put("Root", Root().Cert());
             return Identity(LeafNamed("Leaf"), &Root()).Forged();
         }},
        {"forged intermediate", kNone, 0x8,
         [] {
             Put("Root", Root().Cert());
             Put("CA", Middle().Forged());
             return LeafOf(Middle());
         }},
        {"expired under an untrusted root", kNone, 0x21,
         [] {
             Put("CA", Root().Cert());
             return LeafOf(Root(), {}, -2 * kDay, -kDay);
         }},
        {"issuer is no authority", kNone, 0x400,
         [] {
             return LeafBelow([](Recipe& r) { SetExtension(r, "basicConstraints", "CA:FALSE"); });
         }},
        {"issuer without constraints", kNone, 0x400,
         [] { return LeafBelow([](Recipe& r) { SetExtension(r, "basicConstraints", ""); }); }},
        {"issuer of version 1", kNone, 0x400,
         [] { return LeafBelow([](Recipe& r) { r.extensions.clear(); }); }},
        {"anchor of version 1", kNone, 0,
         [] {
             const Identity old(Recipe{"Root of version 1", {}});
             Put("Root", old.Cert());
             return LeafOf(old);
         }},
        {"anchor that is no authority", kNone, 0x400,
         [] {
             Recipe recipe = AuthorityNamed("No authority");
             SetExtension(recipe, "basicConstraints", "CA:FALSE");
             const Identity anchor(recipe);
             Put("Root", anchor.Cert());
             return LeafOf(anchor);
         }},
        {"issuer may not sign certificates", kNone, 0x10,
         [] { return LeafBelow([](Recipe& r) { SetExtension(r, "keyUsage", "cRLSign"); }); }},
        {"issuer without key usage", kNone, 0,
         [] { return LeafBelow([](Recipe& r) { SetExtension(r, "keyUsage", ""); }); }},
        {"path length just enough", kNone, 0,
         [] {
             return LeafBelow([](Recipe& r) {
                 SetExtension(r, "basicConstraints", "critical,CA:TRUE,pathlen:0");
             });
         }},
        {"path too long", kNone, 0x400,
         [] {
             Recipe recipe = AuthorityNamed("Short root");
             SetExtension(recipe, "basicConstraints", "critical,CA:TRUE,pathlen:0");
             const Identity root(recipe);
             const Identity middle(AuthorityNamed("One too many"), &root);
             Put("Root", root.Cert());
             Put("CA", middle.Cert());
             return LeafOf(middle);
         }},
        {"unknown critical extension", kNone, 0x08000000,
         [] {
             Put("Root", Root().Cert());
             return LeafOf(Root(), {{"1.2.3.4", "critical,0500"}});
         }},
        {"unknown extension", kNone, 0,
         [] {
             Put("Root", Root().Cert());
             return LeafOf(Root(), {{"1.2.3.4", "0500"}});
         }},
        {"damaged usages", kNone, 0x100,
         [] {
             Put("Root", Root().Cert());
             return LeafOf(Root(), {{"2.5.29.37", "0401"}});
         }},
        {"name permitted", kNone, 0,
         [] {
             return LeafBelow([](Recipe& r) {
                 SetExtension(r, "nameConstraints", "permitted;email:example.org");
             });
         }},
        {"name not permitted", kNone, 0x4000,
         [] {
             Recipe recipe = AuthorityNamed("Constrained");
             SetExtension(recipe, "nameConstraints", "critical,permitted;DNS:example.org");
             const Identity authority(recipe, &Root());
             Put("Root", Root().Cert());
             Put("CA", authority.Cert());
             return LeafOf(authority, {{"subjectAltName", "DNS:example.com"}});
         }},
        {"name excluded", kNone, 0x8000,
         [] {
             Recipe recipe = AuthorityNamed("Excluding");
             SetExtension(recipe, "nameConstraints", "critical,excluded;DNS:example.org");
             const Identity authority(recipe, &Root());
             Put("Root", Root().Cert());
             Put("CA", authority.Cert());
             return LeafOf(authority, {{"subjectAltName", "DNS:www.example.org"}});
         }},
        {"explicit policy demanded and absent", kNone, 0x200,
         [] {
             return LeafBelow([](Recipe& r) {
                 SetExtension(r, "policyConstraints", "critical,requireExplicitPolicy:0");
             });
         }},
        {"other key identifier", kNone, 0x10000,
         [] {
             Put("Root", Identity(AuthorityNamed("Root")).Cert());
             return LeafOf(Root());
         }},
        {"other key under the same name", kNone, 0x8,
         [] {
             Put("Root", Identity(AuthorityNamed("Root")).Cert());
             return Identity(Recipe{"Leaf", {{"basicConstraints", "CA:FALSE"}}}, &Root()).Cert();
         }},
        {"PSS signature", kNone, 0,
         [] {
             Recipe recipe = AuthorityNamed("RSA root");
             recipe.type = 24;
             recipe.pss = true;
             const Identity root(recipe);
             Put("Root", root.Cert());
             Recipe leaf = LeafNamed("Leaf");
             leaf.pss = true;
             return Identity(leaf, &root).Cert();
         }},
    };
    for (const auto& row : rows) {
        Clear();
        const Leaf leaf = row.prepare();
        EXPECT_EQ(StatusOf(leaf, row.flags), row.status) << row.name;
        EXPECT_EQ(OpenSslAccepts(leaf), row.status == 0) << row.name;
    }
}

TEST_F(ChainTest, GostChains) {
    const struct {
        const char* name;
        long type;
    } rows[] = {{"GOST R 34.10-2001", 75},
                {"GOST R 34.10-2012, 256 bit", 80},
                {"GOST R 34.10-2012, 512 bit", 81}};
    for (const auto& row : rows) {
        Clear();
        const auto of = [&](Recipe recipe) {
            recipe.type = row.type;
            recipe.digest = nullptr;
            return recipe;
        };
        const Identity root(of(AuthorityNamed(row.name)));
        const Identity middle(of(AuthorityNamed("Middle")), &root);
        const Identity leaf(of(LeafNamed("Leaf")), &middle);
        Put("Root", root.Cert());
        Put("CA", middle.Cert());
        Put("CA", MakeCrl(root));
        EXPECT_EQ(StatusOf(leaf.Cert(), kCheck), 0x40U) << row.name;
        Put("CA", MakeCrl(middle));
        EXPECT_EQ(StatusOf(leaf.Cert(), kCheck), 0U) << row.name;
        EXPECT_EQ(StatusOf(leaf.Forged(), kCheck), 0x8U) << row.name;
        Put("AddressBook", MakeCrl(middle, {.revoked = {{&leaf}}, .from = -60}));
        EXPECT_EQ(StatusOf(leaf.Cert(), kCheck), 0x4U) << row.name;
    }
}

TEST_F(ChainTest, TheBetterPathIsTaken) {
    // One key and name, three certificates: expired, under an unknown root, and good.
    const Identity other(AuthorityNamed("Unknown root"));
    Recipe recipe = AuthorityNamed("Middle");
    recipe.key = Middle().Key();
    Put("CA", Identity(recipe, &other).Cert());
    recipe.from = -3 * kDay;
    recipe.to = -2 * kDay;
    Put("CA", Identity(recipe, &Root()).Cert());
    Put("Root", Root().Cert());
    const Leaf leaf = LeafOf(Middle());
    EXPECT_EQ(StatusOf(leaf, kNone), 0x1U);
    Put("CA", other.Cert());
    EXPECT_EQ(StatusOf(leaf, kNone), 0x1U);
    Put("CA", Middle().Cert());
    EXPECT_EQ(StatusOf(leaf, kNone), 0U);
}

TEST_F(ChainTest, LoopsEnd) {
    const Identity first(AuthorityNamed("First"));
    const Identity second(AuthorityNamed("Second"), &first);
    Recipe recipe = AuthorityNamed("First");
    recipe.key = first.Key();
    const Identity back(recipe, &second);
    Put("CA", second.Cert());
    Put("CA", back.Cert());
    EXPECT_EQ(StatusOf(LeafOf(second), kNone), 0x10080U);
    Put("CA", first.Cert());
    EXPECT_EQ(StatusOf(LeafOf(second), kNone), 0x20U);
}

TEST_F(ChainTest, ManyAuthoritiesOfOneNameEnd) {
    // Without key identifiers each may have issued each.
    const Recipe recipe{"Same", {{"basicConstraints", "critical,CA:TRUE"}}};
    const Identity first(recipe);
    const Identity* above = &first;
    std::vector<std::unique_ptr<Identity>> all;
    for (int i = 0; i < 40; ++i) {
        all.push_back(std::make_unique<Identity>(recipe, above));
        Put("CA", all.back()->Cert());
        if (i % 4 != 0) above = all.back().get();
    }
    const Ticks before = CurrentTicks();
    EXPECT_NE(StatusOf(Identity(Recipe{"Leaf", {}}, above).Cert(), kNone), 0U);
    EXPECT_LT(CurrentTicks() - before, 5 * kTicksPerSecond);
}

TEST_F(ChainTest, TheGivenTimeCounts) {
    Recipe recipe = AuthorityNamed("Root over time");
    recipe.from = -40 * kDay;
    const Identity root(recipe);
    Put("Root", root.Cert());
    const Leaf leaf = LeafOf(root, {}, -20 * kDay, -10 * kDay);
    EXPECT_EQ(StatusOf(leaf, kNone), 0x1U);
    EXPECT_EQ(StatusOf(leaf, kNone, -15 * kDay), 0U);
    EXPECT_EQ(StatusOf(leaf, kNone, -30 * kDay), 0x1U);
}

// A chain with everything that a caller can pass.
class Call {
  public:
    Call(const Leaf& leaf, HCERTCHAINENGINE engine, HCERTSTORE additional,
         std::vector<std::string> usages, DWORD match, DWORD flags) {
        context_ = Certificate::Share(leaf);
        std::vector<LPSTR> texts;
        for (std::string& usage : usages) texts.push_back(usage.data());
        CERT_CHAIN_PARA para{};
        para.cbSize = sizeof para;
        para.RequestedUsage = {match, {static_cast<DWORD>(texts.size()), texts.data()}};
        if (!CertGetCertificateChain(engine, context_, nullptr, additional, &para, flags, nullptr,
                                     &chain_)) {
            error_ = GetLastError();
        }
    }
    ~Call() {
        CertFreeCertificateChain(chain_);
        CertFreeCertificateContext(context_);
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    [[nodiscard]] PCCERT_CHAIN_CONTEXT Chain() const { return chain_; }
    [[nodiscard]] PCCERT_CONTEXT Context() const { return context_; }
    [[nodiscard]] DWORD Status() const {
        return chain_ == nullptr ? error_ : chain_->TrustStatus.dwErrorStatus;
    }

  private:
    PCCERT_CONTEXT context_ = nullptr;
    PCCERT_CHAIN_CONTEXT chain_ = nullptr;
    DWORD error_ = 0;
};

TEST_F(ChainTest, RequestedUsages) {
    const std::string stamping = "1.3.6.1.5.5.7.3.8";
    const std::string mail = "1.3.6.1.5.5.7.3.4";
    const struct {
        const char* name;
        const char* usages;  // of the certificate; empty: not limited
        std::vector<std::string> wanted;
        DWORD match;
        DWORD status;
    } rows[] = {
        {"none wanted", "timeStamping", {}, USAGE_MATCH_TYPE_AND, 0},
        {"fits", "critical,timeStamping", {stamping}, USAGE_MATCH_TYPE_AND, 0},
        {"not limited", "", {stamping}, USAGE_MATCH_TYPE_AND, 0},
        {"any usage", "anyExtendedKeyUsage", {stamping}, USAGE_MATCH_TYPE_AND, 0},
        {"other", "emailProtection", {stamping}, USAGE_MATCH_TYPE_AND, 0x10},
        {"one of two for all", "timeStamping", {stamping, mail}, USAGE_MATCH_TYPE_AND, 0x10},
        {"one of two for any", "timeStamping", {stamping, mail}, USAGE_MATCH_TYPE_OR, 0},
        {"none of two for any", "serverAuth", {stamping, mail}, USAGE_MATCH_TYPE_OR, 0x10},
    };
    Put("Root", Root().Cert());
    for (const auto& row : rows) {
        std::vector<Extension> more;
        if (*row.usages != '\0') more.push_back({"extendedKeyUsage", row.usages});
        const Call call(LeafOf(Root(), more), nullptr, nullptr, row.wanted, row.match, kNone);
        EXPECT_EQ(call.Status(), row.status) << row.name;
        EXPECT_EQ(call.Chain()->rgpChain[0]->rgpElement[0]->pApplicationUsage == nullptr,
                  more.empty())
            << row.name;
    }
}

TEST_F(ChainTest, TheRecordHoldsTheWholeChain) {
    Put("Root", Root().Cert());
    Put("CA", Middle().Cert());
    const Leaf leaf = LeafOf(Middle(), {{"extendedKeyUsage", "timeStamping"}}, -2 * kDay, -kDay);
    const Call call(leaf, nullptr, nullptr, {}, 0, kCheck);
    ASSERT_NE(call.Chain(), nullptr);
    EXPECT_EQ(call.Chain()->TrustStatus.dwErrorStatus, 0x41U);
    ASSERT_EQ(call.Chain()->cChain, 1U);
    const CERT_SIMPLE_CHAIN& simple = *call.Chain()->rgpChain[0];
    EXPECT_EQ(simple.TrustStatus.dwErrorStatus, 0x41U);
    ASSERT_EQ(simple.cElement, 3U);
    // The caller's own context leads.
    EXPECT_EQ(simple.rgpElement[0]->pCertContext, call.Context());
    const struct {
        const Leaf& certificate;
        DWORD error;
        DWORD info;
    } elements[] = {{leaf, 0x41, 0}, {Middle().Cert(), 0x40, 0}, {Root().Cert(), 0, 0x8}};
    for (std::size_t i = 0; i < 3; ++i) {
        const CERT_CHAIN_ELEMENT& element = *simple.rgpElement[i];
        EXPECT_TRUE(
            Equal(ViewOf(element.pCertContext->pbCertEncoded, element.pCertContext->cbCertEncoded),
                  elements[i].certificate->Der()))
            << i;
        EXPECT_EQ(element.TrustStatus.dwErrorStatus, elements[i].error) << i;
        EXPECT_EQ(element.TrustStatus.dwInfoStatus, elements[i].info) << i;
    }
    const CERT_ENHKEY_USAGE* usage = simple.rgpElement[0]->pApplicationUsage;
    ASSERT_NE(usage, nullptr);
    ASSERT_EQ(usage->cUsageIdentifier, 1U);
    EXPECT_STREQ(usage->rgpszUsageIdentifier[0], "1.3.6.1.5.5.7.3.8");
}

TEST_F(ChainTest, IssuersFromWhereTheCertificateCame) {
    Put("Root", Root().Cert());
    const auto message = NewMemoryStore();
    message->Add(*Middle().Cert(), CERT_STORE_ADD_ALWAYS);
    message->Add(*MakeCrl(Root()), CERT_STORE_ADD_ALWAYS);
    message->Add(*MakeCrl(Middle()), CERT_STORE_ADD_ALWAYS);
    const HCERTSTORE additional = Publish(message);
    const Leaf leaf = LeafOf(Middle());
    EXPECT_EQ(Call(leaf, nullptr, nullptr, {}, 0, kNone).Status(), 0x10000U);
    EXPECT_EQ(Call(leaf, nullptr, additional, {}, 0, kCheck).Status(), 0U);
    EXPECT_TRUE(CertCloseStore(additional, 0));
    const Leaf stored = message->Add(*leaf, CERT_STORE_ADD_ALWAYS);
    EXPECT_EQ(Call(stored, nullptr, nullptr, {}, 0, kCheck).Status(), 0U);
    // What a message brings along is not trusted for that.
    message->Add(*Root().Cert(), CERT_STORE_ADD_ALWAYS);
    Clear();
    EXPECT_EQ(Call(stored, nullptr, nullptr, {}, 0, kCheck).Status(), 0x20U);
}

TEST_F(ChainTest, TheMachinesEngineSeesTheMachineAlone) {
    Put("Root", Root().Cert(), Side::User);
    const Leaf leaf = LeafOf(Root());
    const auto machine = reinterpret_cast<HCERTCHAINENGINE>(1);
    EXPECT_EQ(Call(leaf, machine, nullptr, {}, 0, kNone).Status(), 0x10000U);
    Put("Root", Root().Cert(), Side::Machine);
    EXPECT_EQ(Call(leaf, machine, nullptr, {}, 0, kNone).Status(), 0U);
    EXPECT_EQ(Call(leaf, reinterpret_cast<HCERTCHAINENGINE>(2), nullptr, {}, 0, kNone).Status(),
              static_cast<DWORD>(E_INVALIDARG));
}

TEST_F(ChainTest, BadArguments) {
    PCCERT_CONTEXT context = Certificate::Share(Root().Cert());
    CERT_CHAIN_PARA para{};
    para.cbSize = sizeof para;
    PCCERT_CHAIN_CONTEXT chain = nullptr;
    int other = 0;
    const auto fails = [&](PCCERT_CONTEXT leaf, HCERTSTORE store, PCERT_CHAIN_PARA given,
                           LPVOID reserved, PCCERT_CHAIN_CONTEXT* result) {
        SetLastError(0);
        const BOOL built =
            CertGetCertificateChain(nullptr, leaf, nullptr, store, given, 0, reserved, result);
        return built ? 0 : GetLastError();
    };
    const auto invalid = static_cast<DWORD>(E_INVALIDARG);
    EXPECT_EQ(fails(nullptr, nullptr, &para, nullptr, &chain), invalid);
    EXPECT_EQ(fails(context, nullptr, nullptr, nullptr, &chain), invalid);
    EXPECT_EQ(fails(context, nullptr, &para, &other, &chain), invalid);
    EXPECT_EQ(fails(context, nullptr, &para, nullptr, nullptr), invalid);
    EXPECT_EQ(fails(context, &other, &para, nullptr, &chain), invalid);
    CertFreeCertificateContext(context);
    EXPECT_EQ(fails(context, nullptr, &para, nullptr, &chain), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(chain, nullptr);
    SetLastError(7);
    CertFreeCertificateChain(nullptr);
    CertFreeCertificateChain(reinterpret_cast<PCCERT_CHAIN_CONTEXT>(&other));
    EXPECT_EQ(GetLastError(), 7U);
}

}  // namespace
}  // namespace platform::testing
