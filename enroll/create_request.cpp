// -creatrqst: a certificate request into a file.
#include <windows.h>

#include <cstdlib>
#include <cstring>

#include "enroll/options.h"
#include "enroll/usages.h"
#include "front/core/catalogue.h"
#include "front/core/commands.h"
#include "front/core/keys.h"
#include "front/core/state.h"
#include "messages/files/any_text.h"
#include "messages/files/files.h"

namespace kestrel {

namespace {

constexpr int kKeySizeShift = 16;

// The size is dropped when the key is exportable (enroll-6), and its upper half always (enroll-7).
LONG GenerationFlags(const EnrollOptions& options) {
    if (options.exportable) return CRYPT_EXPORTABLE;
    return static_cast<LONG>(options.keySize << kKeySizeShift);
}

Reported ConfigureRequest(FLEnroll& control, const EnrollOptions& options) {
    control.EnableSMIMECapabilities(options.smime);
    control.UseExistingKeySet(options.noKeyGen);
    if (const Reported failure = SetContainerAndProvider(control, options)) return failure;
    control.GenKeyFlags(GenerationFlags(options));
    control.RequestStoreFlags(kUserStores);
    control.ProviderFlags(static_cast<LONG>(options.provFlags));
    SetKeySpec(control, options);
    return 0;
}

Reported Ask(FLEnroll& control, LONG format, const EnrollOptions& options, ComText& request) {
    ComText subject;
    ComText usage;
    if (!Widen(options.subjectDn, subject) || !Widen(options.certUsage.c_str(), usage)) {
        return ReportError(kLastError);
    }
    ProviderHolder provider;
    if (const Unreported failure = OpenPinContext(options, provider)) {
        SetLastError(failure.Code());
        return ReportError(kLastError);
    }
    const HRESULT result =
        control.createRequest(format, subject.Get(), usage.Get(), request.Fill());
    provider.Reset();
    if (FAILED(result)) return ReportResult(result);
    if (request.IsEmpty()) return ReportResult(NTE_BAD_KEYSET);
    return 0;
}

// The request as a buffer of the whole-file road.
Reported ToFileForm(const ComText& request, bool der, BytesHolder& bytes, DWORD& length) {
    std::string narrow;
    if (!Narrow(request, narrow)) return ReportError(kLastError);
    length = static_cast<DWORD>(narrow.size());
    bytes.reset(static_cast<BYTE*>(std::malloc(narrow.size())));
    if (!bytes) return ReportError(kNoMemory);
    std::memcpy(bytes.get(), narrow.data(), narrow.size());
    if (der && DecodeAnyText(bytes.get(), length, bytes.get(), &length) != S_OK) {
        return ReportError(kBadBase64);
    }
    return 0;
}

Reported WriteRequest(const ComText& request, bool der, const char* file) {
    BytesHolder bytes;
    DWORD length = 0;
    if (const Reported failure = ToFileForm(request, der, bytes, length)) return failure;
    if (const Reported failure = WriteFileRaw(file, bytes.get(), length)) {
        bytes.release();  // it was freed
        return failure;
    }
    PrintMessage(say::kRequestSaved, 1);
    return 0;
}

Reported CreateRequest() {
    if (state.firstFile == nullptr) return ReportError(kNoOutputFile);
    if (state.secondFile != nullptr) return ReportError(kTooManyFiles, state.secondFile);
    const bool der = TakeKey("der");
    EnrollOptions options;
    if (const Reported failure = ParseEnrollKeys(options, {.request = true})) return failure;
    ComText request;
    if (const Reported failure = BuildRequest(kPlainRequest, options, request)) return failure;
    return WriteRequest(request, der, state.firstFile);
}

}  // namespace

Reported BuildRequest(LONG format, EnrollOptions& options, ComText& request) {
    std::unique_ptr<FLEnroll> control;
    if (const Reported failure = MakeControl(control)) return failure;
    if (const Reported failure = ConfigureRequest(*control, options)) return failure;
    if (options.certUsage.empty()) options.certUsage = kDefaultUsage;
    if (const Reported failure = ApplyExtensionKeys(*control)) return failure;
    return Ask(*control, format, options, request);
}

DWORD RunCreatRqst() { return CreateRequest(); }

}  // namespace kestrel
