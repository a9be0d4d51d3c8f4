// Attributes by name, with the values of known types in words.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/ticks.h"
#include "platform/cms/model.h"

namespace kestrelctl::message {

inline constexpr const char* kContentStampOid = "1.2.840.113549.1.9.16.2.20";
inline constexpr const char* kSignatureStampOid = "1.2.840.113549.1.9.16.2.14";

inline constexpr const char* kCountersignatureOid = "1.2.840.113549.1.9.6";
inline constexpr const char* kProtectionOid = "1.2.840.113549.1.9.52";

// Of attributes, content types and others that stand in messages; empty when not known.
std::string IdentifierName(std::string_view oid);

// One value in words; none for a type that is not known or a damaged value.
std::optional<std::string> ValueText(std::string_view attributeOid, platform::ByteView value);

// The time that the signer claims.
std::optional<platform::Ticks> SigningTimeOf(const platform::SignerInfo& signer);

// What a signing-certificate attribute says of the signer's own certificate (RFC 5035).
struct CertificateMark {
    std::string digestOid;
    platform::Bytes digest;
    platform::Bytes serial;  // big-endian; empty when it is not told
};
// One for each attribute that there is: of the first version, the second, and the one for other
// digests. Throws CRYPT_E_ASN1_BADTAG, _EOD or _CORRUPT for one that cannot be read.
std::vector<CertificateMark> MarksOf(const platform::SignerInfo& signer);

// Of all attributes of a type. One that is damaged has none; whoever judges the signer tells.
std::vector<platform::Bytes> ValuesOf(const std::vector<platform::Bytes>& attributes,
                                      std::string_view oid);

// The attribute that stands twice where one alone may, or has several values; empty: none.
std::string RepeatedAttribute(const platform::SignerInfo& signer);

}  // namespace kestrelctl::message
