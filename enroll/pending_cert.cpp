// -pendcert: what became of a request that an authority let wait.
#include <windows.h>

#include <new>

#include "enroll/ca_page.h"
#include "enroll/client_road.h"
#include "enroll/endpoints.h"
#include "enroll/request_id.h"
#include "enroll/web_road.h"
#include "front/core/catalogue.h"
#include "front/core/commands.h"
#include "front/core/keys.h"
#include "front/core/state.h"

namespace kestrel {

namespace {

struct AskedAuthority {
    std::string address;
    bool byWeb = false;
    std::unique_ptr<UnixRequest> client;  // null: the system's, when it comes to that
};

// Keys that do not belong to the authority stay behind, as wrong ones.
Reported IntroduceByKeys(UnixRequest& client) {
    Applicant applicant;
    SecureText password;
    if (!TakeKey("thumbprint", &applicant.thumbprint) && TakeKey("token", &applicant.tokenId)) {
        TakeSecret("tpassword", password);
        applicant.tokenPassword = password.Get();
    }
    return Introduce(client, applicant);
}

// The web pages are asked where -CA stands twice, with two values: the later one by their order is
// the address (enroll-49).
Reported FindAuthority(AskedAuthority& authority) {
    const char* address = nullptr;
    const bool twice = TakeKey("CA", &address) && TakeKey("CA", &address);
    const bool client = !twice && TakeKey("FLCA", &address);
    authority.address = address != nullptr ? address : DefaultCaAddress();
    if (address == nullptr && authority.address.empty()) return ReportError(kLastError);
    authority.byWeb = twice && authority.address.starts_with(kHttpScheme);
    if (!client) return 0;
    if (const Reported failure = MakeCaClient(kFlcaAuthority, authority.client)) {
        return failure;
    }
    return IntroduceByKeys(*authority.client);
}

Reported FetchByClient(AskedAuthority& authority, const EnrollOptions& options, int id) {
    if (const Reported failure = CheckCaAddress(authority.address)) return failure;
    if (!authority.client) {
        if (const Reported failure = MakeCaClient(kSystemAuthority, authority.client)) {
            return failure;
        }
    }
    return FetchThrough(*authority.client, options, authority.address, id);
}

Reported FetchCertificate() {
    if (state.firstFile != nullptr) return ReportError(kNoFileArgument);
    AskedAuthority authority;
    if (const Reported failure = FindAuthority(authority)) return failure;
    const char* idFile = nullptr;
    TakeKey("FileID", &idFile);
    int id = 0;
    if (const Reported failure = AskRequestId(idFile, id)) return failure;
    EnrollOptions options;
    if (const Reported failure = ParseEnrollKeys(options, {.install = true})) return failure;
    PrintMessage(say::kSendingRequest, 1);
    if (authority.byWeb) return FetchOverWeb(options, authority.address, id);
    return FetchByClient(authority, options, id);
}

}  // namespace

DWORD RunPendCert() {
    try {
        return FetchCertificate();
    } catch (const std::bad_alloc&) {
        return ReportError(kNoMemory);
    }
}

}  // namespace kestrel
