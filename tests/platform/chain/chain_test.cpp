// Status bits of chains: trust, signatures, times, constraints and usages.
#include <gtest/gtest.h>

#include "platform/base/error.h"
#include "platform/base/handle.h"
#include "platform/base/ticks.h"
#include "tests/platform/chain/authority.h"
#include "tests/platform/support/engine.h"

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

void SetExtension(Recipe& recipe, const std::string& name, const std::string& value) {
    std::erase_if(recipe.extensions, [&](const Extension& e) { return e.name == name; });
    if (!value.empty()) recipe.extensions.push_back({name, value});
}

struct Row {
    const char* name;
    DWORD flags = kNone;
    DWORD status = 0;
    std::vector<Extension> leaf = {};
    long from = -kDay;
    long to = kDay;
    bool forged = false;
};

void Expect(const char* name, const Leaf& leaf, DWORD flags, DWORD status) {
    EXPECT_EQ(StatusOf(leaf, flags), status) << name;
    EXPECT_EQ(OpenSslAccepts(leaf), status == 0) << name;
}

TEST_F(ChainTest, WhereTheAuthoritiesLie) {
    struct Place {
        const char* store = nullptr;  // null: the authority is nowhere
        Side side = Side::User;
    };
    const struct {
        const char* name;
        DWORD flags;
        DWORD status;
        const Identity* issuer;  // null: the certificate is the root itself
        Place root;
        Place middle;
    } rows[] = {
        {"trusted self-signed", kCheck, 0, nullptr, {"Root"}, {}},
        {"untrusted self-signed", kCheck, 0x20, nullptr, {}, {}},
        {"self-signed in another store", kCheck, 0x20, nullptr, {"CA"}, {}},
        {"under a trusted root", kNone, 0, &Root(), {"Root"}, {}},
        {"trust of the machine", kNone, 0, &Root(), {"Root", Side::Machine}, {}},
        {"root not trusted", kNone, 0x20, &Root(), {"CA"}, {}},
        {"intermediate from CA", kNone, 0, &Middle(), {"Root", Side::Machine}, {"CA"}},
        {"intermediate from the machine's AddressBook",
         kNone,
         0,
         &Middle(),
         {"Root"},
         {"AddressBook", Side::Machine}},
        {"trusted intermediate without its root", kNone, 0, &Middle(), {}, {"Root"}},
        {"intermediate missing", kNone, 0x10000, &Middle(), {"Root"}, {}},
        {"intermediate missing, revocation asked for", kCheck, 0x10040, &Middle(), {"Root"}, {}},
    };
    for (const auto& row : rows) {
        Clear();
        if (row.root.store != nullptr) Put(row.root.store, Root().Cert(), row.root.side);
        if (row.middle.store != nullptr) Put(row.middle.store, Middle().Cert(), row.middle.side);
        const Leaf leaf = row.issuer == nullptr ? Root().Cert() : LeafOf(*row.issuer);
        Expect(row.name, leaf, row.flags, row.status);
    }
}

TEST_F(ChainTest, WhatTheEndCertificateSays) {
    const Row rows[] = {
        {.name = "expired", .status = 0x1, .from = -2 * kDay, .to = -kDay},
        {.name = "not yet valid", .status = 0x1, .from = kDay, .to = 2 * kDay},
        {.name = "forged signature", .status = 0x8, .forged = true},
        {.name = "forged, revocation asked for", .flags = kCheck, .status = 0x8, .forged = true},
        {.name = "unknown critical extension",
         .status = 0x08000000,
         .leaf = {{"1.2.3.4", "critical,0500"}}},
        {.name = "unknown extension", .leaf = {{"1.2.3.4", "0500"}}},
        {.name = "damaged usages", .status = 0x100, .leaf = {{"2.5.29.37", "0401"}}},
    };
    for (const Row& row : rows) {
        Clear();
        Put("Root", Root().Cert());
        Recipe recipe = LeafNamed("Leaf");
        recipe.extensions.insert(recipe.extensions.end(), row.leaf.begin(), row.leaf.end());
        recipe.from = row.from;
        recipe.to = row.to;
        const Identity leaf(recipe, &Root());
        Expect(row.name, row.forged ? leaf.Forged() : leaf.Cert(), row.flags, row.status);
    }
    Clear();
    Put("CA", Root().Cert());
    Expect("expired under an untrusted root", LeafOf(Root(), {}, -2 * kDay, -kDay), kNone, 0x21);
    Clear();
    Expect("self-signed, forged", Root().Forged(), kCheck, 0x28);
}

