// The process-wide record, and the order of the sets in it.
#include "front/core/state.h"

#include <mbstring.h>

#include <algorithm>
#include <cstring>

namespace kestrel {

ProgramState state;

namespace {

const unsigned char* Bytes(const char* text) {
    return reinterpret_cast<const unsigned char*>(text);
}

bool IsWildcard(const char* value) { return value != nullptr && value[0] == kWildcardValue[0]; }

int CompareWords(const KeyDefinition& first, const KeyDefinition& second) {
    if (first.keyClass != kAttached && second.keyClass != kAttached) {
        return _mbsicmp(Bytes(first.word), Bytes(second.word));
    }
    const std::size_t shorter = std::min(std::strlen(first.word), std::strlen(second.word));
    return _mbsnbicmp(Bytes(first.word), Bytes(second.word), shorter);
}

// Folded first, so that the order does not depend on the kind.
int CompareValues(const GivenKey& first, const GivenKey& second) {
    if (IsWildcard(first.value) || IsWildcard(second.value)) return 0;
    const char* const one = first.value != nullptr ? first.value : "";
    const char* const other = second.value != nullptr ? second.value : "";
    const int folded = _mbsicmp(Bytes(one), Bytes(other));
    return folded != 0 || first.valueKind != ValueKind::File ? folded : std::strcmp(one, other);
}

}  // namespace

bool KeyDefinitionOrder::operator()(const KeyDefinition& first, const KeyDefinition& second) const {
    return CompareWords(first, second) < 0;
}

bool GivenKeyOrder::operator()(const GivenKey& first, const GivenKey& second) const {
    const int words = _mbsicmp(Bytes(first.word), Bytes(second.word));
    return words != 0 ? words < 0 : CompareValues(first, second) < 0;
}

}  // namespace kestrel
