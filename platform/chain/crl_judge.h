// What a set of CRLs says of one certificate (RFC 5280 6.3.3).
#pragma once

#include <memory>
#include <vector>

#include "platform/base/ground.h"
#include "platform/certs/certificate.h"

namespace platform {

enum class Revocation { Unknown, Good, Revoked };

// The question: was `subject`, which `issuer` signed, revoked at `time`?
struct RevocationQuestion {
    const Certificate& subject;
    const Certificate& issuer;
    FILETIME time;
    FILETIME now;
};

// Counts a CRL that the issuer signed, that is in force at `time` or now, that covers this
// kind of certificate, and that has no critical extension beyond those handled here
// (indirect CRLs are not). The latest complete one decides; a delta CRL that builds on it
// comes on top. A revocation later than `time` is none.
Revocation Judge(const RevocationQuestion& question, const std::vector<std::shared_ptr<Crl>>& crls);

}  // namespace platform
