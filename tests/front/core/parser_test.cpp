// Command lines and what the parser makes of them.

#include "front/core/catalogue.h"
#include "front/core/keys.h"
#include "tests/front/support.h"

namespace kestrel {
namespace {

using ParserTest = FrontTest;

DWORD Parse(const std::vector<const char*>& words) {
    state = ProgramState{};
    std::vector<const char*> arguments = {"kestrel"};
    arguments.insert(arguments.end(), words.begin(), words.end());
    return ParseCommandLine(static_cast<int>(arguments.size()), arguments.data());
}

// In set order: "word" or "word=value", separated by blanks.
std::string KeysLeft() {
    std::string text;
    for (const GivenKey& key : *state.givenKeys) {
        if (!text.empty()) text += ' ';
        text += key.word;
        if (key.value != nullptr) text += std::string("=") + key.value;
    }
    return text;
}

const struct {
    const char* name;
    std::vector<const char*> words;
    int command;
    const char* keys;
} kAccepted[] = {
    {"flag keeps the table's spelling", {"-creatrqst", "-SMIME"}, 16, "smime"},
    {"argument key folds", {"-creatrqst", "-certusage", "1.2"}, 16, "CertUsage=1.2"},
    {"an empty value", {"-sign", "-pin", ""}, 4, "pin="},
    {"equal values once", {"-encr", "-dn", "abc", "-dn", "ABC"}, 2, "dn=abc"},
    {"equal Cyrillic values once", {"-encr", "-dn", "Иван", "-dn", "ИВАН"}, 2, "dn=Иван"},
    {"values that name files differ in case",
     {"-sign", "-f", "b", "-F", "a", "-f", "A", "-attr", "1,x", "-attr", "1,X", "-attr", "1,x"},
     4,
     "attr=1,X attr=1,x f=A f=a f=b"},
    {"masks are names", {"-hash", "*", "-dir", "*"}, 9, "dir=*"},
    {"other values in order", {"-encr", "-dn", "abd", "-dn", "abc"}, 2, "dn=abc dn=abd"},
    {"attached both ways", {"-encr", "-q5", "-q"}, 2, "q q=5"},
    {"attached names in order", {"-verify", "-mOther", "-mMy"}, 7, "m=My m=Other"},
    {"attached value keeps quotes", {"-encr", "-m\"My\""}, 2, "m=\"My\""},
    {"attached folds the word only", {"-encr", "-MAddressBook"}, 2, "m=AddressBook"},
    {"any word behind an attached row", {"-encr", "-user", "-dump"}, 2, "du=mp u=ser"},
    {"table rows win over attached ones", {"-decr", "-start", "-silent"}, 3, "silent start"},
};

TEST_F(ParserTest, AcceptsLines) {
    for (const auto& row : kAccepted) {
        const std::string printed = Printed([&] { EXPECT_EQ(Parse(row.words), 0u) << row.name; });
        EXPECT_EQ(printed, "") << row.name;
        EXPECT_EQ(state.command, row.command) << row.name;
        EXPECT_EQ(KeysLeft(), row.keys) << row.name;
    }
}

}  // namespace
}  // namespace kestrel
