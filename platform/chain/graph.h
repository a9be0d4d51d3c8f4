// Who signed whom, among the certificates above an end certificate.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/chain/budget.h"
#include "platform/chain/path.h"
#include "platform/chain/pool.h"

namespace platform {

inline constexpr std::size_t kLongestPath = 16;

// Each certificate is looked at once, however many paths lead through it.
class SignedGraph {
  public:
    struct Node {
        std::shared_ptr<Certificate> certificate;
        std::vector<std::size_t> issuers;  // the nearest to trust first
        bool signedBy = false;    // the issuers have signed it; otherwise one bears the name
        bool explored = false;    // the fields below are filled in
        bool complete = true;     // no issuer was left out for want of budget
        std::string unsupported;  // algorithm that kept a signature from being checked
        bool trusted = false;
        bool selfIssued = false;
        bool selfSigned = false;
        std::size_t distance = kFar;  // certificates from here to trust, all signed
        DWORD faults = 0;             // what it says of itself, whatever its place
        DWORD usageFault = 0;
        CertificatePool::Certificates candidates;  // those still to be tried, the likeliest last
        std::map<std::string, bool> byKey;         // what their keys turned out to be
    };
    static constexpr std::size_t kFar = kLongestPath + 1;

    // The end certificate is node 0.
    SignedGraph(const std::shared_ptr<Certificate>& leaf, const CertificatePool& pool,
                const ChainRequest& request, Budget& budget);

    // Looks at certificates above, the likeliest first, and at what is above each before the next:
    // until one is trusted, or at all.
    void ExploreToTrust() { ExploreWhile(true); }
    void ExploreAll() { ExploreWhile(false); }

    [[nodiscard]] const Node& At(std::size_t index) const { return nodes_[index]; }
    [[nodiscard]] std::size_t Size() const { return nodes_.size(); }

  private:
    std::size_t Place(const std::shared_ptr<Certificate>& certificate);
    void ExploreWhile(bool untrusted);
    void Explore(std::size_t index);
    void TryIssuers(std::size_t index);
    void EndWithout(std::size_t index, const std::shared_ptr<Certificate>& likeliest);
    bool Signed(Node& node, const Certificate& issuer);
    void MeasureDistances();

    const CertificatePool& pool_;
    const ChainRequest& request_;
    Budget& budget_;
    std::vector<Node> nodes_;
    std::vector<std::size_t> pending_;                // the next one last
    std::map<std::string_view, std::size_t> places_;  // by encoding
};

}  // namespace platform
