// Countersignatures: what others signed of a signature's value (RFC 5652 11.4).
#pragma once

#include <optional>
#include <vector>

#include "kestrelctl/message/signer.h"

namespace kestrelctl::message {

// Its signature is judged, and whose it is; neither chain nor time.
struct Countersignature {
    std::optional<platform::SignerInfo> info;  // none: it cannot be read
    Identity identity;
    Findings findings;
};

// Those of a signer, unless there are more than anybody looks at: then none, and a finding.
std::vector<Countersignature> JudgeCountersignatures(const platform::SignerInfo& signer,
                                                     const Surroundings& around,
                                                     platform::Ticks time, const Means& means,
                                                     Findings& findings);

}  // namespace kestrelctl::message
