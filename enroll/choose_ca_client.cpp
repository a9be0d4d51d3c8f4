// Which client speaks to an authority.
#include <enrollment.h>

#include "enroll/com_holders.h"
#include "enroll/fl_icert_request.h"
#include "enroll/flca15_request.h"

namespace kestrel {

namespace {

std::unique_ptr<UnixRequest> SystemClient() {
    const HRESULT entered = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    if (entered != S_OK && entered != S_FALSE) return nullptr;
    ICertRequest* client = nullptr;
    const HRESULT made = Create(enrollment::kCCertRequest, enrollment::kICertRequest,
                                reinterpret_cast<void**>(&client));
    if (SUCCEEDED(made)) return std::make_unique<FLICertRequest>(client);
    CoUninitialize();
    return nullptr;
}

}  // namespace

std::unique_ptr<UnixRequest> ChooseCaClient(std::string_view word) {
    if (word == kSystemAuthority) return SystemClient();
    if (word == kFlcaAuthority) return std::make_unique<FLCA15Request>();
    return nullptr;
}

}  // namespace kestrel
