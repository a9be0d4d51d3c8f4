// The tables check each other.
#include <algorithm>
#include <map>

#include "front/core/catalogue.h"
#include "front/core/keys.h"
#include "tests/front/support.h"

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
}

TEST_F(TablesTest, EveryWordIsFoundUnderItsOwnSpelling) {
    BuildKeyTable();
    for (const KeyDefinition& row : *state.keyTable) {
        const auto found = state.keyTable->find({row.word, kFlag});
        ASSERT_NE(found, state.keyTable->end()) << row.word;
        EXPECT_STREQ(found->word, row.word);
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
    for (std::size_t at = text.find('%'); at != text.npos; at = text.find('%', at + 1)) {
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
    for (MessageId id = 100; id <= 192; ++id) {
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

const struct {
    DWORD first;
    DWORD last;
} kErrorBlocks[] = {{100, 105}, {200, 211}, {300, 309}, {400, 404},
                    {500, 506}, {600, 602}, {700, 708}};

TEST_F(TablesTest, EveryErrorHasBothLanguages) {
    for (const auto& block : kErrorBlocks) {
        for (DWORD id = block.first; id <= block.last; ++id) {
            const TextPair& text = ErrorText(kOwnError | id);
            CheckPair(text, std::to_string(id), true);
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
