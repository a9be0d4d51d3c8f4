// A verdict as one page for people who keep evidence.
#pragma once

#include <string>

#include "kestrelctl/message/verify.h"

namespace kestrelctl::message {

// Replaces the file whole. Throws with its name.
void WriteReport(const std::string& file, const MessageVerdict& message,
                 const JudgeSettings& settings, bool russian);

}  // namespace kestrelctl::message
