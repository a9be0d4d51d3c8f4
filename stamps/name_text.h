// Names (X.501) as text.
#pragma once

#include <string>

#include "asn1data/records.h"
#include "stamps/blob.h"

namespace Ferroline::ASN1 {

// "CN=One,O=Two+OU=Three", in the order of the encoding and without any escaping. A type
// without a short name stands as its identifier, with "#" and the hexadecimal encoding of
// the value. Throws CRYPT_E_ASN1_INTERNAL for a Name that does not decode, and for the value
// of a type with a short name that is no character string.
[[nodiscard]] std::wstring NameToText(const CBlob& encoded);

// Between a Name's DER and its record.
void FillName(asn1rt::ASN1Context& context, asn1data::Name& record, const CBlob& encoded);
// The record is not changed: control classes take it as if for decoding.
void ReadName(asn1data::Name& record, CBlob& encoded);

}  // namespace Ferroline::ASN1
