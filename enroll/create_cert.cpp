// -creatcert: a request, an authority's answer to it, and the certificate into the stores.
#include <windows.h>

#include <new>

#include "enroll/ca_page.h"
#include "enroll/client_road.h"
#include "enroll/endpoints.h"
#include "enroll/token.h"
#include "enroll/web_road.h"
#include "front/core/catalogue.h"
#include "front/core/commands.h"
#include "front/core/keys.h"
#include "front/core/state.h"

namespace kestrel {

namespace {

constexpr LONG kWrappedRequest = 2;  // the format that a certificate has signed

struct ChosenAuthority {
    std::string address;
    bool standard = true;
    std::unique_ptr<UnixRequest> client;  // of one that is not
};

Reported ChooseAuthority(ChosenAuthority& authority) {
    const char* address = nullptr;
    if (!TakeKey("CA", &address)) authority.standard = !TakeKey("FLCA", &address);
    authority.address = address != nullptr ? address : DefaultCaAddress();
    if (address == nullptr && authority.address.empty()) return ReportError(kLastError);
    return authority.standard ? Reported() : MakeCaClient(kFlcaAuthority, authority.client);
}

// The code that was reported is reported once more (enroll-48).
Reported MakeRequest(EnrollOptions& options, ComText& request) {
    PrintMessage(say::kCreatingRequest, 1);
    const LONG format = options.thumbprint != nullptr ? kWrappedRequest : kPlainRequest;
    if (const Reported failure = BuildRequest(format, options, request)) {
        SetLastError(failure);
        return ReportError(kLastError);
    }
    return 0;
}

Reported CreateByClient(ChosenAuthority& authority, const EnrollOptions& options,
                        const ComText& request, const char* idFile) {
    if (const Reported failure = CheckCaAddress(authority.address)) return failure;
    if (authority.standard) {
        if (const Reported failure = MakeCaClient(kSystemAuthority, authority.client)) {
            return failure;
        }
    } else if (const Reported failure = TrustAuthority(*authority.client, authority.address)) {
        return failure;
    }
    const Applicant applicant = {options.thumbprint, options.tokenId, options.tokenPassword.Get()};
    if (const Reported failure = Introduce(*authority.client, applicant)) return failure;
    return CreateThrough(*authority.client, options, authority.address, request, idFile);
}

Reported CreateCertificate() {
    if (state.firstFile != nullptr) return ReportError(kNoFileArgument);
    ChosenAuthority authority;
    if (const Reported failure = ChooseAuthority(authority)) return failure;
    const char* idFile = nullptr;
    TakeKey("FileID", &idFile);
    EnrollOptions options;
    if (const Reported failure = ParseEnrollKeys(options, {.request = true, .install = true})) {
        return failure;
    }
    // Before there is a key that nothing can be done with.
    if (const Reported failure = CheckTokenPassword(options.tokenPassword.Get())) return failure;
    ComText request;
    if (const Reported failure = MakeRequest(options, request)) return failure;
    PrintMessage(say::kSendingRequest, 1);
    if (authority.standard && authority.address.starts_with(kHttpScheme)) {
        return CreateOverWeb(options, authority.address, request, idFile);
    }
    return CreateByClient(authority, options, request, idFile);
}

}  // namespace

DWORD RunCreatCert() {
    try {
        return CreateCertificate();
    } catch (const std::bad_alloc&) {
        return ReportError(kNoMemory);
    }
}

}  // namespace kestrel
