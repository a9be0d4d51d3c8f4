// What `message show` says of a record.
#pragma once

#include <string>

#include "kestrelctl/message/record.h"
#include "kestrelctl/message/value.h"

namespace kestrelctl::message {

// The document (docs/verdicts.md, "show").
Value Describe(const std::string& file, const Record& record);

}  // namespace kestrelctl::message
