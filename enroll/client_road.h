// An authority by a client for its kind.
#pragma once

#include <memory>
#include <string>

#include "enroll/options.h"
#include "enroll/unix_request.h"

namespace kestrel {

// A client, or null with kComFailed reported.
Reported MakeCaClient(std::string_view kind, std::unique_ptr<UnixRequest>& client);

// 0, or kBadCaAddress, reported, for an address that no client takes.
Reported CheckCaAddress(const std::string& address);

// Who the user is to the authority; null is none. The certificate wins.
struct Applicant {
    const char* thumbprint = nullptr;
    const char* tokenId = nullptr;
    const char* tokenPassword = nullptr;
};
// 0 or a reported code.
Reported Introduce(UnixRequest& client, const Applicant& applicant);

// Puts the authority's own chain into the stores, whoever its server says that it is. 0 or a code
// that the closing line alone tells.
Reported TrustAuthority(UnixRequest& client, const std::string& address);

// Hands a request in, and installs what is issued at once. The number of one that has to wait is
// told as TellRequestId has it. 0 or a reported code.
Reported CreateThrough(UnixRequest& client, const EnrollOptions& options,
                       const std::string& address, const ComText& request, const char* idFile);
// Installs what was issued meanwhile. 0, also for a request that was denied, or a reported code.
Reported FetchThrough(UnixRequest& client, const EnrollOptions& options, const std::string& address,
                      int id);

}  // namespace kestrel
