// Paths from an end certificate to trust.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/ground.h"
#include "platform/chain/pool.h"

namespace platform {

// What a caller asks of a chain.
struct ChainRequest {
    FILETIME time{};                  // the moment at which the chain has to be valid
    std::vector<std::string> usages;  // dotted identifiers; empty: any use
    bool anyUsage = false;            // one of them will do
};

// One certificate of a path with its CERT_TRUST_* bits.
struct Link {
    std::shared_ptr<Certificate> certificate;
    DWORD error = 0;
    bool selfSigned = false;
};

struct Path {
    std::vector<Link> links;  // the end certificate first
    bool trusted = false;     // the last one stands in "Root"
    DWORD error = 0;          // bits that belong to no single certificate

    [[nodiscard]] DWORD Error() const {
        DWORD all = error;
        for (const Link& link : links) all |= link.error;
        return all;
    }
};

// The best path: one without fault, else one that is trusted, signed and valid in time,
// in this order of weight. Never empty. The search is bounded in depth and steps.
Path FindPath(const std::shared_ptr<Certificate>& leaf, const CertificatePool& pool,
              const ChainRequest& request);

// Sets the bits that a path's certificates earn by what they say: times, constraints and
// usages (RFC 5280 6.1). Signatures and trust are the search's, revocation comes later.
void CheckCertificates(Path& path, const ChainRequest& request);

// The extended key usages that a certificate is limited to; none: any use.
std::optional<std::vector<std::string>> UsagesOf(const Certificate& certificate);

}  // namespace platform
