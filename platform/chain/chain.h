// One chain from a caller's question to the public record.
#pragma once

#include <chrono>
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
// What several examinations may cost together, each within its own limits.
struct Allowance {
    Budget work;
    std::chrono::milliseconds waiting;  // for the network
};
// `additional` and `allowance` may be null. With an allowance whose work is exhausted the path is
// not to be relied on.
Examination ExamineChain(const std::shared_ptr<Certificate>& leaf,
                         const std::shared_ptr<Store>& additional, const ChainRequest& request,
                         DWORD flags, Allowance* allowance = nullptr);

}  // namespace platform
