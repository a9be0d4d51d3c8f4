// What the commands that make a signature have in common: the signer's record and the
// steps that fetch time stamps.
#pragma once

#include <windows.h>

#include "front/core/holders.h"
#include "front/core/result.h"
#include "messages/private_key.h"
#include "messages/stamp_keys.h"
#include "selection/search.h"

namespace kestrel {

// id-aa-ets-contentTimestamp (RFC 5126 5.11.4).
inline constexpr char kContentStampOid[] = "1.2.840.113549.1.9.16.2.20";

// The keys that say what goes into a message beside the signature.
struct SignatureKeys {
    bool noCert = false;
    bool crl = false;
    StampKeys stamps;
};
SignatureKeys TakeSignatureKeys();

// The steps up to the certificate that signs, which stands first in the state then: -attr and
// -authattr, the search and its stores. 0 or a reported code.
Reported SelectSigner(const SignatureKeys& keys, SearchStores& stores);

// Fills the record with the signer and the lists of -attr and -authattr. It refers to all
// that is passed in.
void FillSigner(CMSG_SIGNER_ENCODE_INFO& signer, PCCERT_CONTEXT certificate, const PrivateKey& key,
                const CRYPT_ALGORITHM_IDENTIFIER& hash);

// -sd: the content's stamp becomes the last signed attribute, so that the signature covers
// it. 0 or a reported code.
Reported StampContent(const StampKeys& keys, const BYTE* content, DWORD size);

// -ss: stamps the first signature of a whole message, which is replaced. 0 also without the
// key, or a reported code with the message as it was.
Reported StampSignature(const StampKeys& keys, BytesHolder& message, DWORD& size);

}  // namespace kestrel
