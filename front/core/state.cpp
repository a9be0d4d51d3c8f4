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
    const size_t shorter = std::min(std::strlen(first.word), std::strlen(second.word));
    return _mbsnbicmp(Bytes(first.word), Bytes(second.word), shorter);
}

int CompareValues(const char* first, const char* second) {
    if (IsWildcard(first) || IsWildcard(second)) return 0;
    return _mbsicmp(Bytes(first != nullptr ? first : ""), Bytes(second != nullptr ? second : ""));
}

}  // namespace

bool KeyDefinitionOrder::operator()(const KeyDefinition& first, const KeyDefinition& second) const {
    return CompareWords(first, second) < 0;
}

bool GivenKeyOrder::operator()(const GivenKey& first, const GivenKey& second) const {
    const int words = _mbsicmp(Bytes(first.word), Bytes(second.word));
    return words != 0 ? words < 0 : CompareValues(first.value, second.value) < 0;
}

}  // namespace kestrel
