// Masks of file names.
#pragma once

#include <string_view>

namespace platform {

// "*" stands for any run of characters, "?" for one (a byte that belongs to no character
// counts as one). "*.*" matches every name, with a dot or without. Letter case counts, as
// it does in names.
bool MatchesMask(std::string_view mask, std::string_view name) noexcept;

}  // namespace platform
