// What a set of CRLs says of one certificate (RFC 5280 6.3.3).
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/base/ground.h"
#include "platform/certs/certificate.h"
#include "platform/chain/budget.h"
#include "platform/chain/crl_entries.h"
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
    // Not revoked at the question's time, but since, for a key that was lost by then. Changes no
    // answer here.
    bool compromised = false;
    // "Not revoked" by one of after the certificate's end alone, which no longer has to tell of it
    // (RFC 5280 3.3) and does not say that it does. Changes no answer here.
    bool silent = false;
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
    Reasons silent = 0;   // of those covered: by evidence that no longer has to tell
};

// Whether evidence of that day has to tell of the certificate: it is of before its end, or says
// since when it keeps those that ended (`keptSince`, a GeneralizedTime; empty: it does not say).
bool HasToTell(const Certificate& subject, const FILETIME& thisUpdate, ByteView keptSince);

// A list that counts, with what it says.
struct SoundList {
    std::shared_ptr<Crl> crl;
    Reasons reasons = 0;  // for which it tells of the subject
    Listed listed;
    std::string source;  // for the evidence
};
using SoundLists = std::vector<SoundList>;

// Those that the issuer signed (or another certificate of its name that is trusted as much),
// that are in force at the question's time or now (chain-3), and that have no critical extension
// beyond those handled here. `covering`: of them, those alone that tell of the subject. With the
// budget exhausted, some may be missing.
SoundLists Sound(const RevocationQuestion& question, const std::vector<std::shared_ptr<Crl>>& crls,
                 bool covering);

// For each reason the latest complete list decides; a delta CRL that builds on it comes on top.
// "Good" takes lists that cover all reasons together. A revocation later than the question's time
// is none.
Revocation Judge(RevocationQuestion& question, const SoundLists& sound);

}  // namespace platform
