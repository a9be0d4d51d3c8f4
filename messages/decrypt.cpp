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

constexpr MessageId kDecrypting = 150;
constexpr MessageId kDecrypted = 117;

// What is looked at after each piece, until the header is in and decryption was asked for.
class Decryptor {
  public:
    Decryptor(HCRYPTMSG message, PCCERT_CONTEXT certificate, HCRYPTPROV provider)
        : message_(message), certificate_(certificate), provider_(provider) {}

    DWORD AfterUpdate();
    [[nodiscard]] bool Done() const { return done_; }

  private:
    [[nodiscard]] bool IsRecipient(const CERT_INFO& recipient) const;
    DWORD FindRecipient(DWORD& index) const;
    DWORD Decrypt(DWORD index);

    HCRYPTMSG message_;
    PCCERT_CONTEXT certificate_;
    HCRYPTPROV provider_;
    bool done_ = false;
};

DWORD FailLine(DWORD code) {
    Progress::End();
    return ReportError(code);
}

bool Decryptor::IsRecipient(const CERT_INFO& recipient) const {
    CERT_INFO own = *certificate_->pCertInfo;
    CERT_INFO other = recipient;
    return CertCompareCertificateName(kMessageEncodingType, &other.Issuer, &own.Issuer) &&
           CertCompareIntegerBlob(&other.SerialNumber, &own.SerialNumber);
}

DWORD Decryptor::FindRecipient(DWORD& index) const {
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

DWORD Decryptor::Decrypt(DWORD index) {
    CMSG_CTRL_DECRYPT_PARA para{};
    para.cbSize = sizeof(para);
    para.hCryptProv = provider_;
    para.dwKeySpec = AT_KEYEXCHANGE;  // whatever the certificate's key is
    para.dwRecipientIndex = index;
    if (!CryptMsgControl(message_, 0, CMSG_CTRL_DECRYPT, &para)) return FailLine(kLastError);
    done_ = true;
    return 0;
}

DWORD Decryptor::AfterUpdate() {
    if (done_) return 0;
    DWORD size = 0;
    if (!CryptMsgGetParam(message_, CMSG_ENVELOPE_ALGORITHM_PARAM, 0, nullptr, &size)) {
        const bool notReady = GetLastError() == static_cast<DWORD>(CRYPT_E_STREAM_MSG_NOT_READY);
        return notReady ? 0 : FailLine(kLastError);
    }
    DWORD index = 0;
    if (const DWORD code = FindRecipient(index); code != 0) return code;
    return Decrypt(index);
}

DWORD DecryptStream(PCCERT_CONTEXT certificate, HCRYPTPROV provider, InputFile& input,
                    StreamOutput& output) {
    CMSG_STREAM_INFO stream = MakeStreamInfo(output, static_cast<DWORD>(input.size));
    const MessageHolder message(
        CryptMsgOpenToDecode(kMessageEncodingType, 0, 0, provider, nullptr, &stream));
    if (!message) return FailLine(kLastError);
    Decryptor decryptor(message.get(), certificate, provider);
    const auto look = [&decryptor] { return decryptor.AfterUpdate(); };
    if (const DWORD code = FeedDecoder(message.get(), input, look); code != 0) return code;
    if (decryptor.Done()) {
        Progress::End();
        return 0;
    }
    // The end of the file came before the recipients: nothing was decrypted.
    SetLastError(static_cast<DWORD>(CRYPT_E_STREAM_MSG_NOT_READY));
    return FailLine(kLastError);
}

DWORD DecryptFile(PCCERT_CONTEXT certificate, HCRYPTPROV provider) {
    PrintMessage(kDecrypting, 0);
    Progress::Start();
    InputFile input;
    if (const DWORD code = OpenInput(state.firstFile, input); code != 0) return code;
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
    if (const DWORD code = ParseSearchCriterion(false); code != 0) return code;
    SearchStores stores;
    if (const DWORD code = SelectCertificates(stores.open, true); code != 0) return code;
    PCCERT_CONTEXT certificate = state.foundCertificates->front();
    PrivateKey key;
    if (const DWORD code = OpenPrivateKey(certificate, key); code != 0) return code;
    if (const DWORD code = RejectLeftoverKeys(); code != 0) return code;
    if (const DWORD code = DecryptFile(certificate, key.provider.Get()); code != 0) return code;
    PrintMessage(kDecrypted, 1);
    if (start) StartFile(state.secondFile);
    return 0;
}

}  // namespace kestrel
