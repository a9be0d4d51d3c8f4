// Who issued a certificate, as far as the stores know.
#pragma once

#include <memory>

#include "platform/base/home.h"
#include "platform/certs/ancestors.h"

namespace kestrelctl {

using platform::Certificates;

struct Ancestry {
    Certificates issuers;   // the nearest first, up to a self-signed one
    bool complete = false;  // the last one, or the certificate itself, is self-signed
    bool trusted = false;   // and stands in "Root"
};

// Looks in `more`, "Root", "CA" and "My" of the side, for the user's also of the machine's.
Ancestry AncestryOf(platform::Side side, const std::shared_ptr<platform::Certificate>& certificate,
                    const Certificates& more = {});

}  // namespace kestrelctl
