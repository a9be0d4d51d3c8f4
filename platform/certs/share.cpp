// The encoding that calls on certificates and CRLs demand, and the signed part of either.
#include "platform/certs/share.h"

#include "platform/base/error.h"
#include "platform/der/records.h"

namespace platform {

void RequireEncoded(DWORD encoding, const BYTE* data) {
    if ((encoding & X509_ASN_ENCODING) == 0 || data == nullptr) throw Error(E_INVALIDARG);
}

der::Cursor SignedPart(ByteView der) {
    der::Cursor whole(der);
    der::Cursor parts(whole.Expect(der::kSequence).contents);
    whole.ExpectEnd();
    const der::Item toBeSigned = parts.Expect(der::kSequence);
    ReadAlgorithm(parts);
    ReadBits(parts.Expect(der::kBitString).contents);
    parts.ExpectEnd();
    return der::Cursor(toBeSigned.contents);
}

}  // namespace platform
