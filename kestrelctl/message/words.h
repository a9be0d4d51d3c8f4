// Parts that every document about messages has: names, times, algorithms, certificates.
#pragma once

#include <optional>
#include <string>

#include "kestrelctl/message/record.h"
#include "kestrelctl/message/value.h"
#include "platform/base/ticks.h"

namespace kestrelctl::message {

std::string IsoTime(platform::Ticks ticks);  // 2026-11-21T02:20:00Z
Value TimeOrNull(const std::optional<platform::Ticks>& ticks);
std::string NameWords(platform::ByteView name);  // of a DER Name; what is no name in hexadecimal

// An identifier with its name, null when it has none.
Value OidValue(const std::string& oid);
Value AlgorithmValue(const platform::Algorithm& algorithm);
// Names and number, or the key identifier, in one line.
std::string HolderWords(const platform::KeyHolder& holder);
Value HolderValue(const platform::KeyHolder& holder);
Value CertificateValue(const platform::Certificate& certificate);

}  // namespace kestrelctl::message
