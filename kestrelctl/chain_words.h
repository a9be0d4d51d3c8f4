// What is wrong with a chain, in words.
#pragma once

#include <string>

#include "platform/chain/path.h"

namespace kestrelctl {

// Of CERT_TRUST_* bits; "good" for none.
std::string WordsOf(DWORD error);
// "not revoked", "revoked" or "unknown".
const char* WordOf(platform::Revocation revocation);

}  // namespace kestrelctl
