// Parameters of the RSA schemes that carry any (RFC 4055), applied to a key's context.
#pragma once

#include <openssl/evp.h>

#include <string>
#include <string_view>

#include "platform/base/bytes.h"

namespace platform {

// RSASSA-PSS-params. Throws NTE_BAD_ALGID when they cannot be read, name an algorithm that
// is not known, or a digest other than the signer's.
void ApplyPss(EVP_PKEY_CTX* context, ByteView der, std::string_view digestOid);

// The parameters that go with a signature over this digest: its mask generation and salt are of
// the digest, too (RFC 4055, 3.1). `sign` makes such signatures afterwards; throws NTE_BAD_ALGID
// for a key that may not.
Bytes PssParametersFor(std::string_view digestOid);
void UsePss(EVP_PKEY_CTX* sign, std::string_view digestOid);

// The digest that RSASSA-PSS-params name, as dotted identifier. Throws NTE_BAD_ALGID.
std::string PssDigest(ByteView der);
// The same of their mask generation.
std::string PssMaskDigest(ByteView der);

// RSAES-OAEP-params; empty means all defaults. Throws NTE_BAD_ALGID.
void ApplyOaep(EVP_PKEY_CTX* context, ByteView der);

}  // namespace platform
