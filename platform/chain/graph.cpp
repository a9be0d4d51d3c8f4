// The walk over issuers, and the way back from trust.
#include "platform/chain/graph.h"

#include <algorithm>
#include <string_view>

#include "platform/certs/compare.h"
#include "platform/certs/signature.h"
#include "platform/chain/checks.h"

namespace platform {
namespace {

constexpr std::uint64_t kNodePrice = 50'000;
constexpr std::uint64_t kCandidatePrice = 200;

std::string_view TextOf(ByteView view) {
    return {reinterpret_cast<const char*>(view.data()), view.size()};
}

// All of a key that decides a check: many certificates may carry one key.
std::string TextOf(const CERT_PUBLIC_KEY_INFO& key) {
    std::string text = key.Algorithm.pszObjId;
    for (const ByteView part : {ViewOf(key.Algorithm.Parameters), ViewOf(key.PublicKey)}) {
        text += '/' + std::to_string(part.size()) + '/';
        text += TextOf(part);
    }
    return text;
}

}  // namespace

SignedGraph::SignedGraph(const std::shared_ptr<Certificate>& leaf, const CertificatePool& pool,
                         const ChainRequest& request, Budget& budget)
    : pool_(pool), request_(request), budget_(budget) {
    pending_.push_back(Place(leaf));
}

void SignedGraph::ExploreWhile(bool untrusted) {
    bool trust = false;
    while (!pending_.empty() && !(untrusted && trust)) {
        const std::size_t index = pending_.back();
        pending_.pop_back();
        if (!nodes_[index].explored) {
            Explore(index);
            trust = nodes_[index].explored && nodes_[index].trusted;
        }
        TryIssuers(index);
    }
    MeasureDistances();
}

std::size_t SignedGraph::Place(const std::shared_ptr<Certificate>& certificate) {
    const auto [place, added] = places_.try_emplace(TextOf(certificate->Der()), nodes_.size());
    if (added) {
        Node& node = nodes_.emplace_back();
        node.certificate = certificate;
        node.trusted = pool_.Trusts(*certificate);
    }
    return place->second;
}

void SignedGraph::Explore(std::size_t index) {
    Node& node = nodes_[index];
    const Certificate& certificate = *node.certificate;
    node.explored = budget_.Spend(kNodePrice) || index == 0;
    if (!node.explored) return;
    node.faults = CheckAlone(certificate, request_);
    node.usageFault = CheckUsage(certificate, request_);
    node.selfIssued = IsSelfIssued(certificate);
    node.selfSigned = node.selfIssued && Signed(node, certificate);
    if (node.trusted || node.selfSigned) return;
    CertificatePool::Certificates candidates = pool_.IssuersOf(certificate, request_.time);
    std::erase_if(candidates, [&](const auto& candidate) {
        return Equal(candidate->Der(), certificate.Der());
    });
    node.complete = budget_.Spend(kCandidatePrice * candidates.size());
    if (!node.complete) return;
    std::reverse(candidates.begin(), candidates.end());
    node.candidates = std::move(candidates);
}

// Up to the first that signed. What is above it comes next, and then those behind it.
void SignedGraph::TryIssuers(std::size_t index) {
    std::shared_ptr<Certificate> likeliest;
    while (!nodes_[index].candidates.empty()) {
        Node& node = nodes_[index];
        const auto candidate = std::move(node.candidates.back());
        node.candidates.pop_back();
        if (!likeliest) likeliest = candidate;
        const auto [verdict, added] =
            node.byKey.try_emplace(TextOf(candidate->Info().SubjectPublicKeyInfo), false);
        if (added) verdict->second = Signed(node, *candidate);
        if (!node.complete) node.candidates.clear();
        if (!verdict->second) continue;
        node.signedBy = true;
        const std::size_t issuer = Place(candidate);
        nodes_[index].issuers.push_back(issuer);
        pending_.push_back(index);
        pending_.push_back(issuer);
        return;
    }
    nodes_[index].byKey.clear();
    if (likeliest) EndWithout(index, likeliest);
}

// Where nobody signed, the likeliest of those that bear the name stands for them.
void SignedGraph::EndWithout(std::size_t index, const std::shared_ptr<Certificate>& likeliest) {
    if (nodes_[index].signedBy || !nodes_[index].complete) return;
    const std::size_t issuer = Place(likeliest);
    nodes_[index].issuers.push_back(issuer);
    pending_.push_back(issuer);
}

bool SignedGraph::Signed(Node& node, const Certificate& issuer) {
    const CERT_PUBLIC_KEY_INFO& key = issuer.Info().SubjectPublicKeyInfo;
    const ByteView der = node.certificate->Der();
    if (!budget_.SpendSignature(key, der.size())) {
        node.complete = false;
        return false;
    }
    const SignatureVerdict verdict = CheckSignature(der, key);
    if (verdict.state == SignatureState::Unsupported) node.unsupported = verdict.algorithm;
    return verdict.state == SignatureState::Good;
}

void SignedGraph::MeasureDistances() {
    std::vector<std::vector<std::size_t>> subjects(nodes_.size());
    std::vector<std::size_t> reached;
    for (std::size_t index = 0; index < nodes_.size(); ++index) {
        Node& node = nodes_[index];
        node.distance = kFar;
        if (node.signedBy) {
            for (const std::size_t issuer : node.issuers) subjects[issuer].push_back(index);
        }
        if (!node.trusted || !node.explored) continue;
        node.distance = 0;
        reached.push_back(index);
    }
    for (std::size_t next = 0; next < reached.size(); ++next) {
        const std::size_t distance = nodes_[reached[next]].distance + 1;
        for (const std::size_t subject : subjects[reached[next]]) {
            if (nodes_[subject].distance <= distance) continue;
            nodes_[subject].distance = distance;
            reached.push_back(subject);
        }
    }
    for (Node& node : nodes_) {
        std::stable_sort(node.issuers.begin(), node.issuers.end(),
                         [&](std::size_t first, std::size_t second) {
                             return nodes_[first].distance < nodes_[second].distance;
                         });
    }
}

}  // namespace platform
