// The key table and the command-line parser.
#pragma once

#include "front/core/state.h"

namespace kestrel {

void BuildKeyTable();

// Masks among the file arguments are replaced by the names that match (front/masks.h).
// 0, kHelpAsked when the line asks for the usage of state.command and nothing else, or an
// own error code that was reported. Key values and
// file names refer to `arguments`, whose texts must outlive the run.
inline constexpr DWORD kHelpAsked = 2;
DWORD ParseCommandLine(int argumentCount, const char* const* arguments);

// The first given key with this word in set order, or null.
const GivenKey* FindKey(const char* word);
// Takes the first given key with this word out. True when there was one; `value`, if
// wanted, gets its value (null for none).
bool TakeKey(const char* word, const char** value = nullptr);

// 0 when no key is left, otherwise kWrongKey, reported with the first one's word.
DWORD RejectLeftoverKeys();

}  // namespace kestrel
