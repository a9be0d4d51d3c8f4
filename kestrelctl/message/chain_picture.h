// The chain of a certificate in the report, as a picture and in words.
#pragma once

#include <string>

#include "kestrelctl/message/chains.h"

namespace kestrelctl::message {

// SVG, its root above. Boxes grow with their text.
std::string ChainPicture(const ChainFacts& chain, bool russian);

// What the picture has no room for: whole names, and who told of revocation, and when.
std::string ChainList(const ChainFacts& chain, bool russian);

}  // namespace kestrelctl::message
