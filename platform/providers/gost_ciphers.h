// Content ciphers of GOST: 28147-89 in cipher feedback mode with key meshing (RFC 4490, 4.1),
// Magma and Kuznyechik with CTR-ACPKM, alone and with OMAC (RFC 9337; the sections that CMS
// fixes).
#pragma once

#include <string_view>

#include "platform/providers/crypto.h"

namespace platform {

inline constexpr std::size_t kGostKeyLength = 32;

bool IsGostCipher(std::string_view oid);
// As the calls of the same name in crypto.h.
CipherContext StartGostEncryption(std::string_view oid, Algorithm& algorithm, Secret& key);
CipherContext StartGostDecryption(const Algorithm& algorithm, ByteView key);

}  // namespace platform
