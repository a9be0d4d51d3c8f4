// What is written must be read again: writers are held to the bounds of the reader by the
// reader itself, before the first octet goes out.
#pragma once

#include <initializer_list>
#include <span>

#include "platform/base/bytes.h"
#include "platform/cms/decoder_schema.h"

namespace platform {

// Attributes of a signer lie in ContentInfo, its [0], SignedData, the signers, the signer
// and the set of attributes; their values inside two elements more.
inline constexpr std::size_t kLevelsAroundAttribute = 6;
inline constexpr std::size_t kLevelsAroundValue = 8;

// `parts` one behind the other are a message; `wrapped` is what its ContentInfo holds, or,
// where it has none, what stands in its place. Throws as Walker and BerReader do:
// CRYPT_E_ASN1_LARGE past 64 MiB beside the content, CRYPT_E_ASN1_CONSTRAINT past 64 levels.
void CheckReadable(std::initializer_list<ByteView> parts, std::span<const Field> wrapped);

}  // namespace platform
