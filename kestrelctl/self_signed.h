// The self-signed certificate of a new identity.
#pragma once

#include <string>

#include "platform/base/bytes.h"
#include "platform/providers/crypto.h"

namespace kestrelctl {

// DER of an X.509 v3 certificate (RFC 5280) over `subject`, a name such as "CN=Ann, O=X",
// valid from now for `days`, for signing and encryption. Throws Failure for a bad name.
platform::Bytes SelfSigned(const platform::AnyKey& key, const std::string& subject,
                           unsigned long days);

}  // namespace kestrelctl
