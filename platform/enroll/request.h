// Certificate requests (PKCS #10, RFC 2986): what is in one, its encoding, and certificates of the
// same content that sign themselves.
#pragma once

#include "platform/base/ground.h"

#include <string>
#include <vector>

#include "platform/base/bytes.h"
#include "platform/certs/certificate.h"
#include "platform/providers/crypto.h"

namespace platform {

struct Extension {
    std::string oid;
    bool critical = false;
    Bytes value;  // one DER element
};

struct RequestContent {
    Bytes subject;  // Name
    std::vector<Extension> extensions;
};

// ---- extensions. All throw CRYPT_E_OID_FORMAT for a bad identifier ---------------------

// Throws ERROR_OBJECT_ALREADY_EXISTS when one of that identifier is there (RFC 5280 4.2).
void AddExtension(std::vector<Extension>& list, Extension extension);
// `bits`: the first octet of the BIT STRING (RFC 5280 4.2.1.3).
Extension KeyUsageExtension(std::uint8_t bits);
Extension EnhancedUsageExtension(const std::vector<std::string>& usages);
// The ciphers of the provider, strongest first (RFC 4262); the value's list is empty for one
// that has none.
Extension SmimeExtension(DWORD providerType);
// From an identifier and one DER element. Throws CRYPT_E_ASN1_* for another value.
Extension GivenExtension(const std::string& oid, bool critical, ByteView value);

// ---- encodings, signed with the digest that goes with the key. All throw NTE_FAIL -------

Bytes SignRequest(const RequestContent& content, const AnyKey& key);
// A certificate (X.509 v3, RFC 5280) that signs itself, valid from now. Throws
// ERROR_INVALID_PARAMETER for days that lead past the year 9999.
Bytes SignSelf(const RequestContent& content, const AnyKey& key, unsigned long days);

// The request as the content of a signed message of its own key, whose stand-in goes along: a
// certificate that signs itself (est-2).
Bytes WrapRequest(ByteView request, const Certificate& standIn, const AnyKey& key);

// The key of a request. Throws CRYPT_E_ASN1_* for what is none.
AnyKey PublicKeyOfRequest(ByteView request);

// BASE64 in lines of 64 columns, CR LF behind each.
std::string Base64Lines(ByteView octets);

}  // namespace platform
