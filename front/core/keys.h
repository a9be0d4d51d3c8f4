// The keys of the command line: their table, reading the line, and taking keys out of it.
#pragma once

#include "front/core/result.h"
#include "front/core/state.h"

namespace kestrel {

void BuildKeyTable();

// 0, kHelpAsked when the line asks for the usage of state.command and nothing else, or an
// own error code. Key values and file names refer to `arguments`, whose texts must outlive
// the run.
inline constexpr DWORD kHelpAsked = 2;
Reported ParseCommandLine(int argumentCount, const char* const* arguments);

// The first given key with this word in set order, or null.
const GivenKey* FindKey(const char* word);
// Takes the first given key with this word out. True when there was one; `value`, if
// wanted, gets its value (null for none).
bool TakeKey(const char* word, const char** value = nullptr);

// 0 when no key is left, otherwise kWrongKey, reported with the first one's word.
Reported RejectLeftoverKeys();

}  // namespace kestrel
