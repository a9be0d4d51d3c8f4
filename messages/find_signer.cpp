// The search for the one signature that a command is to change.
#include "front/core/catalogue.h"
#include "front/core/state.h"
#include "messages/files/road.h"
#include "messages/maintain.h"
#include "selection/search.h"

namespace kestrel {
namespace {

// Names the selected certificate where it is the signer's, whatever certificates the
// message brings: what was selected decides.
PCCERT_CONTEXT WINAPI MatchSelectedSigner(void* signerMatched, DWORD encodingType,
                                          PCERT_INFO signerInfo, HCERTSTORE) {
    const PCCERT_CONTEXT selected = state.foundCertificates->front();
    const bool matched =
        signerInfo != nullptr &&
        CertCompareCertificate(encodingType, signerInfo, selected->pCertInfo) != FALSE;
    *static_cast<bool*>(signerMatched) = matched;
    // The verifying call frees what it gets.
    if (matched) return CertDuplicateCertificateContext(selected);
    // By no error the search knows a signer that is only another one.
    SetLastError(NO_ERROR);
    return nullptr;
}

}  // namespace

DWORD FindSelectedSigner(const MessageFile& file, DWORD& signer) {
    bool signerMatched = false;
    CRYPT_VERIFY_MESSAGE_PARA para{};
    para.cbSize = sizeof(para);
    para.dwMsgAndCertEncodingType = kMessageEncodingType;
    para.pfnGetSignerCertificate = MatchSelectedSigner;
    para.pvGetArg = &signerMatched;
    for (signer = 0;; ++signer) {
        if (CryptVerifyMessageSignature(&para, signer, file.data.get(), file.size, nullptr, nullptr,
                                        nullptr)) {
            if (signerMatched) return 0;
            continue;
        }
        const DWORD error = GetLastError();
        if (error == NO_ERROR) continue;
        if (error == static_cast<DWORD>(CRYPT_E_NO_SIGNER)) return ReportError(kNoSignature);
        return ReportError(kLastError);
    }
}

}  // namespace kestrel
