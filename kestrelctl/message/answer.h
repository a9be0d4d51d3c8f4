// A time-stamp service's answer (RFC 3161 2.4.2): the head, and the token inside.
#pragma once

#include "kestrelctl/message/record.h"

namespace kestrelctl::message {

// A sequence that begins with a sequence, where a message begins with its type. The header has to
// be in `start`.
bool LooksLikeAnswer(platform::ByteView start);
// Answers are held: throws CRYPT_E_ASN1_LARGE past 16 MiB.
void AppendBounded(platform::Bytes& whole, platform::ByteView piece);
// Throws CRYPT_E_ASN1_BADTAG, _EOD or _CORRUPT, and what reading its token throws.
Record ReadAnswer(platform::ByteView ber);

}  // namespace kestrelctl::message
