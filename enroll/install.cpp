// -instcert: a certificate or a chain from a file into the stores.
#include <windows.h>

#include <string>

#include "enroll/options.h"
#include "front/core/catalogue.h"
#include "front/core/commands.h"
#include "front/core/state.h"
#include "messages/files/base64.h"
#include "messages/files/files.h"

namespace kestrel {

namespace {

constexpr LONG kMachineStores = CERT_SYSTEM_STORE_LOCAL_MACHINE;

// All that it puts somewhere goes to one side.
void SetStores(FLEnroll& control, const EnrollOptions& options, const ComText& storeName) {
    const LONG side = options.userStore ? kUserStores : kMachineStores;
    control.CAStoreFlags(side);
    control.MyStoreFlags(side);
    control.RootStoreFlags(side);
    control.RequestStoreFlags(kUserStores);
    control.ProviderFlags(static_cast<LONG>(options.provFlags));
    if (options.storeName != nullptr) control.MyStoreName(storeName.Get());
}

Reported ConfigureInstallation(FLEnroll& control, const EnrollOptions& options) {
    ComText storeName;
    if (options.storeName != nullptr && !Widen(options.storeName, storeName)) {
        return ReportError(kLastError);
    }
    SetStores(control, options, storeName);
    if (const Reported failure = SetContainerAndProvider(control, options)) return failure;
    control.GenKeyFlags(options.exportable);
    control.DeleteRequestCert(TRUE);
    control.WriteCertToCSP(!options.noCsp);
    SetKeySpec(control, options);
    return 0;
}

// Far more than any response has; each step from here makes further copies.
constexpr DWORD kMostOctets = 64 * 1024 * 1024;

// Whatever the file's form, the control is given one.
Reported ReadResponse(const char* file, std::string& text) {
    BYTE* data = nullptr;
    DWORD length = 0;
    int isDer = 0;
    if (const Reported failure = ReadFileWhole(file, data, length, &isDer)) return failure;
    const BytesHolder held(data);
    if (length > kMostOctets) return ReportError(kFileTooLarge);
    DWORD textLength = Base64Lines76Capacity(length);
    text.assign(textLength, '\0');
    if (!EncodeBase64Lines76(data, length, text.data(), &textLength)) {
        return ReportError(kLastError);
    }
    text.resize(textLength);
    return 0;
}

Reported InstallCertificate() {
    if (state.firstFile == nullptr) return ReportError(kNoInputFile);
    if (state.secondFile != nullptr) return ReportError(kTooManyFiles, state.secondFile);
    EnrollOptions options;
    if (const Reported failure = ParseEnrollKeys(options, {.install = true})) return failure;
    std::string text;
    if (const Reported failure = ReadResponse(state.firstFile, text)) return failure;
    return InstallIssuedCertificate(options, text.c_str());
}

}  // namespace

Reported InstallIssuedCertificate(const EnrollOptions& options, const char* response) {
    std::unique_ptr<FLEnroll> control;
    if (const Reported failure = MakeControl(control)) return failure;
    if (const Reported failure = ConfigureInstallation(*control, options)) return failure;
    ComText text;
    if (!Widen(response, text)) return ReportError(kLastError);
    ProviderHolder provider;
    if (const Unreported failure = OpenPinContext(options, provider)) {
        return LeaveToClosingLine(failure);
    }
    const HRESULT result = control->acceptPKCS7(text.Get());
    provider.Reset();
    if (FAILED(result)) return ReportResult(result);
    PrintMessage(say::kInstalled, 1);
    return 0;
}

DWORD RunInstCert() { return InstallCertificate(); }

}  // namespace kestrel
