// Which path is taken, and what the caller is told of it.
#include <algorithm>

#include "platform/base/error.h"
#include "platform/base/handle.h"
#include "platform/base/ticks.h"
#include "platform/chain/path.h"
#include "tests/platform/chain/authority.h"

namespace platform::testing {
namespace {

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
              Code(CRYPT_E_ASN1_CORRUPT));
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

// Among many of one name, for hardly more work than the way itself takes.
TEST_F(ChainTest, TheShortWayComesFirst) {
    Recipe recipe{"Same", {{"basicConstraints", "critical,CA:TRUE"}}};
    Put("Root", Root().Cert());
    std::vector<std::unique_ptr<Identity>> others;
    for (int i = 0; i < 30; ++i) {
        const Identity* above = others.empty() ? nullptr : others.back().get();
        others.push_back(std::make_unique<Identity>(recipe, above));
        Put("CA", others.back()->Cert());
    }
    recipe.from = -2 * kDay;
    const Identity below(recipe, &Root());
    Put("CA", below.Cert());
    const Identity leaf(Recipe{"Leaf", {}}, &below);
    const CertificatePool pool(*leaf.Cert(), nullptr, {Side::User});
    Budget budget(1'500'000);  // ten signatures
    const ChainRequest request{FileTimeOf(CurrentTicks()), {}, false};
    const Path path = FindPath(leaf.Cert(), pool, request, budget);
    EXPECT_EQ(path.Error(), 0U);
    EXPECT_EQ(path.links.size(), 3U);
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
              Code(E_INVALIDARG));
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
    const auto invalid = Code(E_INVALIDARG);
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
