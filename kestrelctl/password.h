// Passwords of key containers and PKCS #12 files.
#pragma once

#include <string>

#include "kestrelctl/cli.h"
#include "platform/base/bytes.h"
#include "platform/providers/container.h"

namespace kestrelctl {

// A line without echo from the terminal; without one, the next line of standard input.
// Throws Failure at the end of input.
platform::Secret AskPassword(const std::string& prompt);
// Asks twice and compares when there is a terminal.
platform::Secret AskNewPassword(const std::string& prompt);

// What the option says; empty without it.
platform::Secret PinOf(const Arguments& arguments, std::string_view option = "pin");

// The key specification of a container that holds a key. Throws Failure without one.
DWORD FilledKeySpec(const platform::Container& container);
// The container's key, asking for its password when it has one and none was given.
platform::AnyKey LoadKey(const platform::Container& container, DWORD spec, platform::Secret& pin);

// From --password, --password-file or the terminal.
platform::Secret FilePassword(const Arguments& arguments, bool isNew);

}  // namespace kestrelctl
