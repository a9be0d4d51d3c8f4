// The usage texts of the commands, named in their rows.
#pragma once

#include <span>

#include "front/core/catalogue.h"
#include "front/core/command_rows.h"

namespace kestrel {

struct Usage {
    TextPair synopsis;  // begins with a blank, ends without a line feed
    // One for each word of the synopsis: a blank, the word padded to 13 columns, a blank,
    // the sentence; sentences go on in the same column. Each ends with a line feed.
    std::span<const TextPair* const> lines;
};

#define DECLARE_USAGE(number, word, routine, usage, ...) extern const Usage usage;
KESTREL_COMMAND_ROWS(DECLARE_USAGE)
#undef DECLARE_USAGE

}  // namespace kestrel