TEST_F(ChainTest, WhatTheAuthorityAboveSays) {
    const struct {
        const char* name;
        DWORD status;
        std::vector<Extension> change;  // an empty value takes the extension out
        std::vector<Extension> leaf = {};
        bool anchor = false;  // the authority is the trusted root itself
        bool plain = false;   // of version 1
        long to = kDay;
    } rows[] = {
        {"expired", 0x1, {}, {}, false, false, -3600},
        {"anchor expired", 0x1, {}, {}, true, false, -3600},
        {"no authority", 0x400, {{"basicConstraints", "CA:FALSE"}}},
        {"anchor that is none", 0x400, {{"basicConstraints", "CA:FALSE"}}, {}, true},
        {"no constraints", 0x400, {{"basicConstraints", ""}}},
        {"version 1", 0x400, {}, {}, false, true},
        {"anchor of version 1", 0, {}, {}, true, true},
        {"may not sign certificates", 0x10, {{"keyUsage", "cRLSign"}}},
        {"no key usage", 0, {{"keyUsage", ""}}},
        {"path length just enough", 0, {{"basicConstraints", "critical,CA:TRUE,pathlen:0"}}},
        {"name permitted", 0, {{"nameConstraints", "permitted;email:example.org"}}},
        {"name not permitted",
         0x4000,
         {{"nameConstraints", "critical,permitted;DNS:example.org"}},
         {{"subjectAltName", "DNS:example.com"}}},
        {"name excluded",
         0x8000,
         {{"nameConstraints", "critical,excluded;DNS:example.org"}},
         {{"subjectAltName", "DNS:www.example.org"}}},
        {"explicit policy demanded and absent",
         0x200,
         {{"policyConstraints", "critical,requireExplicitPolicy:0"}}},
    };
    for (const auto& row : rows) {
        Clear();
        Recipe recipe = AuthorityNamed("Changed");
        for (const Extension& one : row.change) SetExtension(recipe, one.name, one.value);
        if (row.plain) recipe.extensions.clear();
        recipe.from = -2 * kDay;
        recipe.to = row.to;
        const Identity authority(recipe, row.anchor ? nullptr : &Root());
        Put("Root", row.anchor ? authority.Cert() : Root().Cert());
        if (!row.anchor) Put("CA", authority.Cert());
        Expect(row.name, LeafOf(authority, row.leaf), kNone, row.status);
    }
}

TEST_F(ChainTest, PathsOfTheirOwn) {
    Recipe recipe = AuthorityNamed("Short root");
    SetExtension(recipe, "basicConstraints", "critical,CA:TRUE,pathlen:0");
    const Identity root(recipe);
    const Identity middle(AuthorityNamed("One too many"), &root);
    Put("Root", root.Cert());
    Put("CA", middle.Cert());
    Expect("path too long", LeafOf(middle), kNone, 0x400);

    Clear();
    Put("Root", Root().Cert());
    Put("CA", Middle().Forged());
    Expect("forged intermediate", LeafOf(Middle()), kNone, 0x8);

    Clear();
    Put("Root", Identity(AuthorityNamed("Root")).Cert());
    Expect("other key identifier", LeafOf(Root()), kNone, 0x10000);
    const Recipe nameless{"Leaf", {{"basicConstraints", "CA:FALSE"}}};
    Expect("other key, same name", Identity(nameless, &Root()).Cert(), kNone, 0x8);

    Recipe probabilistic = AuthorityNamed("RSA root");
    probabilistic.type = 24;
    probabilistic.pss = true;
    const Identity rsa(probabilistic);
    Put("Root", rsa.Cert());
    Recipe leaf = LeafNamed("Leaf");
    leaf.pss = true;
    Expect("PSS signature", Identity(leaf, &rsa).Cert(), kNone, 0);
}

// A root, a leaf and lists of the openssl command with the engine: `revoked` is a line of its
// database.
std::shared_ptr<Crl> GostCrl(const std::string& digest, const std::string& revoked) {
    WriteFile("index.txt", ViewOf(revoked));
    WriteFile("ca.cnf", ViewOf("[ca]\ndefault_ca=d\n[d]\ndatabase=index.txt\n"));
    OpenSsl("ca -engine gost -gencrl -config ca.cnf -crldays 5 -md " + digest +
            " -keyfile root.key -cert root.pem -out crl.pem");
    OpenSsl("crl -in crl.pem -outform DER -out crl.der");
    return Crl::Parse(ReadFile("crl.der"));
}

TEST_F(ChainTest, GostChains) {
    SKIP_WITHOUT_ENGINE();
    const struct {
        const char* name;
        const char* key;
        const char* digest;
    } rows[] = {
        {"GOST R 34.10-2001", "gost2001 -pkeyopt paramset:A", "md_gost94"},
        {"GOST R 34.10-2012, 256 bit", "gost2012_256 -pkeyopt paramset:B", "md_gost12_256"},
        {"GOST R 34.10-2012, 256 bit, twisted", "gost2012_256 -pkeyopt paramset:TCA",
         "md_gost12_256"},
        {"GOST R 34.10-2012, 512 bit", "gost2012_512 -pkeyopt paramset:B", "md_gost12_512"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Clear();
        const std::string made = std::string(" -engine gost -") + row.digest;
        const std::string fresh = made + " -nodes -newkey " + row.key;
        OpenSsl("req -x509 -subj /CN=Root -keyout root.key -out root.pem" + fresh);
        OpenSsl("req -new -subj /CN=Leaf -keyout leaf.key -out leaf.csr" + fresh);
        OpenSsl(
            "x509 -req -CA root.pem -CAkey root.key -set_serial 77 -days 5 -in leaf.csr"
            " -outform DER -out leaf.der" +
            made);
        OpenSsl("x509 -in root.pem -outform DER -out root.der");
        const auto leaf = Certificate::Parse(ReadFile("leaf.der"));
        Put("Root", Certificate::Parse(ReadFile("root.der")));
        EXPECT_EQ(StatusOf(leaf, kCheck), 0x40U);
        Put("CA", GostCrl(row.digest, ""));
        EXPECT_EQ(StatusOf(leaf, kCheck), 0U);
        Bytes forged = Copy(leaf->Der());
        forged.back() ^= 1;
        EXPECT_EQ(StatusOf(Certificate::Parse(forged), kCheck), 0x8U);
        Clear();
        Put("Root", Certificate::Parse(ReadFile("root.der")));
        Put("CA", GostCrl(row.digest, "R\t351231235959Z\t250101000000Z\t4D\tunknown\t/CN=Leaf\n"));
        EXPECT_EQ(StatusOf(leaf, kCheck), 0x4U);
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
