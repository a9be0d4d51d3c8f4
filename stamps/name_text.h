// Names (X.501) as text.
#pragma once

#include <string>

#include "stamps/blob.h"

namespace Ferroline::ASN1 {

// "CN=One,O=Two+OU=Three", in the order of the encoding and without any escaping. A type
// without a short name stands as its identifier, with "#" and the hexadecimal encoding of
// the value. Throws CRYPT_E_ASN1_INTERNAL for a Name that does not decode, and for the value
// of a type with a short name that is no character string.
[[nodiscard]] std::wstring NameToText(const CBlob& encoded);

}  // namespace Ferroline::ASN1
