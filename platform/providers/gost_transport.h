// Content keys wrapped for GOST keys: GostR3410-KeyTransport under GOST 28147-89 (RFC 4490,
// 4.2.1), and under the ciphers of GOST R 34.12 with KExp15 (RFC 9189, 8.2).
#pragma once

#include <string_view>

#include "platform/base/bytes.h"
#include "platform/providers/crypto.h"
#include "platform/providers/gost_key.h"

namespace platform {

// keyEncryptionAlgorithm for a content cipher.
Algorithm GostTransportFor(const GostKey& recipient, std::string_view cipherOid);
Bytes WrapGostKey(const GostKey& recipient, std::string_view cipherOid, ByteView contentKey);
// Throws NTE_BAD_ALGID when the algorithm does not go with the key, NTE_BAD_DATA for a value
// that is misshapen or whose check value does not fit.
Secret UnwrapGostKey(const GostKey& key, const Algorithm& keyEncryption, ByteView wrapped);

}  // namespace platform
