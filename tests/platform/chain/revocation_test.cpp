// Revocation: which CRLs count, and what they say.
#include <functional>

#include "tests/platform/chain/authority.h"

namespace platform::testing {
namespace {

constexpr const char* kNumber = "2.5.29.20";
constexpr const char* kBase = "2.5.29.27";  // of a delta list
constexpr const char* kReason = "2.5.29.21";
constexpr const char* kScope = "2.5.29.28";  // issuing distribution point

struct World {
    Identity root{AuthorityNamed("Root")};
    Identity other{AuthorityNamed("Root")};  // the same name, another key
    Identity leaf{LeafWithPoint(), &root};

    static Recipe LeafWithPoint() {
        Recipe recipe = LeafNamed("Leaf");
        // xttp://a/b, where nobody can be asked; "CN=p" relative to the issuer; xttp://a/r for a
        // stolen key alone.
        recipe.extensions.push_back({"2.5.29.31",
                                     "3038"
                                     "3010A00EA00C860A787474703A2F2F612F62"
                                     "300EA00CA10A300806035504030C0170"
                                     "3014A00EA00C860A787474703A2F2F612F7281020640"});
        return recipe;
    }
};

const World& TheWorld() {
    static const World world;
    return world;
}

TEST_F(ChainTest, WhichListsCount) {
    const World& w = TheWorld();
    const RevokedEntry gone{&w.leaf};
    const RevokedEntry held{.identity = &w.leaf, .extensions = {{kReason, "0A0106"}}};
    const RevokedEntry lifted{.identity = &w.leaf, .extensions = {{kReason, "0A0108"}}};
    // Hand-made issuing distribution points (RFC 5280 5.2.5).
    const std::string users = "critical,30038101FF";
    const std::string authorities = "critical,30038201FF";
    const std::string someReasons = "critical,300483020640";  // a stolen key
    const std::string otherReasons = "critical,30058303073F80";
    const std::string fewerReasons = "critical,30058303073F00";
    const std::string indirect = "critical,30038401FF";
    const std::string attributes = "critical,30038501FF";
    const std::string thisPoint = "critical,3010A00EA00C860A787474703A2F2F612F62";
    const std::string otherPoint = "critical,3010A00EA00C860A787474703A2F2F612F63";
    const std::string stolenPoint = "critical,3010A00EA00C860A787474703A2F2F612F72";
    const std::string relative = "critical,300EA00CA10A300806035504030C0170";
    const std::string otherRelative = "critical,300EA00CA10A300806035504030C0171";
    const std::string relativeInFull =
        "critical,3023A021A01FA41D301B310D300B06035504030C04526F6F74310A300806035504030C0170";
    const std::string issuersName = "critical,3017A015A013A411300F310D300B06035504030C04526F6F74";
    const std::vector<Extension> full = {{kNumber, "020105"}};
    const std::vector<Extension> delta = {{kNumber, "020106"}, {kBase, "critical,020105"}};
    const struct {
        const char* name;
        DWORD status;
        std::vector<CrlRecipe> crls;
    } rows[] = {
        {"none", 0x40, {}},
        {"empty list", 0, {{}}},
        {"revoked", 0x4, {{.revoked = {gone}}}},
        {"on hold", 0x4, {{.revoked = {held}}}},
        {"another number", 0, {{.revoked = {{&w.root}}}}},
        {"revoked in the future", 0, {{.revoked = {{&w.leaf, kDay}}}}},
        {"out of date", 0x40, {{.from = -2 * kDay, .to = -kDay}}},
        {"revoked by one out of date", 0x40, {{.revoked = {gone}, .from = -2 * kDay, .to = -kDay}}},
        {"of the future", 0x40, {{.from = kDay, .to = 2 * kDay}}},
        {"without end", 0, {{.to = 0}}},
        {"another key signed", 0x40, {{.signer = &w.other}}},
        {"another key revokes", 0x40, {{.revoked = {gone}, .signer = &w.other}}},
        {"unknown critical extension", 0x40, {{.extensions = {{"1.2.3.4", "critical,0500"}}}}},
        {"unknown extension", 0, {{.extensions = {{"1.2.3.4", "0500"}}}}},
        {"unknown critical entry extension",
         0x40,
         {{.revoked = {{&w.root, -60, {{"1.2.3.4", "critical,0500"}}}}}}},
        {"a date of loss with a length of nine octets",
         0x40,
         {{.revoked =
               {{&w.leaf, kDay, {{kReason, "0A0101"}, {"2.5.29.24", "1889010203040506070809"}}}}}}},
        {"for users", 0, {{.extensions = {{kScope, users}}}}},
        {"for authorities", 0x40, {{.extensions = {{kScope, authorities}}}}},
        {"for authorities, revoked",
         0x40,
         {{.revoked = {gone}, .extensions = {{kScope, authorities}}}}},
        {"for attributes", 0x40, {{.extensions = {{kScope, attributes}}}}},
        {"indirect", 0, {{.extensions = {{kScope, indirect}}}}},
        {"damaged scope", 0x40, {{.extensions = {{kScope, "critical,0401"}}}}},
        {"for this point", 0, {{.extensions = {{kScope, thisPoint}}}}},
        {"for another point", 0x40, {{.extensions = {{kScope, otherPoint}}}}},
        {"for the point relative to the issuer", 0, {{.extensions = {{kScope, relative}}}}},
        {"for another relative point", 0x40, {{.extensions = {{kScope, otherRelative}}}}},
        {"for the relative point in full", 0, {{.extensions = {{kScope, relativeInFull}}}}},
        {"for the issuer's name", 0, {{.extensions = {{kScope, issuersName}}}}},
        {"reasons shared",
         0,
         {{.extensions = {{kScope, someReasons}}}, {.extensions = {{kScope, otherReasons}}}}},
        {"reasons shared but for one",
         0x40,
         {{.extensions = {{kScope, someReasons}}}, {.extensions = {{kScope, fewerReasons}}}}},
        {"reasons shared, the second revokes",
         0x4,
         {{.extensions = {{kScope, someReasons}}},
          {.revoked = {gone}, .extensions = {{kScope, otherReasons}}}}},
        {"reasons shared, an older list is over",
         0,
         {{.revoked = {gone}, .extensions = {{kScope, someReasons}}, .from = -7200},
          {.extensions = {{kScope, someReasons}}, .from = -60},
          {.extensions = {{kScope, otherReasons}}}}},
        {"a point for one reason", 0x40, {{.extensions = {{kScope, stolenPoint}}}}},
        {"a point for one reason, a list for the others",
         0,
         {{.extensions = {{kScope, stolenPoint}}}, {.extensions = {{kScope, otherReasons}}}}},
        {"signed with SHA-1", 0, {{.digest = "SHA1"}}},
        {"another algorithm inside", 0x40, {{.otherInner = true}}},
        {"no version told", 0, {{.version = -1}}},
        {"no version told, with extensions", 0x40, {{.extensions = full, .version = -1}}},
        {"version 1", 0x40, {{.version = 0}}},
        {"version 3", 0x40, {{.version = 2}}},
        {"some reasons are no all-clear", 0x40, {{.extensions = {{kScope, someReasons}}}}},
        {"some reasons revoke", 0x4, {{.revoked = {gone}, .extensions = {{kScope, someReasons}}}}},
        {"the later list lifts", 0, {{.revoked = {gone}, .from = -7200}, {.from = -60}}},
        {"the later list revokes", 0x4, {{.from = -7200}, {.revoked = {gone}, .from = -60}}},
        {"the later list is forged",
         0,
         {{.from = -7200}, {.revoked = {gone}, .from = -60, .signer = &w.other}}},
        {"delta revokes",
         0x4,
         {{.extensions = full}, {.revoked = {gone}, .extensions = delta, .from = -60}}},
        {"delta lifts a hold",
         0,
         {{.revoked = {held}, .extensions = full},
          {.revoked = {lifted}, .extensions = delta, .from = -60}}},
        {"delta is silent",
         0x4,
         {{.revoked = {gone}, .extensions = full}, {.extensions = delta, .from = -60}}},
        {"delta alone is no all-clear", 0x40, {{.extensions = delta}}},
        {"delta for a later list",
         0,
         {{.extensions = full},
          {.revoked = {gone},
           .extensions = {{kNumber, "020108"}, {kBase, "critical,020107"}},
           .from = -60}}},
        {"delta of another scope",
         0,
         {{.extensions = full},
          {.revoked = {gone},
           .extensions = {{kNumber, "020106"}, {kBase, "critical,020105"}, {kScope, users}},
           .from = -60}}},
        {"delta older than the list",
         0,
         {{.extensions = full},
          {.revoked = {gone},
           .extensions = {{kNumber, "020105"}, {kBase, "critical,020104"}},
           .from = -60}}},
    };
    for (const auto& row : rows) {
        Clear();
        Put("Root", w.root.Cert());
        for (const CrlRecipe& recipe : row.crls) Put("CA", MakeCrl(w.root, recipe));
        EXPECT_EQ(StatusOf(w.leaf.Cert(), kCheck), row.status) << row.name;
        EXPECT_EQ(StatusOf(w.leaf.Cert(), 0), 0U) << row.name;
    }
}

TEST_F(ChainTest, EveryPlaceIsLookedAt) {
    const World& w = TheWorld();
    const auto revoking = MakeCrl(w.root, {.revoked = {{&w.leaf}}});
    const struct {
        const char* name;
        DWORD status;
        std::function<void()> put;
    } rows[] = {
        {"CA", 0x4, [&] { Put("CA", revoking); }},
        {"Root", 0x4, [&] { Put("Root", revoking); }},
        {"machine's CA", 0x4, [&] { Put("CA", revoking, Side::Machine); }},
        {"a store of another name", 0x40, [&] { Put("Other", revoking); }},
    };
    for (const auto& row : rows) {
        Clear();
        Put("Root", w.root.Cert());
        row.put();
        EXPECT_EQ(StatusOf(w.leaf.Cert(), kCheck), row.status) << row.name;
    }
}

// Of many names in the certificate and many in the list the last ones are one: nobody looks so far.
TEST_F(ChainTest, ManyNamesOfPoints) {
    const World& w = TheWorld();
    const auto point = [](const char* name) {
        std::string names;
        for (int i = 0; i < 20'000; ++i) names += name;
        const Bytes full = der::Element(0xA0, FromHex(names + "860163"));
        return der::Element(der::kSequence, der::Element(0xA0, full));
    };
    const Bytes points = der::Element(der::kSequence, point("860161"));
    Put("Root", w.root.Cert());
    Put("CA", MakeCrl(w.root, {.extensions = {{kScope, "critical," + Hex(point("860162"))}}}));
    EXPECT_EQ(StatusOf(LeafOf(w.root, {{"2.5.29.31", Hex(points)}}), kCheck), 0x40U);
}

// Lists of "Lists", which a certificate of "Root" names as the issuer of its list.
TEST_F(ChainTest, IndirectLists) {
    const Identity root(AuthorityNamed("Root"));
    const Identity lists(AuthorityNamed("Lists"), &root);
    const Identity stranger(AuthorityNamed("Lists"));
    const Identity strange(AuthorityNamed("Strange"), &root);
    const Identity other(LeafNamed("Other"), &root);
    const auto below = [&](const char* points) {
        Recipe recipe = LeafNamed("Leaf");
        recipe.extensions.push_back({"2.5.29.31", points});
        return Identity(recipe, &root);
    };
    const Identity leaf = below("30183016A214A4123010310E300C06035504030C054C69737473");
    const Identity plain = below("300C300AA008A006860461626364");
    const std::string roots = "critical,3013A411300F310D300B06035504030C04526F6F74";
    const std::string listsOwn = "critical,3014A4123010310E300C06035504030C054C69737473";
    constexpr const char* kIssuer = "2.5.29.29";
    const std::vector<Extension> indirect = {{kScope, "critical,30038401FF"}};
    const RevokedEntry gone{.identity = &leaf, .extensions = {{kIssuer, roots}}};
    const RevokedEntry silent{.identity = &leaf};
    const RevokedEntry another{.identity = &other, .extensions = {{kIssuer, roots}}};
    const RevokedEntry elsewhere{.identity = &leaf, .extensions = {{kIssuer, listsOwn}}};
    const struct {
        const char* name;
        DWORD status;
        const Identity& issuer;
        CrlRecipe list;
    } rows[] = {
        {"empty", 0, lists, {.extensions = indirect}},
        {"revoked", 0x4, lists, {.revoked = {gone}, .extensions = indirect}},
        {"behind an entry that tells the issuer",
         0x4,
         lists,
         {.revoked = {another, silent}, .extensions = indirect}},
        {"the number alone", 0, lists, {.revoked = {silent}, .extensions = indirect}},
        {"another issuer's of that number",
         0,
         lists,
         {.revoked = {another, elsewhere}, .extensions = indirect}},
        {"not an indirect one", 0x40, lists, {}},
        {"not an indirect one, with issuers", 0x40, root, {.revoked = {gone}}},
        {"the same, indirect", 0x4, root, {.revoked = {gone}, .extensions = indirect}},
        {"of an issuer that nobody trusts", 0x40, stranger, {.extensions = indirect}},
        {"of an issuer that is not named", 0x40, strange, {.extensions = indirect}},
    };
    for (const auto& row : rows) {
        Clear();
        Put("Root", root.Cert());
        for (const Identity* one : {&lists, &stranger, &strange}) Put("CA", one->Cert());
        Put("CA", MakeCrl(row.issuer, row.list));
        EXPECT_EQ(StatusOf(leaf.Cert(), kCheck), row.status) << row.name;
    }
    Clear();
    Put("Root", root.Cert());
    Put("CA", lists.Cert());
    Put("CA", MakeCrl(lists, {.extensions = indirect}));
    EXPECT_EQ(StatusOf(plain.Cert(), kCheck), 0x40U) << "it names no other issuer";
}

TEST_F(ChainTest, WhichCertificatesAreAskedAbout) {
    const Identity root(AuthorityNamed("Root"));
    const Identity middle(AuthorityNamed("Middle"), &root);
    const Identity leaf(LeafNamed("Leaf"), &middle);
    constexpr DWORD kEnd = CERT_CHAIN_REVOCATION_CHECK_END_CERT;
    constexpr DWORD kAll = CERT_CHAIN_REVOCATION_CHECK_CHAIN;
    const struct {
        const char* name;
        bool rootList;
        bool middleList;
        const Identity* revoked;
        DWORD end;
        DWORD all;
        DWORD withoutRoot;
    } rows[] = {
        {"no list", false, false, nullptr, 0x40, 0x40, 0x40},
        {"root's list", true, false, nullptr, 0x40, 0x40, 0x40},
        {"intermediate's list", false, true, nullptr, 0, 0x40, 0x40},
        {"both", true, true, nullptr, 0, 0, 0},
        {"end certificate revoked", true, true, &leaf, 0x4, 0x4, 0x4},
        {"intermediate revoked", true, true, &middle, 0, 0x4, 0x4},
        {"root revoked by itself", true, true, &root, 0, 0x4, 0},
    };
    for (const auto& row : rows) {
        Clear();
        Put("Root", root.Cert());
        Put("CA", middle.Cert());
        CrlRecipe recipe;
        if (row.revoked != nullptr) recipe.revoked = {{row.revoked}};
        if (row.rootList) Put("CA", MakeCrl(root, recipe));
        if (row.middleList) Put("CA", MakeCrl(middle, recipe));
        EXPECT_EQ(StatusOf(leaf.Cert(), kEnd), row.end) << row.name;
        EXPECT_EQ(StatusOf(leaf.Cert(), kAll), row.all) << row.name;
        EXPECT_EQ(StatusOf(leaf.Cert(), kCheck), row.withoutRoot) << row.name;
    }
}

TEST_F(ChainTest, HowTheIssuerSignsLists) {
    const struct {
        const char* name;
        DWORD status;
        const char* keyUsage;
        const char* digest;
    } rows[] = {
        {"as it may", 0, "keyCertSign,cRLSign", "SHA256"},
        {"though it may not", 0x40, "keyCertSign", "SHA256"},
        {"with MD5", 0x40, "keyCertSign,cRLSign", "MD5"},
    };
    for (const auto& row : rows) {
        Clear();
        Recipe recipe = AuthorityNamed("Root");
        recipe.extensions[1].value = row.keyUsage;
        recipe.type = 24;
        const Identity root(recipe);
        const Identity leaf(LeafNamed("Leaf"), &root);
        Put("Root", root.Cert());
        Put("CA", MakeCrl(root, {.digest = row.digest}));
        EXPECT_EQ(StatusOf(leaf.Cert(), kCheck), row.status) << row.name;
    }
}

TEST_F(ChainTest, ListsOfAnotherKeyOfTheAuthority) {
    const Identity root(AuthorityNamed("Root"));
    const Identity stranger(AuthorityNamed("Stranger"));
    const Identity middle(AuthorityNamed("Middle"), &root);
    const Identity leaf(LeafNamed("Leaf"), &middle);
    Recipe late = AuthorityNamed("Middle");
    late.to = -3600;
    Recipe noLists = AuthorityNamed("Middle");
    noLists.extensions[1].value = "critical,keyCertSign";
    Recipe listsOnly = AuthorityNamed("Middle");
    listsOnly.extensions = {{"keyUsage", "critical,cRLSign"}, {"subjectKeyIdentifier", "hash"}};
    const struct {
        const char* name;
        DWORD status;
        Recipe recipe;
        const Identity* issuer;
        bool present = true;
        bool revokesLeaf = false;
        bool revokedItself = false;
    } rows[] = {
        {"not revoked", 0, AuthorityNamed("Middle"), &root},
        {"revoked", 0x4, AuthorityNamed("Middle"), &root, true, true},
        {"for lists alone", 0, listsOnly, &root},
        {"its certificate is missing", 0x40, AuthorityNamed("Middle"), &root, false},
        {"under another anchor", 0x40, AuthorityNamed("Middle"), &stranger, true, true},
        {"trusted itself", 0x40, AuthorityNamed("Middle"), nullptr, true, true},
        {"expired", 0x40, late, &root},
        {"may not sign lists", 0x40, noLists, &root},
        {"another name", 0x40, AuthorityNamed("Muddle"), &root},
        {"revoked itself", 0x40, AuthorityNamed("Middle"), &root, true, false, true},
    };
    for (const auto& row : rows) {
        Clear();
        const Identity other(row.recipe, row.issuer);
        for (const Identity* anchor : {&root, &stranger}) Put("Root", anchor->Cert());
        Put("CA", middle.Cert());
        if (row.present) Put(row.issuer == nullptr ? "Root" : "CA", other.Cert());
        Put("CA", MakeCrl(middle, {.revoked = {{row.revokesLeaf ? &leaf : &root}},
                                   .extensions = {{"authorityKeyIdentifier", "keyid"}},
                                   .signer = &other}));
        if (row.revokedItself) Put("CA", MakeCrl(root, {.revoked = {{&other}}}));
        EXPECT_EQ(StatusOf(leaf.Cert(), CERT_CHAIN_REVOCATION_CHECK_END_CERT), row.status)
            << row.name;
    }
}

TEST_F(ChainTest, RevokedLaterThanTheGivenTime) {
    Recipe recipe = AuthorityNamed("Root over time");
    recipe.from = -40 * kDay;
    const Identity root(recipe);
    Recipe leafRecipe = LeafNamed("Leaf");
    leafRecipe.from = -30 * kDay;
    const Identity leaf(leafRecipe, &root);
    Put("Root", root.Cert());
    Put("CA", MakeCrl(root, {.revoked = {{&leaf, -10 * kDay}}}));
    EXPECT_EQ(StatusOf(leaf.Cert(), kCheck), 0x4U);
    EXPECT_EQ(StatusOf(leaf.Cert(), kCheck, -5 * kDay), 0x4U);
    EXPECT_EQ(StatusOf(leaf.Cert(), kCheck, -15 * kDay), 0U);
}

}  // namespace
}  // namespace platform::testing
