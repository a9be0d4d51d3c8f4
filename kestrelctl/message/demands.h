// Who has to have signed, and what the signers' verdicts make of the message.
#pragma once

#include "kestrelctl/message/verify.h"

namespace kestrelctl::message {

// What --signer means: a name with a "/", or with the ending of a certificate's file, stands for
// the first certificate in it. Throws as ReadBundleFile does.
Wanted WantedSigner(const std::string& name);

// Adds the demanded signers and what is left to say of the message.
void JudgeDemands(const Demands& demands, MessageVerdict& message);

}  // namespace kestrelctl::message
