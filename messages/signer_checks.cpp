// Every signature of a message, one after the other.
#include "messages/signer_checks.h"

#include <vector>

#include "front/core/catalogue.h"
#include "messages/files/files.h"
#include "messages/files/road.h"
#include "messages/find_signer.h"
#include "messages/message_params.h"
#include "selection/names.h"
#include "selection/search.h"
#include "stamps/stamps.h"

namespace kestrel {
namespace {

// What the check of one signer leads to.
enum class Outcome {
    Good,      // go on with the next check
    Bad,       // the signature counts as failed
    Rejected,  // the user said no: only this signer's own flag tells
    End        // the command ends with a code
};

class SignerCheck {
  public:
    SignerCheck(HCRYPTMSG message, const SignerRules& rules, DWORD index)
        : message_(message), rules_(rules), index_(index) {}

    // With Outcome::End, `endFailure` ends the command.
    Outcome Run(Reported& endFailure);

  private:
    Outcome End(Reported failure);
    Outcome EndWithLastError() { return End(ReportError(kLastError)); }
    Outcome FindCertificate();
    Outcome TakeFirstOfMessage();
    Outcome VerifySignature();
    Outcome CheckCriterion();
    Outcome CheckTrust();
    Outcome PrintSigner();
    [[nodiscard]] const CERT_INFO& Signer() const;

