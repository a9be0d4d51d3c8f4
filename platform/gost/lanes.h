// GOST 28147-89 in vector registers: several blocks at once, each substitution a shuffle of
// octets. For processors that have the instructions; HasLanes tells at run time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/gost/substitution.h"

namespace platform::gost {

bool HasLanes();

// Encrypts kLaneBlocks blocks of 8 octets. `in` and `out` may be the same, not overlap else.
inline constexpr std::size_t kLaneBlocks = 16;
void EncryptLanes(const Substitution& substitution, const std::array<std::uint32_t, 8>& key,
                  const std::uint8_t* in, std::uint8_t* out);

}  // namespace platform::gost
