// Search, revocation and record of one chain.
#include "platform/chain/chain.h"

#include "platform/base/error.h"
#include "platform/base/ticks.h"
#include "platform/chain/path_cache.h"
#include "platform/chain/revocation.h"

namespace platform {
namespace {

const HCERTCHAINENGINE kMachineEngine = reinterpret_cast<HCERTCHAINENGINE>(1);

std::vector<Side> SidesOf(HCERTCHAINENGINE engine) {
    if (engine == nullptr) return {Side::User, Side::Machine};
    if (engine == kMachineEngine) return {Side::Machine};
    throw Error(E_INVALIDARG);
}

ChainRequest RequestOf(const FILETIME* time, const CERT_CHAIN_PARA& para) {
    ChainRequest request;
    request.time = time != nullptr ? *time : FileTimeOf(CurrentTicks());
    const CERT_USAGE_MATCH& match = para.RequestedUsage;
    request.anyUsage = match.dwType == USAGE_MATCH_TYPE_OR;
    for (DWORD i = 0; i < match.Usage.cUsageIdentifier; ++i) {
        request.usages.emplace_back(match.Usage.rgpszUsageIdentifier[i]);
    }
    return request;
}

RevocationSources SourcesFor(const CertificatePool& pool, const std::vector<Side>& sides) {
    RevocationSources sources;
    sources.push_back(StoreCrls(pool));
    for (const Side side : sides) sources.push_back(CachedCrls(HomeOf(side) / "cache"));
    return sources;
}

Path Judged(const std::shared_ptr<Certificate>& leaf, const ChainInputs& inputs) {
    const CertificatePool pool(*leaf, inputs.additional, inputs.sides);
    Budget budget;
    Path path = FindPath(leaf, pool, inputs.request, budget);
    CheckRevocation(path, inputs.flags, inputs.request.time, pool, SourcesFor(pool, inputs.sides));
    return path;
}

// Never destroyed: stores that its certificates stand in may not outlive it at exit.
PathCache& Cache() {
    static auto* const cache = new PathCache;
    return *cache;
}

}  // namespace

std::shared_ptr<Chain> BuildChain(const std::shared_ptr<Certificate>& leaf, HCERTCHAINENGINE engine,
                                  const std::shared_ptr<Store>& additional, const FILETIME* time,
                                  const CERT_CHAIN_PARA& para, DWORD flags) {
    const std::vector<Side> sides = SidesOf(engine);
    const ChainRequest request = RequestOf(time, para);
    const ChainInputs inputs{*leaf, additional, sides, time, request, flags};
    Path path = Cache().Get(KeyOf(inputs), [&] { return Judged(leaf, inputs); });
    // The caller's own context leads, though another of the same bytes was judged.
    path.links.front().certificate = leaf;
    return std::make_shared<Chain>(path);
}

}  // namespace platform