    HCRYPTMSG message_;
    const SignerRules& rules_;
    DWORD index_;
    Reported endFailure_;
    DWORD signatureError_ = NO_ERROR;
    std::vector<BYTE> signer_;
    CertificateHolder certificate_;
};

Outcome SignerCheck::End(Reported failure) {
    endFailure_ = failure;
    return Outcome::End;
}

const CERT_INFO& SignerCheck::Signer() const {
    return *reinterpret_cast<const CERT_INFO*>(signer_.data());
}

// Only the first certificate of a message is looked at (verify-2).
Outcome SignerCheck::TakeFirstOfMessage() {
    DWORD count = 0;
    if (!ReadCount(message_, CMSG_CERT_COUNT_PARAM, count)) return EndWithLastError();
    if (count == 0) return Outcome::Good;
    std::vector<BYTE> encoded;
    if (!ReadParam(message_, CMSG_CERT_PARAM, 0, encoded)) return EndWithLastError();
    CertificateHolder candidate(CertCreateCertificateContext(kMessageEncodingType, encoded.data(),
                                                             static_cast<DWORD>(encoded.size())));
    if (candidate && IsSigner(Signer(), candidate.get())) certificate_ = std::move(candidate);
    return Outcome::Good;
}

Outcome SignerCheck::FindCertificate() {
    if (!ReadParam(message_, CMSG_SIGNER_CERT_INFO_PARAM, index_, signer_)) {
        return EndWithLastError();
    }
    if (TakeFirstOfMessage() == Outcome::End) return Outcome::End;
    if (certificate_) return Outcome::Good;
    if (PCCERT_CONTEXT found = FindInCriterion(Signer())) {
        certificate_.reset(CertDuplicateCertificateContext(found));
    }
    return Outcome::Good;
}

// A signature that is merely wrong goes on to the signer's line before it is reported.
Outcome SignerCheck::VerifySignature() {
    CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA para{};
    para.cbSize = sizeof(para);
    para.dwSignerIndex = index_;
    para.dwSignerType = CMSG_VERIFY_SIGNER_CERT;
    para.pvSigner = const_cast<PCERT_CONTEXT>(certificate_.get());
    signatureError_ = static_cast<DWORD>(CRYPT_E_NOT_FOUND);
    if (certificate_) {
        if (CryptMsgControl(message_, 0, CMSG_CTRL_VERIFY_SIGNATURE_EX, &para)) {
            signatureError_ = NO_ERROR;
            return Outcome::Good;
        }
        signatureError_ = GetLastError();
    }
    if (signatureError_ == static_cast<DWORD>(CRYPT_E_NOT_FOUND)) {
        PrintMessage(say::kNoSignerCertificate, 1);
        return Outcome::Bad;
    }
    const bool wrong = signatureError_ == static_cast<DWORD>(NTE_BAD_ALGID) ||
                       signatureError_ == static_cast<DWORD>(NTE_BAD_SIGNATURE) ||
                       signatureError_ == static_cast<DWORD>(CRYPT_E_AUTH_ATTR_MISSING);  // cms-2
    return wrong ? Outcome::Good : End(ReportError(kNotSignedMessage));
}

Outcome SignerCheck::PrintSigner() {
    const auto name =
        SubjectText(certificate_.get(), CERT_SIMPLE_NAME_STR | CERT_NAME_STR_REVERSE_FLAG);
    if (!name) return End(ReportError(kNoMemory));
    PrintMessage(say::kSigner, 0);
    PrintText(name.get(), 1);
    return Outcome::Good;
}

Outcome SignerCheck::CheckCriterion() {
    if (rules_.verifyAll || FindInCriterion(Signer()) != nullptr) return Outcome::Good;
    PrintMessage(say::kSkipped, 1);
    return Outcome::Bad;
}

Outcome SignerCheck::CheckTrust() {
    DWORD status = 0;
    if (CheckChain(certificate_.get(), Purpose::Signing, status) != 0) return Outcome::Bad;
    if (status == 0) return Outcome::Good;
    bool keep = false;
    const Reported failure = AskAboutBadChain(status, keep);
    if (failure == kBadChain) return Outcome::Bad;
    if (failure) return End(failure);
    return keep ? Outcome::Good : Outcome::Rejected;
}

Outcome SignerCheck::Run(Reported& endFailure) {
    Outcome outcome = FindCertificate();
    if (outcome == Outcome::Good) outcome = VerifySignature();
    if (outcome == Outcome::Good) outcome = PrintSigner();
    if (outcome == Outcome::Good) outcome = CheckCriterion();
    if (outcome == Outcome::Good && signatureError_ != NO_ERROR) {
        SetLastError(signatureError_);
        static_cast<void>(ReportError(kLastError));
        outcome = Outcome::Bad;
    }
    if (outcome == Outcome::Good && rules_.checkChains) outcome = CheckTrust();
    if (outcome == Outcome::Good) PrintMessage(say::kVerified, 1);
    endFailure = endFailure_;
    return outcome;
}

// ---- time stamps -------------------------------------------------------------

// Both files are read anew for each signer. A failure ends the command.
Reported CheckStamps(const SignerRules& rules, DWORD index, bool& stampsGood) {
    if (rules.contentHours == nullptr && rules.signatureHours == nullptr) return 0;
    if (state.secondFile == nullptr) return ReportError(kNoMessageFile);
    BYTE* data = nullptr;
    DWORD messageSize = 0;
    int isDer = 0;
    if (const Reported failure = ReadFileWhole(state.firstFile, data, messageSize, &isDer)) {
        return failure;
    }
    const BytesHolder message(data);
    DWORD contentSize = 0;
    if (const Reported failure = ReadFileWhole(state.secondFile, data, contentSize, nullptr)) {
        return failure;
    }
    const BytesHolder content(data);
    if (CheckMessageStamps(message.get(), messageSize, content.get(), contentSize,
                           rules.contentHours, rules.signatureHours, index) != 0) {
        stampsGood = false;
    }
    return 0;
}

// A "no" of the user is carried over by the next signer's turn only, so one for the
// last signer leaves the result as it was (verify-1).
Reported CheckOneSigner(HCRYPTMSG message, const SignerRules& rules, DWORD index,
                        SignerFlags& flags) {
    if (!flags.thisGood) flags.allGood = false;
    flags.thisGood = false;
    Reported endFailure;
    switch (SignerCheck(message, rules, index).Run(endFailure)) {
        case Outcome::End:
            flags.allGood = false;
            return endFailure;
        case Outcome::Bad:
            flags.allGood = false;
            return 0;
        case Outcome::Rejected:
            return 0;
        case Outcome::Good:
            break;
    }
    flags.thisGood = true;
    return CheckStamps(rules, index, flags.stampsGood);
}

}  // namespace

Reported CheckSigners(HCRYPTMSG message, const SignerRules& rules, SignerFlags& flags) {
    DWORD count = 0;
    if (!ReadCount(message, CMSG_SIGNER_COUNT_PARAM, count)) return ReportError(kLastError);
    if (count == 0) return ReportError(kNoSignature);
    for (DWORD index = 0; index < count; ++index) {
        if (const Reported failure = CheckOneSigner(message, rules, index, flags)) {
            return failure;
        }
    }
    return 0;
}

}  // namespace kestrel
