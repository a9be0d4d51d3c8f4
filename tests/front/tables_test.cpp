// The tables check each other.
#include <algorithm>
#include <map>
#include <set>

#include "front/catalogue.h"
#include "front/dispatch.h"
#include "front/keys.h"
#include "support.h"

namespace kestrel {
namespace {

using TablesTest = FrontTest;

TEST_F(TablesTest, NoTwoKeyRowsCompareEqual) {
    BuildKeyTable();
    // A row that equals another is lost on insertion, so the counts show it.
    std::map<KeyClass, int> counts;
    for (const KeyDefinition& row : *state.keyTable) ++counts[std::max(row.keyClass, -2)];
    EXPECT_EQ(counts[-2], 21) << "commands";
    EXPECT_EQ(counts[kAttached], 7) << "attached";
    EXPECT_EQ(counts[kFlag], 25) << "flags";
    EXPECT_EQ(counts[kArgument], 20) << "with an argument";

    const KeyDefinitionOrder less;
    for (const KeyDefinition& first : *state.keyTable) {
        for (const KeyDefinition& second : *state.keyTable) {
            if (&first == &second) continue;
            EXPECT_NE(less(first, second), less(second, first)) << first.word << " " << second.word;
        }
    }
}

TEST_F(TablesTest, EveryWordIsFoundUnderItsOwnSpelling) {
    BuildKeyTable();
    for (const KeyDefinition& row : *state.keyTable) {
        const auto found = state.keyTable->find({row.word, kFlag});
        ASSERT_NE(found, state.keyTable->end()) << row.word;
        EXPECT_STREQ(found->word, row.word);
    }
}

TEST_F(TablesTest, CommandsHaveTheirNumbersAndRoutines) {
    const std::map<std::string, int> expected = {
        {"encr", 2},       {"decr", 3},      {"sign", 4},     {"addsign", 5},    {"delsign", 6},
        {"verify", 7},     {"hash", 9},      {"vhash", 10},   {"signf", 11},     {"vsignf", 12},
        {"copycert", 13},  {"CSPcert", 14},  {"delcert", 15}, {"creatrqst", 16}, {"instcert", 17},
        {"creatcert", 18}, {"pendcert", 19}, {"addattr", 21}, {"creatuser", 22}, {"listDN", 23},
        {"checkreg", 24},
    };
    BuildKeyTable();
    std::map<std::string, int> found;
    for (const KeyDefinition& row : *state.keyTable) {
        if (row.keyClass < kAttached) found[row.word] = -row.keyClass;
    }
    EXPECT_EQ(found, expected);

    std::set<int> numbers;
    for (const auto& [word, number] : expected) numbers.insert(number);
    for (int number = -1; number <= 30; ++number) {
        const bool has = FindRoutine(static_cast<CommandNumber>(number)) != nullptr;
        EXPECT_EQ(has, numbers.contains(number)) << number;
    }
}

// ---- the two catalogues ------------------------------------------------------

// What callers and scripts rely on in both forms alike.
struct Shape {
    bool startsWithLineFeed;
    bool endsWithBlank;
    std::ptrdiff_t lineFeeds;
    std::vector<std::string> placeholders;
    bool operator==(const Shape&) const = default;
};

Shape ShapeOf(const std::string& text) {
    Shape shape{text.starts_with('\n'),
                text.ends_with(' '),
                std::count(text.begin(), text.end(), '\n'),
                {}};
    for (size_t at = text.find('%'); at != text.npos; at = text.find('%', at + 1)) {
        shape.placeholders.push_back(text.substr(at, 2));
    }
    return shape;
}

bool IsAscii(const std::string& text) {
    return std::all_of(text.begin(), text.end(),
                       [](char byte) { return static_cast<unsigned char>(byte) < 0x80; });
}

void CheckPair(const TextPair& text, const std::string& name, bool sameShape) {
    ASSERT_NE(text.russian, nullptr) << name;
    ASSERT_NE(text.english, nullptr) << name;
    EXPECT_TRUE(IsAscii(text.english)) << name;
    EXPECT_FALSE(IsAscii(text.russian)) << name;
    EXPECT_EQ(ShapeOf(text.russian) == ShapeOf(text.english), sameShape) << name;
}

TEST_F(TablesTest, EveryMessageHasBothLanguages) {
    int rows = 0;
    for (MessageId id = kFirstMessage; id <= kLastMessage; ++id) {
        if (id >= 171 && id <= 174) {
            EXPECT_EQ(Message(id).english, nullptr) << id;
            continue;
        }
        // Only the Russian form of 180 is a prefix.
        CheckPair(Message(id), std::to_string(id), id != 180);
        ++rows;
    }
    EXPECT_EQ(rows, 89);
}

TEST_F(TablesTest, MessagesStandUnderTheirIds) {
    const std::map<MessageId, std::string> rows = {
        {100, "Error: "},
        {112, "[D]elete, [A]ll, [S]kip, [C]ancel?"},
        {126, "\nCall a command with '-help' argument to get info about it."},
        {131, "Signature verifying... "},
        {142, "Unknown error."},
        {153, "Can't open certificate store: '"},
        {161, "Certificate chain is not checked for this certificate:"},
        {170, "Hash algorithm: "},
        {175, "Getting time stamp..."},
        {182, "User registred."},
        {192, "Request ID: "},
    };
    for (const auto& [id, text] : rows) EXPECT_EQ(Message(id).english, text) << id;
}

struct ErrorBlock {
    DWORD first;
    DWORD last;
    std::string firstText;
    std::string lastText;
};

const ErrorBlock kErrorBlocks[] = {
    {100, 105, "No enough memory.", "File is too large."},
    {200, 211, "Too many files: '%s'.", "No message file."},
    {300, 309, "Can't open certificate store: '%s'.", "Error while getting pin."},
    {400, 404, "No file mask.", "Hash is incorrect"},
    {500, 506, "Key '-start' without output file.", "Time stamp is incorrect."},
    {600, 602, "File isn't encrypted message.", "Recipient certificate not found."},
    {700, 708, "Can't initialize COM.", "Curl initialization error."},
};

TEST_F(TablesTest, EveryErrorHasBothLanguages) {
    // A report's buffer has 200 bytes beside the argument.
    constexpr size_t kRoom = 200;
    for (const ErrorBlock& block : kErrorBlocks) {
        EXPECT_EQ(ErrorText(kOwnError | block.first).english, block.firstText);
        EXPECT_EQ(ErrorText(kOwnError | block.last).english, block.lastText);
        for (DWORD id = block.first; id <= block.last; ++id) {
            const TextPair& text = ErrorText(kOwnError | id);
            CheckPair(text, std::to_string(id), true);
            EXPECT_LT(std::string(text.russian).size(), kRoom) << id;
            EXPECT_LT(std::string(text.english).size(), kRoom) << id;
        }
    }
}

TEST_F(TablesTest, CodesWithoutRowAreUnknownErrors) {
    for (const DWORD id : {0u, 99u, 106u, 212u, 310u, 405u, 507u, 603u, 709u, 800u, 0x1FFFFFFFu}) {
        EXPECT_STREQ(ErrorText(kOwnError | id).english, "Unknown error.") << id;
    }
}

}  // namespace
}  // namespace kestrel
