// What the entries of a CRL say of one certificate (RFC 5280 5.3).
#pragma once

#include "platform/certs/certificate.h"
#include "platform/chain/budget.h"

namespace platform {

struct Listed {
    bool understood = true;  // no entry has a critical extension beyond those handled here
    bool revoked = false;
    bool later = false;    // after that time
    bool removed = false;  // "remove from CRL", of a delta list
    // Revoked later, as the key may have been somebody else's at that time (RFC 5280 5.3.2).
    bool compromised = false;
};

// Whether `crl` lists the certificate as revoked at `time`: by serial number and issuer, which
// entries of an indirect list may tell. One pass in which nothing is made of an entry of another
// number, since lists have a million of them. None when `budget` does not reach. Throws
// CRYPT_E_ASN1_* for what cannot be read.
std::optional<Listed> LookUp(const Crl& crl, const Certificate& subject, const FILETIME& time,
                             Budget& budget);

// Whether a reason code, an ENUMERATED, says that a key is somebody else's as well (RFC 5280
// 5.3.1), and whether an invalidity date (5.3.2) is not after a time. For OCSP, too.
bool IsLostKey(ByteView reason);
bool WasInvalid(ByteView invalidityDate, const FILETIME& time);

}  // namespace platform
