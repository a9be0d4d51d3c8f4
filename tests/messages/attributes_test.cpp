// Attributes of the command line, and the keys of time stamps.
#include "messages/attributes.h"

#include <cstring>
#include <deque>

#include "front/core/catalogue.h"
#include "front/core/keys.h"
#include "messages/stamp_keys.h"
#include "stamps/stamps.h"
#include "tests/messages/support.h"

namespace messages_tests {
namespace {

using namespace kestrel;
using std::string_literals::operator""s;

struct Key {
    const char* word;
    std::string value;
    bool hasValue = true;
};

// Keys as the parser leaves them, with values that may be cut in place.
class KeyedTest : public FolderTest {
  protected:
    void Give(const std::vector<Key>& keys) {
        state.givenKeys = std::make_unique<GivenKeys>();
        for (const Key& key : keys) {
            values_.push_back(key.value);
            state.givenKeys->insert({key.word, key.hasValue ? values_.back().c_str() : nullptr});
        }
    }
    void TearDown() override {
        state.givenKeys.reset();
        FolderTest::TearDown();
    }

  private:
    std::deque<std::string> values_;
};

class Attributes : public KeyedTest {};

struct AttributeRow {
    const char* name;
    std::vector<std::string> values;  // "@" stands for the test's folder and a slash
    DWORD code;
    std::vector<std::pair<std::string, std::string>> attributes;
};

const AttributeRow kAttributes[] = {
    {"none", {}, 0, {}},
    {"two, in the order of the set",
     {"2.5,@abc", "1.2.3,@text"},
     0,
     {{"1.2.3", "MUJD"}, {"2.5", "abc"}}},
    {"a comma in the file's name", {"1.2.3,@a,b"}, 0, {{"1.2.3", "comma"}}},
    {"an empty file", {"1.2.3,@empty"}, 0, {{"1.2.3", ""}}},
    {"an empty identifier", {",@abc"}, 0, {{"", "abc"}}},
    {"no comma", {"1.2.3"}, ERROR_INVALID_PARAMETER, {}},
    {"a missing file", {"1.2.3,@missing"}, kCannotOpenFile, {}},
};

TEST_F(Attributes, Parse) {
    Store("abc", "abc");
    Store("text", "MUJD");
    Store("empty", "");
    Store("a,b", "comma");
    for (const AttributeRow& row : kAttributes) {
        std::vector<Key> keys = {{"authattr", "9.9,other"}};
        for (std::string value : row.values) {
            if (const size_t at = value.find('@'); at != std::string::npos) {
                value.replace(at, 1, PathOf(""));
            }
            keys.push_back({"attr", value});
        }
        Give(keys);
        AttributeList list;
        DWORD code = 1;
        const std::string report = Printed([&] { code = ParseAttributes("attr", list); });
        EXPECT_EQ(code, row.code) << row.name;
        EXPECT_EQ(report.empty(), row.code != kCannotOpenFile) << row.name << report;
        ASSERT_EQ(list.count, row.attributes.size()) << row.name;
        for (DWORD i = 0; i < list.count; ++i) {
            const CRYPT_ATTRIBUTE& attribute = list.attributes[i];
            EXPECT_EQ(attribute.pszObjId, row.attributes[i].first) << row.name;
            ASSERT_EQ(attribute.cValue, 1U) << row.name;
            const CRYPT_ATTR_BLOB& blob = *attribute.rgValue;
            EXPECT_EQ(std::string(blob.pbData, blob.pbData + blob.cbData), row.attributes[i].second)
                << row.name;
        }
        EXPECT_NE(FindKey("authattr"), nullptr) << row.name << ": other keys stay";
        EXPECT_EQ(FindKey("attr") == nullptr, true) << row.name;
    }
}

// ---- the keys of time stamps -------------------------------------------------

class Stamps : public KeyedTest {};

struct StampRow {
    const char* name;
    std::vector<Key> keys;
    const char* content;
    const char* signature;
};

const Key kBareContent = {"sd", "", false};
const Key kBareSignature = {"ss", "", false};

const StampRow kStamps[] = {
    {"none", {}, nullptr, nullptr},
    {"both bare", {kBareContent, kBareSignature}, "", ""},
    {"the content's address serves both",
     {{"sd", "http://a"}, kBareSignature},
     "http://a",
     "http://a"},
    {"the signature's address serves both",
     {kBareContent, {"ss", "http://b"}},
     "http://b",
     "http://b"},
    {"each its own", {{"sd", "http://a"}, {"ss", "http://b"}}, "http://a", "http://b"},
};

TEST_F(Stamps, Addresses) {
    for (const StampRow& row : kStamps) {
        Give(row.keys);
        const StampKeys keys = TakeStampKeys();
        const auto text = [](const char* value) { return value ? value : "(none)"s; };
        EXPECT_EQ(text(keys.contentUrl), text(row.content)) << row.name;
        EXPECT_EQ(text(keys.signatureUrl), text(row.signature)) << row.name;
        EXPECT_TRUE(state.givenKeys->empty()) << row.name;
    }
}

}  // namespace
}  // namespace messages_tests
