// Chains of chosen certificates: what is wrong with one, and what the user says to it.
#include <cstdio>

#include "front/core/catalogue.h"
#include "selection/console.h"
#include "selection/search.h"

namespace kestrel {

namespace {

struct ChainExplanation {
    DWORD status;
    MessageId message;
};

constexpr ChainExplanation kExplanations[] = {
    {CERT_TRUST_IS_NOT_TIME_VALID, 162},      {CERT_TRUST_IS_REVOKED, 163},
    {CERT_TRUST_IS_NOT_SIGNATURE_VALID, 164}, {CERT_TRUST_IS_NOT_VALID_FOR_USAGE, 165},
    {CERT_TRUST_IS_UNTRUSTED_ROOT, 166},      {CERT_TRUST_REVOCATION_STATUS_UNKNOWN, 167},
};

// A sentence stands for exactly one bit; several bits are told by their number.
void ExplainChain(DWORD status) {
    for (const ChainExplanation& row : kExplanations) {
        if (row.status == status) return PrintMessage(row.message, 1);
    }
    PrintErrorText(kBadChain, status);
}

char ReadUseAnswer() {
    for (;;) {
        const char answer = ReadAnswerLetter();
        if (answer == 'C' || answer == 'N' || answer == 'Y') return answer;
    }
}

// The call that builds chains knows nothing of key usage (chain-4). A certificate that tells none
// may be used for all; one that tells it in a damaged way has its bit in the chain.
bool MaySign(PCCERT_CONTEXT certificate) {
    constexpr BYTE kSigning = CERT_DIGITAL_SIGNATURE_KEY_USAGE | CERT_NON_REPUDIATION_KEY_USAGE;
    BYTE usage = 0;
    return !CertGetIntendedKeyUsage(X509_ASN_ENCODING, certificate->pCertInfo, &usage, 1) ||
           (usage & kSigning) != 0;
}

}  // namespace

Reported CheckChain(PCCERT_CONTEXT certificate, Purpose purpose, DWORD& status) {
    CERT_CHAIN_PARA para{};
    para.cbSize = sizeof(para);
    const DWORD flags = state.revocationOff ? 0 : CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT;
    PCCERT_CHAIN_CONTEXT chain = nullptr;
    if (!CertGetCertificateChain(nullptr, certificate, nullptr, nullptr, &para, flags, nullptr,
                                 &chain)) {
        return ReportError(kLastError);
    }
    status = chain->TrustStatus.dwErrorStatus;
    CertFreeCertificateChain(chain);
    if (purpose == Purpose::Signing && !MaySign(certificate)) {
        status |= CERT_TRUST_IS_NOT_VALID_FOR_USAGE;
    }
    return 0;
}

Reported AskAboutBadChain(DWORD status, bool& keep) {
    ExplainChain(status);
    if (state.chainErrorsFatal) return LeaveToClosingLine(Unreported(kBadChain));
    PrintMessage(say::kUseThisCertificate, 0);
    const char answer = ReadUseAnswer();
    std::putchar('\n');
    std::fflush(stdout);
    if (answer == 'C') return ReportError(kCancelled);
    keep = answer == 'Y';
    return 0;
}

}  // namespace kestrel
