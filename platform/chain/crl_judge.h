// What a set of CRLs says of one certificate (RFC 5280 6.3.3).
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/base/ground.h"
#include "platform/certs/certificate.h"
#include "platform/chain/budget.h"
#include "platform/chain/crl_scope.h"

namespace platform {

enum class Revocation { Unknown, Good, Revoked };

// Other certificates of the name of a CRL's issuer, which may carry a key that signs its CRLs:
// after a change of keys, where lists have a key of their own, and for indirect CRLs.
class OtherSigners {
  public:
    virtual ~OtherSigners() = default;
    virtual std::vector<std::shared_ptr<Certificate>> Of(const CERT_NAME_BLOB& name) = 0;
    // Its own path is good and ends at the anchor of the path in question.
    virtual bool Trusted(const std::shared_ptr<Certificate>& signer) = 0;
};

// What an answer rests on.
struct Evidence {
    std::string source;  // where it was found
    FILETIME thisUpdate{};
    FILETIME nextUpdate{};  // zero when none is told
};

// The question: was `subject`, which `issuer` signed, revoked at `time`?
struct RevocationQuestion {
    const Certificate& subject;
    const Certificate& issuer;
    FILETIME time;
    FILETIME now;
    OtherSigners& others;
    Budget& budget;
    Reasons covered = 0;  // for which "not revoked" was learned so far, from any source
    Evidence evidence{};  // of the last list that counted
};

// Counts a CRL that the issuer signed (or another certificate of its name that is trusted as
// much), that is in force at `time` or now (chain-3), that covers this kind of certificate, and
// that has no critical extension beyond those handled here. For each reason
// the latest complete one decides; a delta CRL that builds on it comes on top. "Good" takes lists
// that cover all reasons together. A revocation later than `time` is none.
Revocation Judge(RevocationQuestion& question, const std::vector<std::shared_ptr<Crl>>& crls);

// Whether Judge would count the list, were the certificate one that it covers.
bool IsSound(const RevocationQuestion& question, const Crl& crl);

}  // namespace platform
