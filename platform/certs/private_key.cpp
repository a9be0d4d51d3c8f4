// From a certificate to the provider handle of its private key.
#include <utility>

#include "platform/base/error.h"
#include "platform/certs/certificate.h"
#include "platform/certs/key_provider_info.h"
#include "platform/providers/container.h"
#include "platform/providers/crypto.h"

namespace platform {
namespace {

struct AcquiredKey {
    HCRYPTPROV provider = 0;
    DWORD keySpec = 0;
    bool callerFrees = false;
};

// A provider handle until somebody takes it over.
class ProviderHolder {
  public:
    explicit ProviderHolder(HCRYPTPROV provider) : provider_(provider) {}
    ~ProviderHolder() {
        const LastErrorKeeper keeper;
        if (provider_ != 0) CryptReleaseContext(provider_, 0);
    }
    ProviderHolder(const ProviderHolder&) = delete;
    ProviderHolder& operator=(const ProviderHolder&) = delete;
    [[nodiscard]] HCRYPTPROV Get() const { return provider_; }
    HCRYPTPROV Take() { return std::exchange(provider_, 0); }

  private:
    HCRYPTPROV provider_;
};

HCRYPTPROV Acquire(const KeyProviderInfo& info, DWORD flags) {
    const auto orNull = [](const std::string& text) {
        return text.empty() ? nullptr : text.c_str();
    };
    DWORD acquireFlags = info.flags & (CRYPT_MACHINE_KEYSET | CRYPT_SILENT);
    if ((flags & CRYPT_ACQUIRE_SILENT_FLAG) != 0) acquireFlags |= CRYPT_SILENT;
    HCRYPTPROV provider = 0;
    if (CryptAcquireContextA(&provider, orNull(info.container), orNull(info.provider), info.type,
                             acquireFlags) == FALSE) {
        const DWORD code = GetLastError();
        throw Error(code, LastErrorDetail(code));
    }
    return provider;
}

// Whether the key can be looked at without asking the user for anything.
bool OpensSilently(const KeyProviderInfo& info) {
    if (!Container::ValidName(info.container)) return false;
    const bool machine = (info.flags & CRYPT_MACHINE_KEYSET) != 0;
    const Container container =
        Container::Open(machine ? Side::Machine : Side::User, info.container);
    return container.HasKey(info.keySpec) && !container.NeedsPassword(info.keySpec);
}

// A container that was overwritten with another key would sign in the certificate's
// name without fitting it, so that is found here.
void CheckSameKey(const Certificate& certificate, const KeyProviderInfo& info,
                  HCRYPTPROV provider) {
    if (!OpensSilently(info)) return;
    const AnyKey expected = PublicKeyFromInfo(certificate.Info().SubjectPublicKeyInfo);
    if (!expected.Matches(PrivateKeyOf(provider, info.keySpec))) throw Error(NTE_BAD_PUBLIC_KEY);
}

AcquiredKey AcquireKey(Certificate& certificate, DWORD flags) {
    if (const KeyContext* context = certificate.keyContext.get()) {
        return {context->Provider(), context->KeySpec(), false};
    }
    const auto property = certificate.properties.find(CERT_KEY_PROV_INFO_PROP_ID);
    if (property == certificate.properties.end()) throw Error(CRYPT_E_NO_KEY_PROPERTY);
    const KeyProviderInfo info = ParseKeyProviderInfo(property->second);
    ProviderHolder provider(Acquire(info, flags));
    CheckSameKey(certificate, info, provider.Get());
    if ((flags & CRYPT_ACQUIRE_CACHE_FLAG) == 0) return {provider.Take(), info.keySpec, true};
    certificate.keyContext =
        std::make_unique<KeyContext>(provider.Get(), info.keySpec, /*owned=*/true);
    return {provider.Take(), info.keySpec, false};
}

}  // namespace
}  // namespace platform

using namespace platform;

BOOL WINAPI CryptAcquireCertificatePrivateKey(PCCERT_CONTEXT certificate, DWORD flags, void*,
                                              HCRYPTPROV_OR_NCRYPT_KEY_HANDLE* provider,
                                              DWORD* keySpec, BOOL* callerFree) {
    return GuardedBool([&] {
        if (provider == nullptr) throw Error(ERROR_INVALID_PARAMETER);
        const AcquiredKey key = AcquireKey(*Certificate::Of(certificate), flags);
        *provider = key.provider;
        if (keySpec != nullptr) *keySpec = key.keySpec;
        if (callerFree != nullptr) *callerFree = key.callerFrees ? TRUE : FALSE;
    });
}
