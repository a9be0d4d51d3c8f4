// Who has to have signed, and what the signers' verdicts make of the message.
#pragma once

#include "kestrelctl/message/verify.h"

namespace kestrelctl::message {

// Adds the demanded signers and what is left to say of the message.
void JudgeDemands(const Demands& demands, MessageVerdict& message);

}  // namespace kestrelctl::message
