// What -verify demands of each signer of a message.
#pragma once

#include <windows.h>

#include "front/core/result.h"

namespace kestrel {

struct SignerRules {
    bool verifyAll = false;  // signers outside the criterion pass, too
    bool checkChains = false;
    const char* contentHours = nullptr;    // -sd; null when the key is absent
    const char* signatureHours = nullptr;  // -ss
};

struct SignerFlags {
    bool allGood = true;     // no signature failed so far
    bool thisGood = true;    // the last signer reached the "verified" line
    bool stampsGood = true;  // no time stamp failed
};

// Walks all signers of a message that was read to its end. A bad signer clears a flag
// and the walk goes on; another result than 0 ends the command and was reported.
Reported CheckSigners(HCRYPTMSG message, const SignerRules& rules, SignerFlags& flags);

}  // namespace kestrel
