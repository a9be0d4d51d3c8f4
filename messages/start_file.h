// Starting a file with the program for its kind.
#pragma once

namespace kestrel {

// Tells the user and opens the file with its own program, without waiting. Whether that
// works is the desktop's matter and no failure of the command.
void StartFile(const char* name);

}  // namespace kestrel
