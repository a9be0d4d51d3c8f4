// The growth rules of an enumerator's name buffer, against a platform played from a script.
#include "selection/provider_enum.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace selection_tests {

namespace {

// Each answer of the platform: an error with the size that it asks for, or a name.
struct Answer {
    DWORD error;
    DWORD size;
    const char* name;
};

struct EnumRow {
    const char* name;
    std::vector<Answer> answers;
    std::uint32_t result;
    const char* trace;  // index/size of each call, and the names visited
    const char* stopAt = nullptr;
};

std::string Walk(const EnumRow& row, std::uint32_t& result) {
    std::string trace;
    std::size_t turn = 0;
    ATL2::CTextBufferT<char, 128> buffer;
    const auto call = [&](DWORD index, DWORD& type, char* name, DWORD& size) -> BOOL {
        trace += std::to_string(index) + "/" + std::to_string(size) + " ";
        if (turn >= row.answers.size()) {
            SetLastError(ERROR_NO_MORE_ITEMS);
            return FALSE;
        }
        const Answer& answer = row.answers[turn++];
        type = 75;
        if (answer.name) {
            std::memset(name, 'x', size);  // all of the room is there
            std::strcpy(name, answer.name);
            return TRUE;
        }
        size = answer.size;
        SetLastError(answer.error);
        return FALSE;
    };
    const auto visit = [&](DWORD type, const char* name) {
        trace += std::string(name) + (type == 75 ? " " : "? ");
        return !row.stopAt || std::strcmp(name, row.stopAt) != 0;
    };
    result = static_cast<std::uint32_t>(ATL2::EnumerateNames(buffer, call, visit));
    return trace;
}

TEST(ProviderEnum, TheNameBufferGrowsOnceForAName) {
    const EnumRow rows[] = {
        {"the visit stops it", {{0, 0, "a"}, {0, 0, "b"}}, 0, "0/128 a ", "a"},
        {"twice the room for the same index",
         {{0, 0, "a"}, {ERROR_MORE_DATA, 129, nullptr}, {0, 0, "b"}},
         0,
         "0/128 a 1/128 1/258 b 2/258 "},
        {"each name may grow it once",
         {{ERROR_MORE_DATA, 200, nullptr},
          {0, 0, "a"},
          {ERROR_MORE_DATA, 401, nullptr},
          {0, 0, "b"}},
         0,
         "0/128 0/400 a 1/400 1/802 b 2/802 "},
        {"asked again",
         {{ERROR_MORE_DATA, 200, nullptr}, {ERROR_MORE_DATA, 500, nullptr}},
         0x800700EA,
         "0/128 0/400 "},
        {"asked for what there is", {{ERROR_MORE_DATA, 128, nullptr}}, 0x800700EA, "0/128 "},
        {"a system error", {{ERROR_ACCESS_DENIED, 0, nullptr}}, 0x80070005, "0/128 "},
        {"a result value stays", {{0x80090020, 0, nullptr}}, 0x80090020, "0/128 "}};
    for (const EnumRow& row : rows) {
        std::uint32_t result = 1;
        EXPECT_EQ(Walk(row, result), row.trace) << row.name;
        EXPECT_EQ(result, row.result) << row.name;
    }
}

}  // namespace

}  // namespace selection_tests
