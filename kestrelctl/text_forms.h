// How kestrelctl shows certificates, CRLs and times.
#pragma once

#include <string>

#include "platform/base/ticks.h"
#include "platform/certs/certificate.h"

namespace kestrelctl {

inline constexpr platform::Ticks kTicksOfADay = 24 * 60 * 60 * platform::kTicksPerSecond;

std::string NameText(const CERT_NAME_BLOB& name);
std::string TimeText(const FILETIME& time);  // ISO 8601: 2026-11-21T02:20:00Z
// The other way round, of an option: "2026-11-21", with "T02:20" and ":00" behind it or not, a
// blank for the T; UTC. Throws UsageError.
FILETIME TimeNamed(const char* option, const std::string& text);
// What a listing says of the end of a certificate: nothing while it is 30 days away or more.
std::string ExpiryText(const FILETIME& notAfter);
std::string SerialText(const CRYPT_INTEGER_BLOB& serial);
std::string Thumbprint(platform::ByteView der);  // SHA-1, hexadecimal
// A thumbprint as a user writes it, without separators and in small letters.
std::string PlainHex(std::string text);
std::string Sha256Text(platform::ByteView der);
// One armoured block, byte for byte, whether anybody can read it or not.
void AppendPem(std::string& text, const char* label, platform::ByteView der);

}  // namespace kestrelctl
