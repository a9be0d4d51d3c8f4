// BASE64 that arrives in pieces.
#include "platform/stores/bundle_text.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/base/error.h"

namespace platform::testing {
namespace {

// The octets of `text`, cut at `at`; "refused" when either half or the end is.
std::string Decoded(std::string_view text, std::size_t at) {
    try {
        Base64Reader reader;
        Bytes octets = reader.Feed(ViewOf(text.substr(0, at)));
        const Bytes more = reader.Feed(ViewOf(text.substr(at)));
        octets.insert(octets.end(), more.begin(), more.end());
        reader.Finish();
        return {octets.begin(), octets.end()};
    } catch (const Error&) {
        return "refused";
    }
}

// Values of RFC 4648 10, wherever the text is cut.
TEST(Base64Reader, IsTheSameInPieces) {
    const struct {
        const char* text;
        const char* octets;
    } rows[] = {
        {"Zm9vYmFy", "foobar"},
        {"Zm9v\r\nYmFy\r\n", "foobar"},
        {"Zm\t9 vYg\r\n==", "foob"},
        {"Z\nm\n9\nvYmE=", "fooba"},
        {"Zm9v-----END X", "foo"},
        {"Zm9vYg==\n-----END", "foob"},
        {"  \r\n", ""},
        {"Zm9vY", "refused"},
        {"Zm9vYg=", "refused"},
        {"Zm9v!mFy", "refused"},
        {"Zm9vY\x80g=", "refused"},
        {"Zm9vZ===", "refused"},
    };
    // Long enough for what is decoded a block at a time, with line ends at and within groups.
    std::string lead;
    std::string before;
    for (int line = 0; line < 5; ++line) {
        lead += "Zm9vYmFyZm9vYmFyZm9vYmFyZm9vYmFyZm9vYmFyZm9vYmFyZm9vYmFy\r\nZm9vYm\nFy";
        for (int word = 0; word < 8; ++word) before += "foobar";
    }
    for (const auto& row : rows) {
        const std::string text = lead + row.text;
        const std::string octets(row.octets);
        for (std::size_t at = 0; at <= text.size(); ++at) {
            EXPECT_EQ(Decoded(text, at), octets == "refused" ? octets : before + octets)
                << text << " at " << at;
            const std::size_t place = std::min(at, std::string_view(row.text).size());
            EXPECT_EQ(Decoded(row.text, place), octets) << row.text << " at " << place;
        }
    }
}

}  // namespace
}  // namespace platform::testing
