#include "platform/chain/path.h"

#include <algorithm>
#include <map>
#include <utility>

#include "platform/chain/signature.h"

namespace platform {
namespace {

constexpr std::size_t kLongestPath = 16;
// Certificates of one name and many keys can span a tree; past this many signatures the
// best path so far has to do.
constexpr std::size_t kMostSignatures = 256;
constexpr std::size_t kMostPaths = 1024;

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
    PathSearch(const CertificatePool& pool, const ChainRequest& request)
        : pool_(pool), request_(request) {}

    Path Run(const std::shared_ptr<Certificate>& leaf) {
        Add(leaf);
        Extend();
        return std::move(best_);
    }

  private:
    void Add(const std::shared_ptr<Certificate>& certificate) {
        path_.links.push_back({certificate, 0, false});
    }

    // Depth is bounded by kLongestPath.
    void Extend() {
        Link& last = path_.links.back();
        last.selfSigned =
            IsSelfIssued(*last.certificate) && Signed(*last.certificate, *last.certificate);
        if (pool_.Trusts(*last.certificate)) return Offer(0, 0);
        if (last.selfSigned) return Offer(CERT_TRUST_IS_UNTRUSTED_ROOT, 0);
        const Issuers issuers = IssuersOf(*last.certificate);
        if (issuers.certificates.empty() || path_.links.size() == kLongestPath) {
            return OfferUnfinished(issuers.cyclic);
        }
        const DWORD mark = issuers.signedBy ? 0 : CERT_TRUST_IS_NOT_SIGNATURE_VALID;
        last.error = mark;
        for (const auto& issuer : issuers.certificates) {
            Add(issuer);
            Extend();
            path_.links.pop_back();
            if (Done()) break;
        }
        path_.links.back().error = 0;
    }

    struct Issuers {
        std::vector<std::shared_ptr<Certificate>> certificates;
        bool signedBy = false;  // they have signed; otherwise they only bear the name
        bool cyclic = false;    // some were left out since the path holds them already
    };

    Issuers IssuersOf(const Certificate& subject) {
        Issuers issuers;
        issuers.certificates = pool_.IssuersOf(subject, request_.time);
        issuers.cyclic = std::erase_if(issuers.certificates, [&](const auto& candidate) {
                             return InPath(*candidate);
                         }) > 0;
        const auto unsignedOnes =
            std::stable_partition(issuers.certificates.begin(), issuers.certificates.end(),
                                  [&](const auto& issuer) { return Signed(subject, *issuer); });
        issuers.signedBy = unsignedOnes != issuers.certificates.begin();
        if (issuers.signedBy) issuers.certificates.erase(unsignedOnes, issuers.certificates.end());
        return issuers;
    }

    bool InPath(const Certificate& certificate) const {
        return std::any_of(path_.links.begin(), path_.links.end(), [&](const Link& link) {
            return Equal(link.certificate->Der(), certificate.Der());
        });
    }

    bool Signed(const Certificate& certificate, const Certificate& issuer) {
        const auto [known, added] = signatures_.try_emplace({&certificate, &issuer}, false);
        if (added && signatures_.size() <= kMostSignatures) {
            known->second = SignedBy(certificate, issuer);
        }
        return known->second;
    }

    // A certificate that names itself as issuer and is not signed so was altered; another
    // one's issuer is missing.
    void OfferUnfinished(bool cyclic) {
        const Certificate& last = *path_.links.back().certificate;
        if (IsSelfIssued(last)) {
            return Offer(CERT_TRUST_IS_UNTRUSTED_ROOT | CERT_TRUST_IS_NOT_SIGNATURE_VALID, 0);
        }
        Offer(cyclic ? CERT_TRUST_IS_CYCLIC : 0, CERT_TRUST_IS_PARTIAL_CHAIN);
    }

    void Offer(DWORD lastError, DWORD pathError) {
        ++offered_;
        Path candidate = path_;
        candidate.links.back().error |= lastError;
        candidate.error = pathError;
        candidate.trusted = pool_.Trusts(*candidate.links.back().certificate);
        CheckCertificates(candidate, request_);
        if (best_.links.empty() || WeightOf(candidate.Error()) < WeightOf(best_.Error())) {
            best_ = std::move(candidate);
        }
    }

    bool Done() const {
        return best_.Error() == 0 || offered_ >= kMostPaths ||
               signatures_.size() >= kMostSignatures;
    }

    const CertificatePool& pool_;
    const ChainRequest& request_;
    Path path_;
    Path best_;
    std::size_t offered_ = 0;
    std::map<std::pair<const Certificate*, const Certificate*>, bool> signatures_;
};

}  // namespace

Path FindPath(const std::shared_ptr<Certificate>& leaf, const CertificatePool& pool,
              const ChainRequest& request) {
    return PathSearch(pool, request).Run(leaf);
}

}  // namespace platform
