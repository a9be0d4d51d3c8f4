// Who issued whom among some certificates. The search is bounded whatever they are.
#pragma once

#include "platform/base/ground.h"

#include <memory>
#include <vector>

#include "platform/certs/certificate.h"
#include "platform/providers/crypto.h"

namespace platform {

using CertificatePointer = std::shared_ptr<Certificate>;
using Certificates = std::vector<CertificatePointer>;

// No key for one of a kind that nobody here has, or that cannot be read.
AnyKey PublicKeyOf(const Certificate& certificate);

// False for certificates that cannot be read.
bool Issued(const Certificate& issuer, const Certificate& subject);
// ctl-4: the one of a person signs itself although it may sign no others.
bool IsSelfSigned(const Certificate& certificate);

struct Ancestors {
    Certificates issuers;  // the nearest first, up to a self-signed one
    // Where it ends, some bear the issuer's name and none of them has made the signature.
    bool broken = false;
};

// From a certificate upwards, by name, key identifier and signature (RFC 5280 6.1). No more
// than 256 signatures are checked; those whose key identifier is the one named come first.
Ancestors FindAncestors(const CertificatePointer& certificate, const Certificates& pool);
// The issuers of it.
Certificates IssuersOf(const CertificatePointer& certificate, const Certificates& pool);

// Those whose subject and key identifier are what the certificate says of its issuer, both said.
Certificates IssuersByKeyIdentifier(const Certificate& certificate, const Certificates& pool);

}  // namespace platform
