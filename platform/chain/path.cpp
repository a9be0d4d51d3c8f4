// The search for the best path through the graph of signatures.
#include "platform/chain/path.h"

#include <openssl/err.h>

#include <algorithm>
#include <utility>

#include "platform/base/error.h"
#include "platform/chain/checks.h"
#include "platform/chain/graph.h"

namespace platform {
namespace {

constexpr std::uint64_t kStepPrice = 2'000;
constexpr std::uint64_t kPathPrice = 20'000;

struct Weight {
    DWORD error;
    unsigned weight;
};

// How much a fault speaks against a path. The rest weighs 1.
constexpr Weight kWeights[] = {
    {CERT_TRUST_IS_NOT_SIGNATURE_VALID, 256},  {CERT_TRUST_IS_PARTIAL_CHAIN, 128},
    {CERT_TRUST_IS_UNTRUSTED_ROOT, 64},        {CERT_TRUST_IS_NOT_TIME_VALID, 32},
    {CERT_TRUST_INVALID_BASIC_CONSTRAINTS, 8}, {CERT_TRUST_IS_NOT_VALID_FOR_USAGE, 8},
};

unsigned WeightOf(DWORD error) {
    unsigned weight = error != 0 ? 1 : 0;
    for (const Weight& row : kWeights) {
        if ((error & row.error) != 0) weight += row.weight;
    }
    return weight;
}

class PathSearch {
  public:
    PathSearch(const SignedGraph& graph, Budget& budget)
        : graph_(graph), budget_(budget), names_(budget) {}

    // Through what the graph knows by now. True for a path without fault.
    bool Run() {
        trustOnly_ = graph_.At(0).distance < kLongestPath;
        inPath_.assign(graph_.Size(), false);
        best_ = {};
        Extend(0, 0, 0);
        return best_.Error() == 0;
    }

    Path Result() {
        ERR_clear_error();
        ThrowUnsupported();
        AddInfo();
        return std::move(best_);
    }

  private:
    // Depth is bounded by kLongestPath. `bits` are those of the links so far: faults only
    // ever add up, so a beginning that is no better than the best path leads nowhere.
    void Extend(std::size_t index, DWORD bits, long authoritiesBelow) {
        const SignedGraph::Node& node = graph_.At(index);
        const DWORD own = ErrorOf(node, authoritiesBelow);
        if (!Better(bits | own)) return;
        nodes_.push_back(index);
        path_.links.push_back({node.certificate, own, 0, node.selfSigned});
        inPath_[index] = true;
        if (node.trusted) {
            Offer(0, 0);
        } else if (node.selfSigned) {
            Offer(CERT_TRUST_IS_UNTRUSTED_ROOT, 0);
        } else {
            const bool counts = path_.links.size() > 1 && !node.selfIssued;
            ExtendBehind(node, bits | own, authoritiesBelow + (counts ? 1 : 0));
        }
        inPath_[index] = false;
        path_.links.pop_back();
        nodes_.pop_back();
    }

    void ExtendBehind(const SignedGraph::Node& node, DWORD bits, long authoritiesBelow) {
        bool cyclic = false;
        bool extended = false;
        const DWORD mark = node.signedBy ? 0 : CERT_TRUST_IS_NOT_SIGNATURE_VALID;
        for (const std::size_t issuer : node.issuers) {
            if (Done()) return;
            cyclic = cyclic || inPath_[issuer];
            if (inPath_[issuer] || !Leads(issuer)) continue;
            extended = true;
            const std::size_t place = path_.links.size() - 1;
            const DWORD before = path_.links[place].error;
            path_.links[place].error |= mark;
            static_cast<void>(budget_.Spend(kStepPrice));
            Extend(issuer, bits | mark, authoritiesBelow);
            path_.links[place].error = before;
        }
        if (!extended) OfferUnfinished(node, cyclic);
    }

