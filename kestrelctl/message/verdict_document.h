// A verdict as a document (docs/verdicts.md, docs/verdicts.schema.json).
#pragma once

#include "kestrelctl/message/value.h"
#include "kestrelctl/message/verify.h"

namespace kestrelctl::message {

Value VerdictDocument(const MessageVerdict& message, const JudgeSettings& settings);

// Countersignatures have a verdict of their own, of which the signer's takes the bad ones.
Verdict WorstOf(const SignerVerdict& signer, Check check);
// "good", "bad", "indeterminate", or "none" where there was nothing to check.
const char* StateOf(const SignerVerdict& signer, Check check);

// The sentence of a finding, with its detail.
std::string Sentence(const Finding& finding, bool russian);

}  // namespace kestrelctl::message
