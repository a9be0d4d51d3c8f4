// A signed message made in one call.
#pragma once

#include "platform/base/ground.h"

#include "platform/cms/model.h"
#include "platform/providers/crypto.h"
#include "platform/simple/content_pieces.h"

namespace platform {

// With neither signer nor content: the bundle of the certificates and CRLs. A question for
// the size alone makes no signature, does not look whether the message can be read, and answers
// with the greatest size that one can have: the length of an ECDSA value differs from one time to
// the next. `key` is that of the record's signing certificate, none without one. Throws what
// PreparedSigner and EncodeSignedMessage throw, and CRYPT_E_AUTH_ATTR_MISSING as
// AttributeSetWatch does.
Bytes SignMessage(const CRYPT_SIGN_MESSAGE_PARA& para, const AnyKey& key, bool detached,
                  const ContentPieces& content, bool sizeOnly);

}  // namespace platform
