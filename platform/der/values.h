// Whole values that certificates, messages and callers' records have in common:
// algorithms, attributes, sets. All reading throws CRYPT_E_ASN1_BADTAG, _CORRUPT or _EOD.
#pragma once

#include "platform/base/ground.h"

#include <string>
#include <vector>

#include "platform/base/bytes.h"
#include "platform/providers/crypto.h"

namespace platform {

// AlgorithmIdentifier (RFC 5280 4.1.1.2).
Bytes EncodeAlgorithm(const Algorithm& algorithm);
Algorithm ParseAlgorithm(ByteView der);

// Elements one behind the other under `tag`, in the order given.
Bytes Concatenate(std::uint8_t tag, const std::vector<Bytes>& elements);
// SET OF with the elements sorted as DER asks (X.690 11.6), under `tag`.
Bytes EncodeSetOf(std::uint8_t tag, std::vector<Bytes> elements);

// Attribute (RFC 5652 5.3).
struct AttributeView {
    std::string oid;
    std::vector<Bytes> values;  // DER of each value
};
AttributeView ParseAttribute(ByteView der);
// One Attribute from the caller's record; values are taken as they stand. Throws
// CRYPT_E_OID_FORMAT, and ERROR_INVALID_PARAMETER for a record with null pointers.
Bytes EncodeAttribute(const CRYPT_ATTRIBUTE& attribute);

}  // namespace platform
