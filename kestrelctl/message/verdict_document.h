// A verdict as a document (docs/verdicts.md, docs/verdicts.schema.json).
#pragma once

#include "kestrelctl/message/value.h"
#include "kestrelctl/message/verify.h"

namespace kestrelctl::message {

Value VerdictDocument(const MessageVerdict& message, const JudgeSettings& settings);

// "good", "bad", "indeterminate", or "none" where there was nothing to check.
const char* StateOf(const SignerVerdict& signer, Check check);

// The sentence of a finding, with its detail.
std::string Sentence(const Finding& finding, bool russian);

}  // namespace kestrelctl::message
