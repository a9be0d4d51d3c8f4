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

struct Row {
    const char* name;
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
        Expect(row.name, row.forged ? leaf.Forged() : leaf.Cert(), kNone, row.status);
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

}  // namespace
}  // namespace platform::testing
