// What the program says of itself: the list of its commands and the usage of each.
#pragma once

namespace kestrel {

void PrintCommandList();
// The usage of state.command.
void PrintCommandUsage();
// The search criterion, which the usage of most commands ends with.
void PrintSearchUsage();

}  // namespace kestrel
