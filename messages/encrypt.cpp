// -encr: a file becomes an enveloped message for every certificate selected.
#include "front/core/catalogue.h"
#include "front/core/commands.h"
#include "front/core/keys.h"
#include "messages/files/files.h"
#include "messages/files/progress.h"
#include "messages/files/road.h"
#include "messages/files/stream.h"
#include "selection/console.h"
#include "selection/providers.h"
#include "selection/search.h"

namespace kestrel {
namespace {

constexpr BYTE kEnciphermentUsages =
    CERT_DATA_ENCIPHERMENT_KEY_USAGE | CERT_KEY_ENCIPHERMENT_KEY_USAGE;

// Contexts of their own and the records in them, in the order of the selection.
struct Recipients {
    std::vector<CertificateHolder> certificates;
    std::vector<PCERT_INFO> records;
};

void CollectRecipients(Recipients& recipients) {
    recipients.certificates.reserve(state.foundCertificates->size());
    recipients.records.reserve(state.foundCertificates->size());
    for (PCCERT_CONTEXT certificate : *state.foundCertificates) {
        recipients.certificates.emplace_back(CertDuplicateCertificateContext(certificate));
        recipients.records.push_back(certificate->pCertInfo);
    }
}

// A certificate without the key usage extension may be used.
Reported CheckUsage(PCCERT_CONTEXT certificate) {
    BYTE usage = 0;
    if (!CertGetIntendedKeyUsage(kMessageEncodingType, certificate->pCertInfo, &usage, 1)) {
        if (GetLastError() != NO_ERROR) return ReportError(kLastError);
        usage = CERT_DATA_ENCIPHERMENT_KEY_USAGE;
    }
    if ((usage & kEnciphermentUsages) != 0) return 0;
    if (const Reported failure = PrintCertificateSummary(certificate)) return failure;
    return ReportError(kUnfitCertificate);
}

Reported CheckUsages(const Recipients& recipients) {
    for (const CertificateHolder& certificate : recipients.certificates) {
        if (const Reported failure = CheckUsage(certificate.get())) return failure;
    }
    return 0;
}

Reported ReleaseRecipients(Recipients& recipients) {
    for (CertificateHolder& certificate : recipients.certificates) {
        if (!CertFreeCertificateContext(certificate.release())) return ReportError(kLastError);
    }
    return 0;
}

MessageHolder OpenMessage(Recipients& recipients, const CRYPT_ALGORITHM_IDENTIFIER& algorithm,
                          StreamOutput& output) {
    CMSG_ENVELOPED_ENCODE_INFO info{};
    info.cbSize = sizeof(info);
    info.ContentEncryptionAlgorithm.pszObjId = algorithm.pszObjId;
    info.cRecipients = static_cast<DWORD>(recipients.records.size());
    info.rgpRecipients = recipients.records.data();
    CMSG_STREAM_INFO stream = MakeStreamInfo(output, CMSG_INDEFINITE_LENGTH);
    return MessageHolder(
        CryptMsgOpenToEncode(kMessageEncodingType, 0, CMSG_ENVELOPED, &info, nullptr, &stream));
}

Reported EncryptTo(Recipients& recipients, const CRYPT_ALGORITHM_IDENTIFIER& algorithm,
                   InputFile& input, StreamOutput& output) {
    PrintMessage(say::kEncrypting, 0);
    Progress::Start();
    MessageHolder message = OpenMessage(recipients, algorithm, output);
    if (!message) {
        std::putchar('\n');
        return ReportError(kLastError);
    }
    if (const Reported failure = FeedEncoder(message.get(), input)) return failure;
    Progress::End();
    if (const Reported failure = ReleaseRecipients(recipients)) return failure;
    if (!CryptMsgClose(message.release())) return ReportError(kLastError);
    PrintMessage(say::kEncrypted, 1);
    return 0;
}

Reported EncryptFile(bool der) {
    InputFile input;
    StreamOutput output;
    output.base64 = der ? 0 : 1;
    if (const Reported failure = OpenFilePair(input, output.file)) return failure;
    Recipients recipients;
    CollectRecipients(recipients);
    if (const Reported failure = CheckUsages(recipients)) return failure;
    CRYPT_ALGORITHM_IDENTIFIER algorithm{};
    if (const Reported failure = FindAlgorithmForCertificate(
            recipients.certificates.front().get(), CRYPT_ENCRYPT_ALG_OID_GROUP_ID, algorithm)) {
        return failure;
    }
    return EncryptTo(recipients, algorithm, input, output);
}

}  // namespace

DWORD RunEncrypt() {
    if (state.firstFile == nullptr) return ReportError(kNoInputFile);
    if (state.secondFile == nullptr) return ReportError(kNoMessageFile);
    const bool der = TakeKey("der");
    if (const Reported failure = ParseSearchCriterion(true)) return failure;
    if (const Reported failure = RejectLeftoverKeys()) return failure;
    SearchStores stores;
    if (const Reported failure = SelectCertificates(stores.open, false)) return failure;
    return EncryptFile(der);
}

}  // namespace kestrel
