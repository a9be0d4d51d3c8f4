// The one prompt for a line that does not show.
#pragma once

#include <optional>
#include <string>

#include "platform/base/bytes.h"

namespace platform {

// Shows the prompt on the terminal and reads one line from it without echo. In a process that
// has no terminal the line is the next one of standard input, where all other answers come
// from too, and nothing is shown. What is longer than any password is read and dropped. Empty
// when the input ended instead.
std::optional<Secret> AskHiddenLine(const std::string& prompt);

}  // namespace platform
