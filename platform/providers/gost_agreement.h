// Content keys under a key that a sender's ephemeral GOST key and ours agree on: RFC 4490, 4.1.1,
// its form for keys of 2012, and KExp15 with the ciphers of GOST R 34.12.
#pragma once

#include "platform/providers/crypto.h"
#include "platform/providers/gost_key.h"

namespace platform {

// See UnwrapAgreedKey.
Secret OpenGostAgreement(const GostKey& key, const KeyAgreement& agreement, ByteView encryptedKey);

}  // namespace platform
