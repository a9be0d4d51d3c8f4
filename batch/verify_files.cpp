// -vsignf: checks the detached signature of each file in its companion ".sgn".
#include <array>

#include "batch/batch.h"
#include "batch/steps.h"
#include "front/core/commands.h"
#include "front/core/keys.h"
#include "messages/files/road.h"
#include "messages/find_signer.h"
#include "stamps/stamps.h"

namespace kestrel {
namespace {

PCCERT_CONTEXT FindInStore(const CERT_INFO& signer, HCERTSTORE store) {
    PCCERT_CONTEXT candidate = nullptr;
    do {
        // The one before is freed by the call.
        candidate = CertFindCertificateInStore(store, kMessageEncodingType, 0, CERT_FIND_ANY,
                                               nullptr, candidate);
    } while (candidate != nullptr && !IsSigner(signer, candidate));
    return candidate;
}

// The criterion filters nothing here: it supplies certificates that the message lacks.
PCCERT_CONTEXT WINAPI FindSignerCertificate(void*, DWORD, PCERT_INFO signerInfo, HCERTSTORE store) {
    if (signerInfo == nullptr) return nullptr;
    if (PCCERT_CONTEXT found = FindInStore(*signerInfo, store)) return found;
    return CertDuplicateCertificateContext(FindInCriterion(*signerInfo));
}

// Whatever the reader met and reported, the file's result is that of a file that cannot be
// opened.
Reported ReadSignature(const char* name, Block& signature) {
    BYTE* data = nullptr;
    int isDer = 0;
    if (ReadFileWhole(name, data, signature.size, &isDer)) {
        return LeaveToClosingLine(Unreported(kCannotOpenFile));
    }
    signature.data.reset(data);
    return 0;
}

bool Verify(const Block& source, const Block& signature) {
    CRYPT_VERIFY_MESSAGE_PARA para{};
    para.cbSize = sizeof(para);
    para.dwMsgAndCertEncodingType = kMessageEncodingType;
    para.pfnGetSignerCertificate = FindSignerCertificate;
    std::array<const BYTE*, 1> blocks{source.data.get()};
    std::array<DWORD, 1> sizes{source.size};
    return CryptVerifyDetachedMessageSignature(&para, 0, signature.data.get(), signature.size, 1,
                                               blocks.data(), sizes.data(), nullptr) != FALSE;
}

Reported EndWithFailure() {
    switch (GetLastError()) {
        case static_cast<DWORD>(NTE_BAD_SIGNATURE):
            return EndLine(say::kCorrupted, kBadSignatures);
        case static_cast<DWORD>(CRYPT_E_UNEXPECTED_MSG_TYPE):
            return EndLine(say::kWrongFormat, kNotSignedMessage);
        case static_cast<DWORD>(NTE_BAD_ALGID):
            return ReportError(kBadSignatureAlgorithm);
        case NO_ERROR:
            // So it is when the callback finds nobody. A file that nobody is known to have
            // signed must not count as good.
            SetLastError(static_cast<DWORD>(CRYPT_E_SIGNER_NOT_FOUND));
            break;
        default:
            break;
    }
    return ReportError(kLastError);
}

// The source stands for the message and the signature for its content (batch-3).
Reported CheckStamps(const Block& source, const Block& signature, const char* contentHours,
                     const char* signatureHours) {
    if (contentHours == nullptr && signatureHours == nullptr) return 0;
    const DWORD code = CheckMessageStamps(source.data.get(), source.size, signature.data.get(),
                                          signature.size, contentHours, signatureHours, 0);
    return LeaveToClosingLine(Unreported(code == 0 ? 0 : kBadTimeStamp));
}

Reported VerifyFile(const char* sourceName, const char* companionName, DWORD,
                    const char* contentStampValue, const char* signatureStampValue, DWORD) {
    if (const Reported failure = RejectLeftoverKeys()) return failure;
    Block source;
    if (const Reported failure = ReadSource(sourceName, source)) return failure;
    Block signature;
    if (const Reported failure = ReadSignature(companionName, signature)) return failure;
    if (!Verify(source, signature)) return EndWithFailure();
    if (const Reported failure =
            CheckStamps(source, signature, contentStampValue, signatureStampValue)) {
        return failure;
    }
    return EndLine(say::kFileDone, 0);
}

}  // namespace

DWORD RunVerifyFiles() {
    return RunFileBatch({BatchKind::Verify, kSignatureExtension, VerifyFile});
}

}  // namespace kestrel
