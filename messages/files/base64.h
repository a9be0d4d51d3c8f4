// The four BASE64 forms. Their rules differ on purpose and they are not interchangeable:
// the encoders by line length and final line end, the decoders by what they forgive.
//
// Every call takes the capacity of its destination in the length argument and leaves
// the length of the result there. Nothing is allocated. Alphabet and padding: RFC 4648, 4.
#pragma once

#include <windows.h>

namespace kestrel {

// Bytes to one line of the 64-column form.
inline constexpr DWORD kBase64LineBytes = 48;

// Lines of 64 characters, CR LF behind every line, the last one too. False with
// ERROR_MORE_DATA when `text` is too small.
bool EncodeBase64Lines64(const BYTE* data, DWORD length, char* text, DWORD* textLength);

// The capacity that EncodeBase64Lines76 asks for. Throws std::invalid_argument above
// 0x3FFFFFFF bytes.
DWORD Base64Lines76Capacity(DWORD length);

// Lines of 76 characters with CR LF between them and none behind the last. The padded
// rest of one or two bytes stays on the last line, also when that one is full. False
// with ERROR_MORE_DATA when the capacity is below Base64Lines76Capacity.
bool EncodeBase64Lines76(const BYTE* data, DWORD length, char* text, DWORD* textLength);

// For pieces of a text that is read in chunks: characters are decoded in blocks of 64,
// a dash or the end of the piece flushes a shorter block, and blanks, tabs and line ends
// are skipped. Pads are taken off again for every later block of the same call. A null
// `data` asks for the length. False with
//   ERROR_BAD_ARGUMENTS  null text or length argument
//   ERROR_MORE_DATA      `data` is too small; the length is the one needed
//   CRYPT_E_BAD_ENCODE   a character outside the alphabet, a block that is not made of
//                        groups of four, or more pads than data; the length is 0
bool DecodeBase64Blocks(const char* text, DWORD length, BYTE* data, DWORD* dataLength);

// For whole texts: whatever is outside the alphabet, pads included, is skipped; a NUL
// where a group begins ends the text. True only if `data` was given and all of it
// fitted; the length is the one needed in every case.
bool DecodeBase64Text(const char* text, DWORD length, BYTE* data, DWORD* dataLength);

}  // namespace kestrel
