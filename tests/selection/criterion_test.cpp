// The search criterion.
#include <cstdio>

#include "front/core/catalogue.h"
#include "selection/search.h"
#include "tests/selection/support.h"

namespace selection_tests {

namespace {

struct CriterionRow {
    const char* name;
    bool broad;
    Keys keys;
    const char* stores;  // kind:name of each, in order
    const char* filters;
    const char* policy;
    const char* flags;  // chain checking, chain errors fatal, revocation off
    const char* left;
};

// clang-format off
const CriterionRow kCriteria[] = {
    {"defaults, many", true, {}, " 0:My 0:Addressbook", "", "0", "100", ""},
    {"filters in order of their text", false,
     {{"dn", "b, c"}, {"dn", "a"}}, " 0:My", "[a][b, c]", "-1", "100", ""},
    {"stores: machine, user, files, each by name", true,
     {{"f", "z.cer"}, {"u", "Z"}, {"u", "A"}, {"m", "M"}, {"f", "a.cer"}},
     " 1:M 0:A 0:Z -1:a.cer -1:z.cer", "", "0", "100", ""},
    {"store keys without names, many", true,
     {{"m"}, {"u"}}, " 1:My 1:Addressbook 0:My 0:Addressbook", "", "0", "100", ""},
    {"no chains leaves the chain keys", false,
     {{"nochain"}, {"errchain"}, {"norev"}}, " 0:My", "", "-1", "000", " errchain norev"},
    {"fatal chains, no revocation", false, {{"errchain"}, {"norev"}}, " 0:My", "", "-1", "111", ""},
    {"all wins and the others stay", false,
     {{"1"}, {"q", "3"}, {"all"}}, " 0:My", "", "0", "100", " 1 q"},
    {"one before a bound", true, {{"q", "x"}, {"1"}}, " 0:My 0:Addressbook", "", "-1", "100", " q"},
    {"a bound by default", false, {{"q"}}, " 0:My", "", "10", "100", ""},
    {"one bound of two is taken", false, {{"q"}, {"q", "5"}}, " 0:My", "", "10", "100", " q"},
    {"a bound wraps around in 32 bits", false, {{"q", "4294967298"}}, " 0:My", "", "2", "100", ""},
};
// clang-format on

std::uint32_t ParseAndTell(const CriterionRow& row) {
    using kestrel::state;
    GiveKeys(row.keys);
    const DWORD code = kestrel::ParseSearchCriterion(row.broad);
    for (const kestrel::StoreSpec& spec : *state.storeSpecs) {
        std::printf(" %d:%s", spec.kind, spec.name);
    }
    std::printf("/");
    for (const char* filter : *state.dnStrings) std::printf("[%s]", filter);
    std::printf("/%d/%u%u%u/%s", state.countPolicy, static_cast<unsigned>(state.chainChecking),
                static_cast<unsigned>(state.chainErrorsFatal),
                static_cast<unsigned>(state.revocationOff), LeftKeys().c_str());
    return code;
}

TEST(Criterion, KeysBecomeStoresFiltersAndPolicy) {
    for (const CriterionRow& row : kCriteria) {
        const Outcome run = RunPiped("", [&] { return ParseAndTell(row); });
        EXPECT_EQ(run.code, 0U) << row.name;
        EXPECT_EQ(run.output, std::string(row.stores) + "/" + row.filters + "/" + row.policy + "/" +
                                  row.flags + "/" + row.left)
            << row.name;
    }
}

TEST(Criterion, BadBoundsAreRefused) {
    for (const char* bound : {"0", "1x", "x", "-1", "+1", " 1", "", "2147483648", "4294967296"}) {
        const Outcome run = RunPiped("", [&]() -> std::uint32_t {
            GiveKeys({{"q", bound}});
            return kestrel::ParseSearchCriterion(true);
        });
        EXPECT_EQ(run.code, 0x200000CFU) << bound;
        EXPECT_EQ(run.output, "Error: Integer is required for '-q' key (0x200000CF)\n") << bound;
    }
}

}  // namespace

}  // namespace selection_tests