    [[nodiscard]] DWORD ErrorOf(const SignedGraph::Node& node, long authoritiesBelow) const {
        DWORD error = node.faults;
        if (path_.links.empty()) return error | node.usageFault;
        error |= CheckAsIssuer(*node.certificate, node.trusted, authoritiesBelow);
        return node.trusted ? error : error | node.usageFault;
    }

    // Room for the issuer, about which all is known, and, where trust can be reached, for the way
    // there.
    [[nodiscard]] bool Leads(std::size_t issuer) const {
        const std::size_t behind = trustOnly_ ? graph_.At(issuer).distance : 0;
        return graph_.At(issuer).explored && path_.links.size() + 1 + behind <= kLongestPath;
    }

    [[nodiscard]] bool Better(DWORD error) const {
        return best_.links.empty() || WeightOf(error) < WeightOf(best_.Error());
    }

    // A certificate that names itself as issuer and is not signed so was altered; another
    // one's issuer is missing.
    void OfferUnfinished(const SignedGraph::Node& node, bool cyclic) {
        if (node.selfIssued && node.complete) {
            return Offer(CERT_TRUST_IS_UNTRUSTED_ROOT | CERT_TRUST_IS_NOT_SIGNATURE_VALID, 0);
        }
        Offer(cyclic ? CERT_TRUST_IS_CYCLIC : 0, CERT_TRUST_IS_PARTIAL_CHAIN);
    }

    // Names and policies cost most, and matter where the rest is in order.
    void Offer(DWORD lastError, DWORD pathError) {
        static_cast<void>(budget_.Spend(kPathPrice));
        Path candidate = path_;
        candidate.links.back().error |= lastError;
        candidate.error = pathError;
        candidate.trusted = graph_.At(nodes_.back()).trusted;
        if (!Better(candidate.Error())) return;
        if (candidate.trusted && (candidate.Error() & CERT_TRUST_IS_NOT_SIGNATURE_VALID) == 0) {
            names_.Check(candidate);
            CheckPolicies(candidate, budget_);
            if (!Better(candidate.Error())) return;
        }
        best_ = std::move(candidate);
        bestNodes_ = nodes_;
    }

    [[nodiscard]] bool Done() const {
        return !best_.links.empty() && (best_.Error() == 0 || budget_.Exhausted());
    }

    void ThrowUnsupported() const {
        for (std::size_t i = 0; i < best_.links.size(); ++i) {
            const SignedGraph::Node& node = graph_.At(bestNodes_[i]);
            const bool unchecked = !node.signedBy && !node.trusted && !node.unsupported.empty();
            if (unchecked && (best_.links[i].error & CERT_TRUST_IS_NOT_SIGNATURE_VALID) != 0) {
                throw Error(NTE_BAD_ALGID, node.unsupported);
            }
        }
    }

    void AddInfo() {
        for (std::size_t i = 0; i < best_.links.size(); ++i) {
            Link& link = best_.links[i];
            const bool last = i + 1 == best_.links.size();
            if (last && !link.selfSigned) continue;  // its issuer was not found
            const Certificate& issuer = *best_.links[last ? i : i + 1].certificate;
            link.info =
                MatchOf(*link.certificate, issuer) | (last ? CERT_TRUST_IS_SELF_SIGNED : 0U);
            if (last || graph_.At(bestNodes_[i]).signedBy) {
                link.info |= CERT_TRUST_HAS_PREFERRED_ISSUER;
            }
        }
    }

    const SignedGraph& graph_;
    Budget& budget_;
    NameChecker names_;
    bool trustOnly_ = false;
    Path path_;
    Path best_;
    std::vector<std::size_t> nodes_;  // of path_
    std::vector<std::size_t> bestNodes_;
    std::vector<bool> inPath_;
};

}  // namespace

Path FindPath(const std::shared_ptr<Certificate>& leaf, const CertificatePool& pool,
              const ChainRequest& request, Budget& budget) {
    SignedGraph graph(leaf, pool, request, budget);
    PathSearch search(graph, budget);
    graph.ExploreToTrust();
    if (!search.Run()) {
        graph.ExploreAll();
        search.Run();
    }
    return search.Result();
}

}  // namespace platform
