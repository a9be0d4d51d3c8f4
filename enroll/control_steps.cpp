// What a request and an installation tell a control alike.
#include "enroll/options.h"

#include "front/core/catalogue.h"

namespace kestrel {

Reported ReportResult(HRESULT result) {
    SetLastError(static_cast<DWORD>(result));
    return ReportError(kLastError);
}

Reported MakeControl(std::unique_ptr<FLEnroll>& control) {
    control = ChooseEnrollControl();
    if (!control) return ReportError(kComFailed);
    return 0;
}

HRESULT SetKeySpec(FLEnroll& control, const EnrollOptions& options) {
    if (options.keySpecChoice == KeySpecChoice::Signature) return control.KeySpec(AT_SIGNATURE);
    control.KeySpec(AT_KEYEXCHANGE);
    return control.LimitExchangeKeyToEncipherment(options.keySpecChoice == KeySpecChoice::Exchange);
}

Reported SetContainerAndProvider(FLEnroll& control, const EnrollOptions& options) {
    ComText container;
    ComText provider;
    const bool wide = (!options.container || Widen(options.container->c_str(), container)) &&
                      (options.provName == nullptr || Widen(options.provName, provider));
    if (!wide) return ReportError(kLastError);
    if (options.container) control.ContainerName(container.Get());
    control.ProviderType(static_cast<LONG>(options.provType));
    if (options.provName != nullptr) control.ProviderName(provider.Get());
    return 0;
}

// enroll-3: the machine's containers are not looked into.
Unreported OpenPinContext(const EnrollOptions& options, ProviderHolder& provider) {
    if (!options.noKeyGen || options.pin.Get() == nullptr) return {};
    const char* container = options.container ? options.container->c_str() : nullptr;
    const bool done = CryptAcquireContextA(provider.Fill(), container, options.provName,
                                           options.provType, CRYPT_SILENT) &&
                      CryptSetProvParam(provider.Get(), PP_KEYEXCHANGE_PIN,
                                        reinterpret_cast<const BYTE*>(options.pin.Get()), 0);
    return done ? Unreported() : Unreported(GetLastError());
}

}  // namespace kestrel
