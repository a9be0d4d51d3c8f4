// The authorities that commands turn to when the line names none: the machine's settings, else
// those that are built in.
#pragma once

#include <string>

namespace kestrel {

// For certificates, and for registering. Empty with the last error set when there is a setting
// that cannot be read: a request must not go to a stranger instead.
std::string DefaultCaAddress();
std::string DefaultRegistrationAddress();

}  // namespace kestrel
