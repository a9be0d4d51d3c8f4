// Deep copies of values into the heap of a context. ASN_OK or ASN_E_NOMEM; a value is left
// empty where its source is. Copying a value onto itself does nothing.
#pragma once

#include "asn1/rtsrc/context.h"

namespace asn1rt {

int Copy(ASN1Context& context, const ASN1OBJID& source, ASN1OBJID& destination);
int Copy(ASN1Context& context, const ASN1DynOctStr& source, ASN1DynOctStr& destination);
int Copy(ASN1Context& context, const ASN1DynBitStr& source, ASN1DynBitStr& destination);
int Copy(ASN1Context& context, const ASN1OpenType& source, ASN1OpenType& destination);
int Copy(ASN1Context& context, const ASN1CharStr& source, ASN1CharStr& destination);
int Copy(ASN1Context& context, const ASN1BigInt& source, ASN1BigInt& destination);
int Copy(ASN1Context& context, const ASN116BitCharStr& source, ASN116BitCharStr& destination);
int Copy(ASN1Context& context, const ASN132BitCharStr& source, ASN132BitCharStr& destination);

}  // namespace asn1rt
