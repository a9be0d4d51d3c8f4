// What an OCSP responder is asked, and what its answer is worth (RFC 6960).
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "platform/base/ticks.h"
#include "platform/chain/crl_judge.h"

namespace platform {

// A request for one certificate, with the digest by which its issuer is named (SHA-1 or
// SHA-256), without a nonce: what is answered may then be kept.
Bytes OcspRequest(std::string_view digestOid, const Certificate& subject,
                  const Certificate& issuer);

struct OcspFinding {
    Revocation verdict = Revocation::Unknown;
    Ticks until = 0;       // the last moment at which the answer would count
    std::string fault;     // why there is no verdict
    bool refused = false;  // the responder did not take the request; another form may do
};

// Whether the question's subject, a delegate, was revoked by what somebody knows.
using DelegateRevoked = std::function<bool(RevocationQuestion& question)>;

// The issuer says that it need not be asked about (RFC 6960 4.2.2.2.1).
bool IsNeverRevoked(const Certificate& delegate);

// Counts an answer that is successful, names the certificate, is in force now, has no critical
// extension, and is signed by the issuer or by a delegate: a certificate that the issuer itself
// signed, valid now, with the usage OCSP signing, and not `revoked`, which is asked about one
// that fits otherwise. Without a next update it is in force for an hour. A revocation later than
// the question's time is none. The question's evidence is set with a verdict.
OcspFinding JudgeOcsp(ByteView response, RevocationQuestion& question,
                      const DelegateRevoked& revoked);

}  // namespace platform
