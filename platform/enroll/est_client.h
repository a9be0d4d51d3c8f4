// Enrolment over secure transport (RFC 7030): what is sent to an authority, and how its answers are
// read. The HTTP library is loaded by the first of these calls.
#pragma once

#include "platform/enroll/est_address.h"
#include "platform/stores/store.h"

namespace platform {

enum class EstVerdict { Issued, Waits, Denied };

struct EstAnswer {
    EstVerdict verdict = EstVerdict::Issued;
    std::string text;                // for people; of the authority's words what can be shown
    CertificateBundle certificates;  // of an issued answer
};

// Both throw the faults of HTTP and TLS, ERROR_WINHTTP_LOGIN_FAILURE when the authority does not
// know the user, and ERROR_WINHTTP_INVALID_SERVER_RESPONSE for another answer than the protocol
// has.
EstAnswer SendEstRequest(const EstAddress& address, ByteView request);
CertificateBundle AskEstIssuers(const EstAddress& address);

}  // namespace platform
