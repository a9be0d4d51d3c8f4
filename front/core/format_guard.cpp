#include "front/core/format_guard.h"

namespace kestrel {

namespace {

constexpr int kLongestNumber = 3;

// How much of `text` is made of `set`, up to `limit` characters.
size_t CountOf(std::string_view text, std::string_view set, size_t limit) {
    size_t count = 0;
    while (count < limit && count < text.size() && set.find(text[count]) != set.npos) ++count;
    return count;
}

void Skip(std::string_view& text, std::string_view set, size_t limit) {
    text.remove_prefix(CountOf(text, set, limit));
}

// Takes one conversion, without its percent sign, off `text` and its argument off
// `arguments`.
bool TakeConversion(std::string_view& text, std::string_view& arguments) {
    constexpr std::string_view kDigits = "0123456789";
    Skip(text, "-+ #", 4);
    Skip(text, kDigits, kLongestNumber);
    if (CountOf(text, ".", 1) != 0) {
        text.remove_prefix(1);
        Skip(text, kDigits, kLongestNumber);
    }
    const size_t modifiers = CountOf(text, "hl", 2);
    text.remove_prefix(modifiers);
    if (text.empty() || arguments.empty()) return false;

    const char conversion = text.front();
    const bool isText = conversion == 's' && modifiers == 0 && arguments.front() == 's';
    const bool isNumber = std::string_view("diouxX").find(conversion) != std::string_view::npos;
    text.remove_prefix(1);
    arguments.remove_prefix(1);
    return isText || isNumber;
}

}  // namespace

bool FitsFormatter(const char* text, std::string_view arguments) {
    std::string_view rest = text;
    while (true) {
        const size_t percent = rest.find('%');
        if (percent == rest.npos) return true;
        rest.remove_prefix(percent + 1);
        if (CountOf(rest, "%", 1) != 0) {
            rest.remove_prefix(1);
        } else if (!TakeConversion(rest, arguments)) {
            return false;
        }
    }
}

}  // namespace kestrel
