// The keys of time stamps.
#include "messages/stamp_keys.h"

#include <deque>

#include "front/core/keys.h"
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

// Keys as the parser leaves them.
class Stamps : public testing::Test {
  protected:
    void Give(const std::vector<Key>& keys) {
        state.givenKeys = std::make_unique<GivenKeys>();
        for (const Key& key : keys) {
            values_.push_back(key.value);
            state.givenKeys->insert({key.word, key.hasValue ? values_.back().c_str() : nullptr});
        }
    }
    void TearDown() override { state.givenKeys.reset(); }

  private:
    std::deque<std::string> values_;
};

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
