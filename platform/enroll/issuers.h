// Who issued whom among the certificates of an answer.
#pragma once

#include "platform/base/ground.h"

#include <memory>
#include <vector>

#include "platform/certs/certificate.h"
#include "platform/providers/crypto.h"

namespace platform {

using CertificatePointer = std::shared_ptr<Certificate>;
using Certificates = std::vector<CertificatePointer>;

// No key for one of a kind that nobody here has.
AnyKey PublicKeyOf(const Certificate& certificate);

bool Issued(const Certificate& issuer, const Certificate& subject);
bool IsSelfSigned(const Certificate& certificate);
// Of all that an answer holds, those that lead from the certificate to its root.
Certificates IssuersOf(const CertificatePointer& certificate, const Certificates& answer);

}  // namespace platform
