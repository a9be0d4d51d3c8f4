// What certificates are compared and found by.
#pragma once

#include "platform/base/ground.h"

#include <optional>

#include "platform/base/bytes.h"

namespace platform {

// A record's blob as a view; null and empty are the same.
template <class Blob>
requires requires(Blob blob) { blob.pbData; }
ByteView ViewOf(const Blob& blob) {
    return {blob.pbData, blob.pbData == nullptr ? 0 : blob.cbData};
}

Bytes Sha1Of(ByteView bytes);

// The extension, or null. Of several with one identifier, the first.
const CERT_EXTENSION* FindExtension(const char* oid, DWORD count, const CERT_EXTENSION* extensions);

// Whether two CRLs have the extension with the same value, or both lack it.
bool SameExtension(const CRL_INFO& first, const CRL_INFO& second, const char* oid);

// Little-endian two's complement integers, equal however many sign octets they carry.
bool SameInteger(ByteView first, ByteView second);

// The value of the extension, or SHA-1 of the public key's bits (RFC 5280 4.2.1.2,
// method 1) where the certificate has none that can be read.
Bytes KeyIdentifierOf(const CERT_INFO& info);
// The bits of the key usage extension, none when there is no such extension. Throws
// CRYPT_E_ASN1_BADTAG, _EOD or _CORRUPT.
std::optional<Bytes> KeyUsageOf(const CERT_INFO& info);
// Algorithm and bits; parameters may be written down in more than one way.
bool SamePublicKey(const CERT_PUBLIC_KEY_INFO& first, const CERT_PUBLIC_KEY_INFO& second);
// True when the record names a certificate by issuer and serial number or, with an
// issuer of szOID_KEYID_RDN, by key identifier; either of the two may be the name.
bool SameCertificate(const CERT_INFO& first, const CERT_INFO& second);
// True when `id` names the certificate. Throws E_INVALIDARG for an unknown choice.
bool Identifies(const CERT_ID& id, const CERT_INFO& info, ByteView sha1);
// True when `issuer` may have issued `subject`: its name fits, and its key identifier
// where both sides tell it.
bool MayHaveIssued(const CERT_INFO& issuer, const CERT_INFO& subject);

}  // namespace platform
