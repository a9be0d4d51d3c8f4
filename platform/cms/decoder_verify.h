// The check of one signature of a SignedData (RFC 5652 5.4, 5.6).
#pragma once

#include <openssl/evp.h>

#include <string>

#include "platform/cms/model.h"

namespace platform {

// Throws NTE_BAD_SIGNATURE when content, signed attributes and signature do not belong
// together, NTE_BAD_ALGID when an algorithm is not known or does not go with the key.
void VerifySigner(const SignerInfo& signer, const std::string& contentType, ByteView contentDigest,
                  const AnyKey& key);

// The same of a countersignature over `covered`, the value of another signature (RFC 5652 11.4). A
// content type, which has no place in one and stands in many, says nothing.
void VerifyCountersigner(const SignerInfo& signer, ByteView covered, const AnyKey& key);

}  // namespace platform
