// Who issued a certificate, as far as the stores know.
#pragma once

#include <memory>
#include <vector>

#include "platform/base/home.h"
#include "platform/certs/certificate.h"
#include "platform/providers/crypto.h"

namespace kestrelctl {

using Certificates = std::vector<std::shared_ptr<platform::Certificate>>;

struct Ancestry {
    Certificates issuers;   // the nearest first, up to a self-signed one
    bool complete = false;  // the last one, or the certificate itself, is self-signed
    bool trusted = false;   // and stands in "Root"
};

// Looks in `more`, "Root", "CA" and "My" of the side, for the user's also of the machine's.
Ancestry AncestryOf(platform::Side side, const std::shared_ptr<platform::Certificate>& certificate,
                    const Certificates& more = {});

bool IsSelfSigned(const platform::Certificate& certificate);

// The public key of a certificate; null when it is of a kind that nobody here knows.
platform::AnyKey PublicKeyOf(const platform::Certificate& certificate);

}  // namespace kestrelctl
