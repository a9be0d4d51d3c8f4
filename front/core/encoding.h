// How certificates and messages are encoded, which every platform call wants to be told.
#pragma once

#include <windows.h>

namespace kestrel {

inline constexpr DWORD kMessageEncodingType = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

}  // namespace kestrel
