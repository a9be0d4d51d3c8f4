// What certificates say of themselves and of those below them, as CERT_TRUST_* bits
// (RFC 5280 6.1). Signatures and trust are the search's, revocation comes later.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <openssl/x509v3.h>

#include "platform/chain/budget.h"
#include "platform/chain/path.h"

namespace platform {

// Times, extensions, and a key that is long enough.
DWORD CheckAlone(const Certificate& certificate, const ChainRequest& request);
// Extended key usages against those that the caller wants.
DWORD CheckUsage(const Certificate& certificate, const ChainRequest& request);
// As issuer of what is below it, in a path with that many authorities in between.
DWORD CheckAsIssuer(const Certificate& certificate, bool anchor, long authoritiesBelow);

// The extended key usages that a certificate is limited to; none: any use.
std::optional<std::vector<std::string>> UsagesOf(const Certificate& certificate);

// Names against the constraints above them, for the paths of one search.
class NameChecker {
  public:
    explicit NameChecker(Budget& budget) : budget_(budget) {}
    void Check(Path& path);

  private:
    using Constraints = std::unique_ptr<NAME_CONSTRAINTS, Freer<NAME_CONSTRAINTS_free>>;

    NAME_CONSTRAINTS* ConstraintsOf(const Certificate& issuer);
    DWORD Violation(const Certificate& below, const Certificate& issuer,
                    NAME_CONSTRAINTS* constraints);

    Budget& budget_;
    std::map<const Certificate*, Constraints> constraints_;
    std::map<std::pair<const Certificate*, const Certificate*>, DWORD> results_;
};

// For the initial set "any policy".
void CheckPolicies(Path& path, Budget& budget);

}  // namespace platform
