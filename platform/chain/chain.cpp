// Search, revocation and record of one chain.
#include "platform/chain/chain.h"

#include "platform/base/error.h"
#include "platform/base/ticks.h"
#include "platform/chain/graph.h"
#include "platform/chain/online_source.h"
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

RevocationSources SourcesFor(const CertificatePool& pool, Retriever& retriever) {
    RevocationSources sources;
    sources.push_back(StoreCrls(pool));
    sources.push_back(OnlineAnswers(retriever, pool));
    return sources;
}

// Whoever does not want to know of revocations wants no network.
bool MayFetch(DWORD flags) {
    constexpr DWORD kRevocation = CERT_CHAIN_REVOCATION_CHECK_END_CERT |
                                  CERT_CHAIN_REVOCATION_CHECK_CHAIN |
                                  CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT;
    return (flags & kRevocation) != 0 && (flags & CERT_CHAIN_CACHE_ONLY_URL_RETRIEVAL) == 0 &&
           RetrievalAllowed();
}

// While an issuer is missing, the certificate may tell where it is.
Path FindWithIssuers(const std::shared_ptr<Certificate>& leaf, CertificatePool& pool,
                     const ChainRequest& request, Retriever& retriever, Budget* whole) {
    Budget budget(Budget::kForSearch, whole);
    Path path = FindPath(leaf, pool, request, budget);
    for (std::size_t step = 1; step < kLongestPath; ++step) {
        if ((path.error & CERT_TRUST_IS_PARTIAL_CHAIN) == 0) break;
        const auto issuers = FetchIssuers(retriever, *path.links.back().certificate);
        if (issuers.empty()) break;
        pool.Add(issuers);
        path = FindPath(leaf, pool, request, budget);
    }
    return path;
}

Path Judged(const std::shared_ptr<Certificate>& leaf, const ChainInputs& inputs,
            Retriever& retriever, Budget* whole) {
    CertificatePool pool(*leaf, inputs.additional, inputs.sides);
    Path path = FindWithIssuers(leaf, pool, inputs.request, retriever, whole);
    CheckRevocation(path, inputs.flags, inputs.request.time, pool, SourcesFor(pool, retriever),
                    whole);
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
    Path path = Cache().Get(inputs, [&] {
        Retriever retriever(sides, MayFetch(flags));
        return Judged(leaf, inputs, retriever, nullptr);
    });
    // The caller's own context leads, though another of the same bytes was judged.
    path.links.front().certificate = leaf;
    return std::make_shared<Chain>(path);
}

Examination ExamineChain(const std::shared_ptr<Certificate>& leaf,
                         const std::shared_ptr<Store>& additional, const ChainRequest& request,
                         DWORD flags, Allowance* allowance) {
    const std::vector<Side> sides = SidesOf(nullptr);
    const ChainInputs inputs{*leaf, additional, sides, &request.time, request, flags};
    Retriever retriever(sides, MayFetch(flags),
                        allowance != nullptr ? &allowance->waiting : nullptr);
    Examination examination;
    examination.path =
        Judged(leaf, inputs, retriever, allowance != nullptr ? &allowance->work : nullptr);
    examination.retrievals = retriever.Log();
    return examination;
}

}  // namespace platform
