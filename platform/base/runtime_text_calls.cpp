// Text comparison of the C runtime.
#include <mbstring.h>

#include <cerrno>
#include <climits>
#include <cstring>

#include "platform/base/text.h"

namespace platform {
namespace {

constexpr int kNoComparison = INT_MAX;  // what the runtime answers to a null text

int Compare(const unsigned char* first, const unsigned char* second, std::size_t bytes) {
    if (first == nullptr || second == nullptr) {
        errno = EINVAL;
        return kNoComparison;
    }
    const auto view = [bytes](const unsigned char* text) {
        const char* narrow = reinterpret_cast<const char*>(text);
        return std::string_view(narrow, strnlen(narrow, bytes));
    };
    return CompareFolded(view(first), view(second));
}

}  // namespace
}  // namespace platform

using namespace platform;

int _mbsicmp(const unsigned char* first, const unsigned char* second) {
    return Compare(first, second, static_cast<std::size_t>(-1));
}

int _mbsnbicmp(const unsigned char* first, const unsigned char* second, std::size_t bytes) {
    return bytes == 0 ? 0 : Compare(first, second, bytes);
}
