// The addresses that a certificate, or a list, names.
#pragma once

#include <string>
#include <vector>

#include "platform/certs/certificate.h"

namespace platform {

// Addresses that may be asked (platform/http/download.h), each once, in their order. Extensions
// that cannot be read name none.

// RFC 5280 4.2.1.13 and 4.2.1.15: the points of complete lists and of delta lists.
std::vector<std::string> ListAddresses(const Certificate& certificate);
std::vector<std::string> DeltaAddresses(const Certificate& certificate);
// The encoded names of the cRLIssuer fields among the points (RFC 5280 4.2.1.13).
std::vector<Bytes> ListIssuers(const Certificate& certificate);
// RFC 5280 5.2.6.
std::vector<std::string> DeltaAddresses(const Crl& crl);
// RFC 5280 4.2.2.1.
std::vector<std::string> ResponderAddresses(const Certificate& certificate);
std::vector<std::string> IssuerAddresses(const Certificate& certificate);

}  // namespace platform
