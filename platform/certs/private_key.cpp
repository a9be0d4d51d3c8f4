// From a certificate to its private key.
#include "platform/certs/private_key.h"

#include "platform/base/error.h"
#include "platform/certs/key_provider_info.h"
#include "platform/providers/crypto.h"

namespace platform {
namespace {

const char* TextOrNull(const std::string& text) { return text.empty() ? nullptr : text.c_str(); }

Side SideOf(const KeyProviderInfo& info) {
    return (info.flags & CRYPT_MACHINE_KEYSET) != 0 ? Side::Machine : Side::User;
}

// Whether the key can be looked at without asking the user for anything.
bool OpensSilently(const KeyProviderInfo& info) {
    if (!Container::ValidName(info.container)) return false;
    const Container container = Container::Open(SideOf(info), info.container);
    return container.HasKey(info.keySpec) && !container.NeedsPassword(info.keySpec);
}

// A container that was overwritten with another key would sign in the certificate's
// name without fitting it, so that is found here.
void CheckSameKey(const Certificate& certificate, const KeyProviderInfo& info, Provider& provider) {
    if (!OpensSilently(info)) return;
    const AnyKey expected = PublicKeyFromInfo(certificate.Info().SubjectPublicKeyInfo);
    if (!expected.Matches(provider.Key(info.keySpec))) throw Error(NTE_BAD_PUBLIC_KEY);
}

}  // namespace

AcquiredKey AcquireKey(const Certificate& certificate, bool silent) {
    if (const KeyContext* context = certificate.keyContext.get()) {
        return {context->OpenedWith(), context->KeySpec(), false};
    }
    const auto property = certificate.properties.find(CERT_KEY_PROV_INFO_PROP_ID);
    if (property == certificate.properties.end()) throw Error(CRYPT_E_NO_KEY_PROPERTY);
    const KeyProviderInfo info = ParseKeyProviderInfo(property->second);
    const bool quiet = silent || (info.flags & CRYPT_SILENT) != 0;
    auto provider = OpenProvider(info.type, TextOrNull(info.provider), SideOf(info), quiet,
                                 TextOrNull(info.container));
    CheckSameKey(certificate, info, *provider);
    return {std::move(provider), info.keySpec, true};
}

}  // namespace platform
