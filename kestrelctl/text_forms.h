// How kestrelctl shows certificates, CRLs and times.
#pragma once

#include <string>

#include "platform/certs/certificate.h"

namespace kestrelctl {

std::string NameText(const CERT_NAME_BLOB& name);
std::string TimeText(const FILETIME& time);  // 2026-11-21 02:20:00, UTC
// The other way round, of an option: "2026-11-21", with " 02:20" and ":00" behind it or not; UTC.
// Throws UsageError.
FILETIME TimeNamed(const char* option, const std::string& text);
std::string SerialText(const CRYPT_INTEGER_BLOB& serial);
std::string Thumbprint(platform::ByteView der);  // SHA-1, hexadecimal
// A thumbprint as a user writes it, without separators and in small letters.
std::string PlainHex(std::string text);
std::string Sha256Text(platform::ByteView der);
// One armoured block, byte for byte, whether anybody can read it or not.
void AppendPem(std::string& text, const char* label, platform::ByteView der);

}  // namespace kestrelctl
