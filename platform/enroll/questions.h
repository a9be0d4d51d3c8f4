// What enrolment asks the user. Nobody is asked without a terminal.
#pragma once

#include "platform/base/bytes.h"
#include "platform/certs/certificate.h"

namespace platform {

// The password of a new key, asked for twice; empty for none, and when nobody may be asked.
// Throws SCARD_W_CANCELLED_BY_USER when the input ends, or the two differ time and again.
Secret AskNewPassword(bool silent);

// Whether a root certificate is to be trusted, by the administrator's setting or the user's word.
bool MayTrust(const Certificate& root, bool silent);

}  // namespace platform
