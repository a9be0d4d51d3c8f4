// A provider that has an algorithm.
#include "selection/provider_search.h"

#include "selection/providers.h"

namespace Ferroline {

CFindAlgIdIn::~CFindAlgIdIn() {
    if (provider) CryptReleaseContext(provider, 0);
}

HCRYPTPROV CFindAlgIdIn::Share() const {
    if (provider && !CryptContextAddRef(provider, nullptr, 0)) ATL::ThrowLastError();
    return provider;
}

bool CFindAlgIdIn::Try(DWORD type, const char* name) {
    if (provider) {
        const HCRYPTPROV previous = provider;
        provider = 0;
        if (!CryptReleaseContext(previous, 0)) ATL::ThrowLastError();
    }
    if (!CryptAcquireContextA(&provider, nullptr, name, type, CRYPT_VERIFYCONTEXT)) {
        provider = 0;
        ATL::ThrowLastError();
    }
    for (DWORD position = CRYPT_FIRST;; position = 0) {
        PROV_ENUMALGS_EX record{};
        DWORD size = sizeof(record);
        if (!CryptGetProvParam(provider, PP_ENUMALGS_EX, reinterpret_cast<BYTE*>(&record), &size,
                               position)) {
            if (GetLastError() == ERROR_NO_MORE_ITEMS) return false;
            ATL::ThrowLastError();
        }
        if (record.aiAlgid == algId) return true;
    }
}

bool CFindAlgIdInDefaultProviders::OnProviderType(DWORD type, const char* /*name*/) {
    return !Try(type, nullptr);
}

bool CFindAlgIdInProviders::OnProvider(const char* name, DWORD type) { return !Try(type, name); }

}  // namespace Ferroline

namespace kestrel {

namespace {

HCRYPTPROV AnyProvider() {
    HCRYPTPROV provider = 0;
    if (!CryptAcquireContextA(&provider, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT)) {
        ATL::ThrowLastError();
    }
    return provider;
}

}  // namespace

// What an enumeration returns is not looked at: a failed one counts like the end of the
// list. A search that found nothing yields the last provider that it tried; callers learn
// of it when the algorithm fails.
HCRYPTPROV FindProviderForAlgorithm(ALG_ID algorithm) {
    if (algorithm == 0) return AnyProvider();

    Ferroline::CFindAlgIdInDefaultProviders defaults(algorithm);
    (void)defaults.Enumerate();
    if (const HCRYPTPROV provider = defaults.Share()) return provider;

    Ferroline::CFindAlgIdInProviders all(algorithm);
    (void)all.Enumerate();
    return all.Share();
}

}  // namespace kestrel
