// The search through stores.
#include "selection/search.h"

#include <cstdio>

#include "front/core/catalogue.h"
#include "tests/selection/support.h"

namespace selection_tests {

namespace {

constexpr DWORD kMachine = CERT_SYSTEM_STORE_LOCAL_MACHINE;

const std::string kAlpha = "RDN:Alpha, Works\n" + kDates;
const std::string kBeta = "RDN:Beta, Works\n" + kDates;
const std::string kBoth = "RDN:Both, Alpha Beta\n" + kDates;
const std::string kMissing = "Can't open certificate store: '";
const std::string kChoice = "\nThe following certificate will be used:\n";
const std::string kList =
    "Please, choose certificate (type its number and press [ENTER]).\n\n"
    "#1: " +
    kAlpha + "#2: " + kBeta + "#3: " + kBoth + "Number:";
const std::string kNone = "Error: No certificate found. (0x2000012D)\n";

// What was found follows the output in braces.
std::uint32_t SelectAndTell(const Keys& keys, bool broad, bool needOne) {
    GiveKeys(keys);
    if (const DWORD code = kestrel::ParseSearchCriterion(broad)) return code;
    kestrel::StoreVector stores;
    const DWORD code = kestrel::SelectCertificates(stores, needOne);
    std::printf("{%s}", NamesOf(*kestrel::state.foundCertificates).c_str());
    kestrel::CloseStoreVector(stores);
    return code;
}

// How a command asks for its certificates: any number, one of all its stores, or one.
struct Want {
    bool broad;
    bool needOne;
};
constexpr Want kMany = {true, false};
constexpr Want kOneOfMany = {true, true};
constexpr Want kOne = {false, true};
constexpr Want kSome = {false, false};

struct SelectionRow {
    const char* name;
    Keys keys;
    Want want;
    std::string output;
    std::uint32_t code = 0;
    std::string input = {};
};

class Selection : public SelectionTest {
  protected:
    static void Check(const std::vector<SelectionRow>& rows) {
        for (const SelectionRow& row : rows) {
            const Outcome run = RunPiped(row.input, [&] {
                return SelectAndTell(row.keys, row.want.broad, row.want.needOne);
            });
            EXPECT_EQ(run.output, row.output) << row.name;
            EXPECT_EQ(run.code, row.code) << row.name;
        }
    }
};

// clang-format off

TEST_F(Selection, FiltersAndStores) {
    FillUser(L"My", {"alpha", "beta", "both"});
    FillUser(L"AddressBook", {"lonely"});
    Fill(kMachine, L"My", {"beta"});
    const std::string file = FixtureFile("lonely.cer");
    const std::string missing = (folder / "none.cer").string();
    const std::string found = "\nCertificates found: ";
    const Key noChain = {"nochain"};
    Check({
        {"all parts in the first store, the first part alone in later ones",
         {noChain, {"dn", "Alpha, Beta"}}, kMany, found + "2\n{ both lonely}"},
        {"a store that is missing does not cut the string",
         {noChain, {"dn", "Alpha, Beta"}, {"m", "Nowhere"}, {"u", "My"}}, kMany,
         kMissing + "Nowhere'.\n" + kChoice + kBoth + "{ both}"},
        {"two filters: the union in their order, a double match twice",
         {noChain, {"dn", "Beta"}, {"dn", "Alpha"}, {"u", "My"}}, kMany,
         found + "4\n{ alpha both beta both}"},
        {"the case of letters counts", {{"dn", "alpha"}}, kMany, kNone + "{}", 0x2000012D},
        {"attribute names are part of the text",
         {noChain, {"dn", "CN=Beta"}, {"u"}}, kOne, kChoice + kBeta + "{ beta}"},
        {"blanks around parts do not count",
         {noChain, {"dn", "  Works  ,  CN=Alpha  "}, {"u", "My"}}, kMany,
         kChoice + kAlpha + "{ alpha}"},
        {"an empty part matches everything",
         {noChain, {"dn", "Beta,, "}, {"u", "My"}}, kMany, found + "2\n{ beta both}"},
        {"machine stores before user stores, duplicates counted",
         {noChain, {"dn", "CN=Beta"}, {"m"}, {"u", "My"}}, kSome,
         "Error: More than one certificate found. (0x2000012E)\n{ beta beta}", 0x2000012E},
        {"a file as store",
         {noChain, {"f", file.c_str()}}, kOne, kChoice + "RDN:Alpha Lonely\n" + kDates + "{ lonely}"},
        {"a missing address book is passed over",
         {noChain, {"m"}}, kMany, kChoice + kBeta + "{ beta}"},
        {"in that spelling alone",
         {{"m", "addressbook"}}, kMany, kMissing + "addressbook'.\n" + kNone + "{}", 0x2000012D},
        {"a name that is no text is a missing store",
         {{"u", "\xFF\xFE"}}, kMany, kMissing + "\xFF\xFE'.\n" + kNone + "{}", 0x2000012D},
    });
}

TEST_F(Selection, CountAndPolicyDecide) {
    FillUser(L"My", {"alpha", "beta", "both"});
    const std::string found = "{ alpha beta both}";
    const std::string several = "Error: More than one certificate found. (0x2000012E)\n" + found;
    const std::string onlyOne = "Error: Command needs only one certificate. (0x2000012F)\n" + found;
    const std::string wrong = "\nError: Wrong number. (0x20000130)\n" + found;
    const Key noChain = {"nochain"};
    Check({
        {"one wanted", {{"1"}}, kMany, several, 0x2000012E},
        {"all", {noChain, {"all"}}, kSome, "\nCertificates found: 3\n" + found},
        {"all where one is needed", {{"all"}}, kOne, onlyOne, 0x2000012F},
        {"all by default where one is needed", {}, kOneOfMany, onlyOne, 0x2000012F},
        {"all of one where one is needed",
         {noChain, {"all"}, {"dn", "CN=Alpha"}}, kOne, kChoice + kAlpha + "{ alpha}"},
        {"as many as the bound", {noChain, {"q", "3"}}, kMany, found},
        {"as many as the bound where one is needed", {{"q", "3"}}, kOne, onlyOne, 0x2000012F},
        {"below the bound", {noChain, {"q", "4"}}, kOne, kList + "2\n{ beta}", 0, "2\r"},
        {"a number above the list", {{"q"}}, kOne, kList + "4" + wrong, 0x20000130, "4\r"},
    });
}

TEST_F(Selection, ChainsAreChecked) {
    FillUser(L"My", {"alpha", "beta", "old"});
    FillUser(L"Root", {"alpha"});
    const std::string notChecked = "Certificate chain is not checked for this certificate:\n";
    const std::string untrusted =
        "The certificate or certificate chain is based on an untrusted root.\n";
    const std::string question = "Do you want to use this certificate ([Y]es, [N]o, [C]ancel)?";
    const std::string bad = kChoice + kBeta + notChecked + kBeta + untrusted;
    const std::string asked = bad + question + "\n";
    const std::string old = "RDN:Old\nValid from 02.01.2009 03:04:05 to 02.01.2010 03:04:05\n\n";
    const std::string checked = "Certificate chains are checked.\n";
    const Key beta = {"dn", "CN=Beta"};
    Check({
        {"yes", {beta}, kOne, asked + checked + "{ beta}", 0, "\n?y\n"},
        {"several bits are told by number", {{"dn", "Old"}, {"norev"}}, kOne,
         kChoice + old + notChecked + old +
             "Certificate chain is not checked for this certificate (error code 21):\n" +
             question + "\n" + checked + "{ old}", 0, "y"},
        {"one of two is refused", {{"dn", "Works"}, {"u", "My"}, {"all"}}, kSome,
         "\nCertificates found: 2\n" + notChecked + kBeta + untrusted + question + "\n" + checked +
             "{ alpha}", 0, "n"},
    });
}

// clang-format on

TEST_F(Selection, EachSingleBitHasItsSentence) {
    const struct {
        DWORD status;
        const char* sentence;
    } rows[] = {{0x01, "certificate chain is not time valid."},
                {0x04, "certificate chain has been revoked."},
                {0x08, "certificate chain does not have a valid signature."},
                {0x10, "certificate chain is not valid for its proposed usage."},
                {0x40, "certificate chain is unknown."},
                {0x02, "(error code 2):"},
                {0x01000040, "(error code 1000040):"}};
    for (const auto& row : rows) {
        const Outcome run = RunPiped("", [&]() -> std::uint32_t {
            kestrel::state.chainErrorsFatal = 1;
            bool keep = false;
            return kestrel::AskAboutBadChain(row.status, keep);
        });
        EXPECT_TRUE(run.output.ends_with(std::string(row.sentence) + "\n")) << run.output;
        EXPECT_EQ(run.code, 0x20000133U) << row.status;
    }
}

}  // namespace

}  // namespace selection_tests
