// The outer shape of wrapped GOST content keys.
#pragma once

#include "platform/base/bytes.h"

namespace platform {

// True for a GostR3410-KeyTransport (RFC 4490 4.2.1) with a key of 32, a check value of 4
// and key material of 8 octets. The engine aborts the process on any other lengths.
bool IsGostKeyTransport(ByteView der);

// True for a GostR3410-KeyTransport of RFC 9189 (an exported key and an ephemeral public
// key) whose exported key is a content key of 32 octets and a check value of `macLength`.
bool IsGostExportedKey(ByteView der, std::size_t macLength);

}  // namespace platform
