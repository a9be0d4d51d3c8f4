// One chain from a caller's question to the public record.
#pragma once

#include <memory>

#include "platform/chain/path.h"
#include "platform/chain/record.h"
#include "platform/stores/store.h"

namespace platform {

// `engine` is null or the machine's; `additional` and `time` may be null. Throws
// E_INVALIDARG for another engine, and what FindPath and damaged stores throw.
std::shared_ptr<Chain> BuildChain(const std::shared_ptr<Certificate>& leaf, HCERTCHAINENGINE engine,
                                  const std::shared_ptr<Store>& additional, const FILETIME* time,
                                  const CERT_CHAIN_PARA& para, DWORD flags);

}  // namespace platform
