// Status bits of chains: trust, signatures, times, constraints and usages.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "platform/base/error.h"
#include "platform/base/handle.h"
#include "platform/base/ticks.h"
#include "platform/providers/container.h"
#include "platform/providers/openssl.h"
#include "tests/platform/chain/authority.h"
#include "tests/support/engine.h"

namespace platform::testing {
namespace {

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

// RFC 5280 6.1 with the initial set "any policy".
TEST_F(ChainTest, ExplicitPolicies) {
    using Extensions = std::vector<Extension>;
    const Extension demand{"policyConstraints", "critical,requireExplicitPolicy:0"};
    const Extension demandUnmapped{"policyConstraints",
                                   "critical,requireExplicitPolicy:0,inhibitPolicyMapping:0"};
    const Extension mapping{"policyMappings", "1.2.3.4:1.2.3.5"};
    const Extension four{"2.5.29.32", "3007300506032A0304"};
    const Extension five{"2.5.29.32", "3007300506032A0305"};
    const Extension any{"2.5.29.32", "300830060604551D2000"};
    const struct {
        const char* name;
        DWORD status;
        Extensions upper;
        Extensions lower;
        Extensions leaf;
    } rows[] = {
        {"nothing demanded", 0, {four}, {four}, {five}},
        {"met", 0, {demand, four}, {four}, {four}},
        {"not met", 0x200, {demand, four}, {four}, {five}},
        {"broken in the middle", 0x200, {demand, four}, {}, {four}},
        {"any policy above", 0, {demand, any}, {any}, {five}},
        {"any policy inhibited",
         0x200,
         {demand, any, {"inhibitAnyPolicy", "critical,0"}},
         {any},
         {five}},
        {"mapped", 0, {demand, four}, {four, mapping}, {five}},
        {"mapped away", 0x200, {demand, four}, {four, mapping}, {four}},
        {"mapping inhibited", 0x200, {demandUnmapped, four}, {four, mapping}, {five}},
        {"mapping inhibited and not used", 0, {demandUnmapped, four}, {four}, {four}},
    };
    const auto with = [](Recipe recipe, const Extensions& more) {
        recipe.extensions.insert(recipe.extensions.end(), more.begin(), more.end());
        return recipe;
    };
    for (const auto& row : rows) {
        Clear();
        const Identity upper(with(AuthorityNamed("Upper"), row.upper), &Root());
        const Identity lower(with(AuthorityNamed("Lower"), row.lower), &upper);
        Put("Root", Root().Cert());
        Put("CA", upper.Cert());
        Put("CA", lower.Cert());
        Expect(row.name, LeafOf(lower, row.leaf), kNone, row.status);
    }
}

// One of each kind and length, since making them takes long.
EVP_PKEY* KeyOf(const std::string& kind, int bits = 0) {
    static std::map<std::pair<std::string, int>, EvpKey> keys;
    EvpKey& key = keys[{kind, bits}];
    if (key) return key.get();
    const EvpKeyContext context(EVP_PKEY_CTX_new_from_name(nullptr, kind.c_str(), nullptr));
    EVP_PKEY* made = nullptr;
    EVP_PKEY_keygen_init(context.get());
    if (bits != 0) EVP_PKEY_CTX_set_rsa_keygen_bits(context.get(), bits);
    EVP_PKEY_keygen(context.get(), &made);
    key.reset(made);
    return made;
}

TEST_F(ChainTest, KeysAndSignaturesThatCount) {
    const struct {
        const char* name;
        DWORD status;
        const char* rootKey;
        int rootBits;
        const char* leafKey;
        int leafBits;
        const char* digest;  // of the leaf's signature
        const char* rootDigest = "SHA256";
    } rows[] = {
        {"RSASSA-PSS keys without parameters", 0, "RSA-PSS", 2048, "RSA-PSS", 2048, "SHA256"},
        {"RSA of 1024 bits", 0, "RSA", 1024, "RSA", 1024, "SHA256"},
        {"root of 1016 bits", 0x8, "RSA", 1016, "RSA", 2048, "SHA256"},
        {"end certificate of 1016 bits", 0x8, "RSA", 2048, "RSA", 1016, "SHA256"},
        {"RSASSA-PSS of 1016 bits", 0x8, "RSA-PSS", 1016, "RSA", 2048, "SHA256"},
        {"signed with SHA-1", 0, "RSA", 2048, "RSA", 2048, "SHA1"},
        {"signed with MD5", 0x8, "RSA", 2048, "RSA", 2048, "MD5"},
        {"anchor signed with MD5", 0, "RSA", 2048, "RSA", 2048, "SHA256", "MD5"},
        {"signed with Ed25519", 0x80090008, "ED25519", 0, "RSA", 2048, nullptr, nullptr},
        {"for an Ed25519 key", 0, "RSA", 2048, "ED25519", 0, "SHA256"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Clear();
        Recipe rootRecipe = AuthorityNamed("Root of its kind");
        rootRecipe.key = KeyOf(row.rootKey, row.rootBits);
        rootRecipe.digest = row.rootDigest;
        const Identity root(rootRecipe);
        Recipe recipe = LeafNamed("Leaf");
        recipe.key = KeyOf(row.leafKey, row.leafBits);
        recipe.digest = row.digest;
        const Identity leaf(recipe, &root);
        Put("Root", root.Cert());
        const Call call(leaf.Cert(), nullptr, nullptr, {}, 0, kNone);
        EXPECT_EQ(call.Status(), row.status) << row.name;
        if (call.Chain() == nullptr) {
            EXPECT_EQ(LastErrorDetail(row.status), "1.3.101.112") << row.name;
        } else if (row.status == 0) {
            EXPECT_EQ(StatusOf(leaf.Forged(), kNone), 0x8U) << row.name;
        }
    }
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

// RFC 5280 4.1.2.4: a name is a sequence of sets.
TEST_F(ChainTest, NamesThatAreNone) {
    const auto damaged = [](const Leaf& certificate) {
        const Bytes set = FromHex("310F300D06035504030C");  // around "Middle"
        Bytes der = Copy(certificate->Der());
        const auto at = std::find_end(der.begin(), der.end(), set.begin(), set.end());
        EXPECT_NE(at, der.end());
        *at = 0x30;
        return Certificate::Parse(der);
    };
    Put("Root", Root().Cert());
    Put("CA", damaged(Middle().Cert()));
    EXPECT_EQ(StatusOf(LeafOf(Middle()), kNone), 0x10000U);
    EXPECT_EQ(Call(damaged(Middle().Cert()), nullptr, nullptr, {}, 0, kNone).Status(),
              static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT));
    Put("CA", Middle().Cert());
    EXPECT_EQ(StatusOf(LeafOf(Middle()), kNone), 0U);
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

// Twelve layers of three keys, each key certified by each one above: 3^12 paths.
TEST_F(ChainTest, LayersOfCrossCertificates) {
    constexpr std::size_t kWidth = 3;
    const struct {
        const char* name;
        DWORD status;
        const char* names;    // of the end certificate
        std::size_t trusted;  // the top key whose issuer is trusted; kWidth: none
    } rows[] = {
        {"one way up is trusted", 0, "DNS:example.org", 2},
        {"none is", 0x20, "DNS:example.org", kWidth},
        {"no path permits the name", 0x4000, "DNS:example.com", 0},
    };
    const Identity untrusted(AuthorityNamed("Stranger"));
    for (const auto& row : rows) {
        const auto message = NewMemoryStore();
        const auto keep = [&](const Identity& one) {
            message->Add(*one.Cert(), CERT_STORE_ADD_ALWAYS);
        };
        std::vector<std::unique_ptr<Identity>> above;
        for (std::size_t i = 0; i < kWidth; ++i) {
            Recipe top = AuthorityNamed("Top");
            SetExtension(top, "nameConstraints", "critical,permitted;DNS:example.org");
            const Identity& issuer = i == row.trusted ? Root() : untrusted;
            above.push_back(std::make_unique<Identity>(top, &issuer));
            keep(*above.back());
        }
        for (int layer = 0; layer < 12; ++layer) {
            std::vector<std::unique_ptr<Identity>> below;
            for (std::size_t i = 0; i < kWidth; ++i) {
                const AnyKey key = GenerateKey(kTypeEcdsa);
                Recipe recipe = AuthorityNamed("Layer " + std::to_string(layer));
                recipe.key = key.Native();
                for (const auto& issuer : above) {
                    auto made = std::make_unique<Identity>(recipe, issuer.get());
                    keep(*made);
                    if (issuer == above.back()) below.push_back(std::move(made));
                }
            }
            above = std::move(below);
        }
        Clear();
        Put("Root", Root().Cert());
        keep(untrusted);
        const HCERTSTORE additional = Publish(message);
        const Leaf leaf = LeafOf(*above[0], {{"subjectAltName", row.names}});
        const Ticks before = CurrentTicks();
        EXPECT_EQ(Call(leaf, nullptr, additional, {}, 0, kNone).Status(), row.status) << row.name;
        EXPECT_LT(CurrentTicks() - before, 5 * kTicksPerSecond) << row.name;
        ReleaseHandle(additional, Kind::Store, E_INVALIDARG);
    }
}

TEST_F(ChainTest, OneResultForManyCalls) {
    Put("Root", Root().Cert());
    const Leaf leaf = LeafOf(Root());
    const Ticks before = CurrentTicks();
    for (int i = 0; i < 10'000; ++i) ASSERT_EQ(StatusOf(leaf, kCheck), 0x40U);
    EXPECT_LT(CurrentTicks() - before, 8 * kTicksPerSecond);
    EXPECT_EQ(StatusOf(leaf, kNone), 0U);
    EXPECT_EQ(StatusOf(leaf, kCheck, 2 * kDay), 0x41U);
    Put("CA", MakeCrl(Root()));
    EXPECT_EQ(StatusOf(leaf, kCheck), 0U);
    EXPECT_EQ(StatusOf(Identity(LeafNamed("Leaf"), &Root()).Forged(), kCheck), 0x8U);
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
    EXPECT_EQ(call.Chain()->TrustStatus.dwInfoStatus, 0x100U);
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
        // A preferred issuer each; the leaf tells a key identifier, the others a name alone.
    } elements[] = {{leaf, 0x41, 0x102}, {Middle().Cert(), 0x40, 0x104}, {Root().Cert(), 0, 0x10C}};
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
