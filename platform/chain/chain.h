// One chain from a caller's question to the public record.
#pragma once

#include <memory>
#include <vector>

#include "platform/chain/path.h"
#include "platform/chain/record.h"
#include "platform/chain/retriever.h"
#include "platform/stores/store.h"

namespace platform {

// `engine` is null or the machine's; `additional` and `time` may be null. Throws
// E_INVALIDARG for another engine, and what FindPath and damaged stores throw.
std::shared_ptr<Chain> BuildChain(const std::shared_ptr<Certificate>& leaf, HCERTCHAINENGINE engine,
                                  const std::shared_ptr<Store>& additional, const FILETIME* time,
                                  const CERT_CHAIN_PARA& para, DWORD flags);

// The same for those who explain chains: the path with what its verdicts rest on, made anew
// from the stores of both sides and `additional`, which may be null, and what was asked for on
// the way.
struct Examination {
    Path path;
    std::vector<Retrieval> retrievals;
};
// `additional` may be null.
Examination ExamineChain(const std::shared_ptr<Certificate>& leaf,
                         const std::shared_ptr<Store>& additional, const ChainRequest& request,
                         DWORD flags);

}  // namespace platform
