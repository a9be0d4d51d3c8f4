// Text of the enrolment interfaces: wide characters behind their length.
#pragma once

#include <objbase.h>

#include <string>
#include <string_view>

#include "platform/base/bytes.h"

namespace platform {

// Throws std::bad_alloc.
BSTR NewText(std::wstring_view text);
void FreeText(BSTR text) noexcept;
UINT LengthOf(BSTR text) noexcept;

// A caller's text in UTF-8; null is empty. Throws ERROR_NO_UNICODE_TRANSLATION.
std::string NarrowText(BSTR text);
// A result. Throws E_POINTER when nobody takes it.
void PutText(BSTR* target, std::string_view utf8);

// Octets in a text's place, behind their count.
BSTR NewOctets(ByteView octets);
ByteView OctetsOf(BSTR octets) noexcept;

// What BASE64 stands for, with or without armour. Throws CRYPT_E_BAD_ENCODE.
Bytes DecodeText(BSTR text);

}  // namespace platform
