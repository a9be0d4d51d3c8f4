// -decr: an enveloped message is opened with the key of the one certificate selected.
#include "front/core/catalogue.h"
#include "front/core/commands.h"
#include "front/core/keys.h"
#include "messages/files/files.h"
#include "messages/files/progress.h"
#include "messages/files/road.h"
#include "messages/files/stream.h"
#include "messages/message_params.h"
#include "messages/private_key.h"
#include "messages/recipient.h"
#include "messages/start_file.h"
#include "selection/providers.h"
#include "selection/search.h"

namespace kestrel {
namespace {

// What is looked at after each piece, until the header is in and decryption was asked for.
class Decryptor {
  public:
    Decryptor(HCRYPTMSG message, PCCERT_CONTEXT certificate, HCRYPTPROV provider)
        : message_(message), certificate_(certificate), provider_(provider) {}

    Reported AfterUpdate();
    [[nodiscard]] bool Done() const { return done_; }

  private:
    [[nodiscard]] bool IsRecipient(const CERT_INFO& recipient) const;
    Reported FindRecipient(DWORD& index) const;
    Reported Decrypt(DWORD index);

    HCRYPTMSG message_;
    PCCERT_CONTEXT certificate_;
    HCRYPTPROV provider_;
    bool done_ = false;
};

bool Decryptor::IsRecipient(const CERT_INFO& recipient) const {
    CERT_INFO own = *certificate_->pCertInfo;
    CERT_INFO other = recipient;
    return CertCompareCertificateName(kMessageEncodingType, &other.Issuer, &own.Issuer) &&
           CertCompareIntegerBlob(&other.SerialNumber, &own.SerialNumber);
}

Reported Decryptor::FindRecipient(DWORD& index) const {
    DWORD count = 0;
    if (!ReadCount(message_, CMSG_RECIPIENT_COUNT_PARAM, count)) return FailLine(kLastError);
    std::vector<BYTE> value;
    for (index = 0; index < count; ++index) {
        if (!ReadParam(message_, CMSG_RECIPIENT_INFO_PARAM, index, value)) {
            return FailLine(kLastError);
        }
        if (IsRecipient(*reinterpret_cast<const CERT_INFO*>(value.data()))) return 0;
    }
    if (FindRecipientByKey(message_, certificate_, count, index)) return 0;
    return FailLine(kNoRecipient);
}

Reported Decryptor::Decrypt(DWORD index) {
    CMSG_CTRL_DECRYPT_PARA para{};
    para.cbSize = sizeof(para);
    para.hCryptProv = provider_;
    para.dwKeySpec = AT_KEYEXCHANGE;  // whatever the certificate's key is
    para.dwRecipientIndex = index;
    if (!CryptMsgControl(message_, 0, CMSG_CTRL_DECRYPT, &para)) return FailLine(kLastError);
    done_ = true;
    return 0;
}

Reported Decryptor::AfterUpdate() {
    if (done_) return 0;
    DWORD size = 0;
    if (!CryptMsgGetParam(message_, CMSG_ENVELOPE_ALGORITHM_PARAM, 0, nullptr, &size)) {
        const bool notReady = GetLastError() == static_cast<DWORD>(CRYPT_E_STREAM_MSG_NOT_READY);
        if (notReady) return 0;
        return FailLine(kLastError);
    }
    DWORD index = 0;
    if (const Reported failure = FindRecipient(index)) return failure;
    return Decrypt(index);
}

Reported DecryptStream(PCCERT_CONTEXT certificate, HCRYPTPROV provider, InputFile& input,
                       StreamOutput& output) {
    CMSG_STREAM_INFO stream = MakeStreamInfo(output, static_cast<DWORD>(input.size));
    const MessageHolder message(
        CryptMsgOpenToDecode(kMessageEncodingType, 0, 0, provider, nullptr, &stream));
    if (!message) return FailLine(kLastError);
    Decryptor decryptor(message.get(), certificate, provider);
    const auto look = [&decryptor] { return decryptor.AfterUpdate(); };
    if (const Reported failure = FeedDecoder(message.get(), input, look)) return failure;
    if (decryptor.Done()) {
        Progress::End();
        return 0;
    }
    // The end of the file came before the recipients: nothing was decrypted.
    SetLastError(static_cast<DWORD>(CRYPT_E_STREAM_MSG_NOT_READY));
    return FailLine(kLastError);
}

Reported DecryptFile(PCCERT_CONTEXT certificate, HCRYPTPROV provider) {
    PrintMessage(say::kDecrypting, 0);
    Progress::Start();
    InputFile input;
    if (const Reported failure = OpenInput(state.firstFile, input)) return failure;
    StreamOutput output;
    output.file = OpenOutput(state.secondFile, input);
    if (!output.file) return ReportError(kCannotOpenFile, state.secondFile);
    return DecryptStream(certificate, provider, input, output);
}

}  // namespace

DWORD RunDecrypt() {
    if (state.firstFile == nullptr) return ReportError(kNoMessageFile);
    if (state.secondFile == nullptr) return ReportError(kNoOutputFile);
    const bool start = TakeKey("start");
    if (const Reported failure = ParseSearchCriterion(false)) return failure;
    SearchStores stores;
    if (const Reported failure = SelectCertificates(stores.open, true)) return failure;
    PCCERT_CONTEXT certificate = state.foundCertificates->front();
    PrivateKey key;
    if (const Reported failure = OpenPrivateKey(certificate, key)) return failure;
    if (const Reported failure = RejectLeftoverKeys()) return failure;
    if (const Reported failure = DecryptFile(certificate, key.provider.Get())) return failure;
    PrintMessage(say::kDecrypted, 1);
    if (start) StartFile(state.secondFile);
    return 0;
}

}  // namespace kestrel
