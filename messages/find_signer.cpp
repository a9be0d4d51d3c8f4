// Whose signature it is.
#include "messages/find_signer.h"

#include "front/core/catalogue.h"
#include "front/core/encoding.h"
#include "front/core/state.h"
#include "messages/message_params.h"

namespace kestrel {
namespace {

// What was selected decides, whatever certificates the message brings.
Reported IsSelectedSigner(HCRYPTMSG message, DWORD index, bool& selected) {
    std::vector<BYTE> block;
    if (!ReadParam(message, CMSG_SIGNER_CERT_INFO_PARAM, index, block)) {
        return ReportError(kLastError);
    }
    selected = IsSigner(*reinterpret_cast<const CERT_INFO*>(block.data()),
                        state.foundCertificates->front());
    return 0;
}

Reported VerifySelected(HCRYPTMSG message, DWORD index) {
    CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA para{};
    para.cbSize = sizeof(para);
    para.dwSignerIndex = index;
    para.dwSignerType = CMSG_VERIFY_SIGNER_CERT;
    para.pvSigner = const_cast<PCERT_CONTEXT>(state.foundCertificates->front());
    if (CryptMsgControl(message, 0, CMSG_CTRL_VERIFY_SIGNATURE_EX, &para)) return 0;
    return ReportError(kLastError);
}

}  // namespace

bool IsSigner(const CERT_INFO& signer, PCCERT_CONTEXT certificate) {
    CERT_INFO info = signer;  // the call takes it as one to change, and leaves it alone
    return CertCompareCertificate(kMessageEncodingType, &info, certificate->pCertInfo) != FALSE;
}

PCCERT_CONTEXT FindInCriterion(const CERT_INFO& signer) {
    if (!state.foundCertificates) return nullptr;
    for (PCCERT_CONTEXT certificate : *state.foundCertificates) {
        if (IsSigner(signer, certificate)) return certificate;
    }
    return nullptr;
}

Reported FindSelectedSigner(HCRYPTMSG message, DWORD& signer) {
    DWORD type = 0;
    DWORD count = 0;
    if (!ReadCount(message, CMSG_TYPE_PARAM, type)) return ReportError(kLastError);
    if (type != CMSG_SIGNED) {
        SetLastError(static_cast<DWORD>(CRYPT_E_UNEXPECTED_MSG_TYPE));
        return ReportError(kLastError);
    }
    if (!ReadCount(message, CMSG_SIGNER_COUNT_PARAM, count)) return ReportError(kLastError);
    for (signer = 0; signer < count; ++signer) {
        bool selected = false;
        if (const Reported failure = IsSelectedSigner(message, signer, selected)) return failure;
        if (selected) return VerifySelected(message, signer);
    }
    return ReportError(kNoSignature);
}

}  // namespace kestrel
