// The two catalogues, made of their rows.
#include "front/core/catalogue.h"

#include <algorithm>
#include <iterator>

#include "version/version.h"

namespace kestrel {

namespace {

struct Row {
    DWORD number;
    TextPair text;
};

#define TEXT_ROW(number, name, russian, english) {number, {russian, english}},
constexpr Row kMessages[] = {KESTREL_MESSAGE_ROWS(TEXT_ROW)};
constexpr Row kErrors[] = {KESTREL_ERROR_ROWS(TEXT_ROW)};
#undef TEXT_ROW

constexpr bool Ascending(const Row* first, const Row* last) {
    for (; first + 1 < last; ++first) {
        if (first[0].number >= first[1].number) return false;
    }
    return true;
}
static_assert(Ascending(std::begin(kMessages), std::end(kMessages)));
static_assert(Ascending(std::begin(kErrors), std::end(kErrors)));

template <std::size_t count>
const TextPair* FindText(const Row (&rows)[count], DWORD number) {
    const auto row = std::ranges::lower_bound(rows, number, {}, &Row::number);
    return row != std::end(rows) && row->number == number ? &row->text : nullptr;
}

}  // namespace

const TextPair& Message(MessageId id) { return *FindText(kMessages, static_cast<DWORD>(id)); }

const TextPair& ErrorText(DWORD code) {
    const TextPair* const text = FindText(kErrors, code & ~kOwnError);
    return text != nullptr ? *text : Message(say::kUnknownError);
}

const TextPair& Banner() {
    static constexpr TextPair kBanner = {"Kestrel, версия " KESTREL_VERSION,
                                         "Kestrel, version " KESTREL_VERSION};
    return kBanner;
}

}  // namespace kestrel
