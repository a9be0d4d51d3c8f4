// Paths from an end certificate to trust.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/base/ground.h"
#include "platform/chain/budget.h"
#include "platform/chain/crl_judge.h"
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
    DWORD info = 0;
    bool selfSigned = false;
    Revocation revocation = Revocation::Unknown;  // with its evidence, where it was asked for
    Evidence evidence{};
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

// The best path: one without fault, else one that is signed, trusted and valid in time, in
// this order of weight. Never empty. Bounded in depth, and by `budget` in work: when that
// is used up the best so far has to do. Throws NTE_BAD_ALGID with the algorithm's identifier
// when nothing better was found than a signature that this platform cannot check, and
// CRYPT_E_ASN1_CORRUPT for an end certificate that cannot be read.
Path FindPath(const std::shared_ptr<Certificate>& leaf, const CertificatePool& pool,
              const ChainRequest& request, Budget& budget);

}  // namespace platform
