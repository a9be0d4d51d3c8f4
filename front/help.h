// What the program says of itself: the list of its commands and the usage of each.
#pragma once

#include "front/core/catalogue.h"

namespace kestrel {

// The search criterion: its usage, an empty line, and a line for each of its words.
const TextPair& SearchCriterion();

void PrintCommandList();
// The usage of state.command.
void PrintCommandUsage();
// The search criterion, which the usage of most commands ends with.
void PrintSearchUsage();

}  // namespace kestrel
