// Asks the user for the password of a key container.
#pragma once

#include <optional>
#include <string>

#include "platform/base/bytes.h"

namespace platform {

// One hidden line from the terminal, or from standard input in a process that has none.
// `again`: the one before was wrong. Empty when the input ended instead.
std::optional<Secret> AskPassword(const std::string& container, bool again);

}  // namespace platform
