// Passwords of key containers and PKCS #12 files.
#pragma once

#include <string>

#include "kestrelctl/cli.h"
#include "platform/base/bytes.h"

namespace kestrelctl {

// A line without echo from the terminal; without one, the next line of standard input.
// Throws Failure at the end of input.
platform::Secret AskPassword(const std::string& prompt);
// Asks twice and compares when there is a terminal.
platform::Secret AskNewPassword(const std::string& prompt);

// From --password, --password-file or the terminal.
platform::Secret FilePassword(const Arguments& arguments, bool isNew);

}  // namespace kestrelctl
