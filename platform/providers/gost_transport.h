// Content keys wrapped for GOST keys: GostR3410-KeyTransport under GOST 28147-89 (RFC 4490,
// 4.2.1), and under the ciphers of GOST R 34.12 with KExp15 (RFC 9189, 8.2).
#pragma once

#include <string_view>

#include "platform/gost/cipher89.h"

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

// ---- what key agreements share; all throw NTE_BAD_DATA ----------------------------

// The other side's key, on the curve of `key`. Null `info` is no key.
SharedGostKey PeerOf(const GostKey& key, const GostPublicInfo* info);

struct Sealed89 {
    const ASN1_OCTET_STRING* encrypted;
    const ASN1_OCTET_STRING* mac;
};
// `set` is the dotted identifier of the substitution.
Secret Open89(gost::Wrap89 form, std::string_view set, const GostKey& key, const GostKey& peer,
              ByteView ukm, const Sealed89& sealed);
bool IsWrap15(std::string_view oid);
Secret Open15(std::string_view wrapOid, const GostKey& key, const GostKey& peer, ByteView ukm,
              ByteView wrapped);

}  // namespace platform
