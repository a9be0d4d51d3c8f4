// Telling text from binary in a file that may be either.
#pragma once

#include <windows.h>

namespace kestrel {

// Recognises BASE64 and armoured text by a first "M" or "-", in the narrow code page,
// in UTF-8 with a mark and in UTF-16 of either byte order, and decodes it; anything
// else is copied as it stands. Of armour only the marks "-----...-----" around the
// first body matter. `destinationLength` brings the capacity and takes the length
// needed; a null destination asks for it. The destination may be `data` itself. 0, or
//   E_INVALIDARG   null length, or UTF-16 big endian of an odd length
//   0x800700EA     the destination is too small
//   E_FAIL         armour without an end
HRESULT DecodeAnyText(const BYTE* data, DWORD length, BYTE* destination, DWORD* destinationLength);

}  // namespace kestrel
