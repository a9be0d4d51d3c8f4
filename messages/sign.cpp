// -sign: a file becomes a signed message with the content inside.
#include "front/core/catalogue.h"
#include "front/core/commands.h"
#include "front/core/keys.h"
#include "messages/files/files.h"
#include "messages/files/progress.h"
#include "messages/files/road.h"
#include "messages/files/stream.h"
#include "messages/message_file.h"
#include "messages/private_key.h"
#include "messages/signature.h"
#include "messages/stamp_keys.h"
#include "selection/providers.h"
#include "selection/search.h"

namespace kestrel {
namespace {

struct SignKeys : SignatureKeys {
    bool der = false;
};

// The encode records, which refer to one another.
struct SignedRecords {
    CMSG_SIGNER_ENCODE_INFO signer{};
    CMSG_SIGNED_ENCODE_INFO message{};
    CERT_BLOB certificate{};
    CRL_BLOB crl{};
};

void FillMessage(SignedRecords& records, PCCERT_CONTEXT certificate, bool noCert) {
    records.message.cbSize = sizeof(records.message);
    records.message.cSigners = 1;
    records.message.rgSigners = &records.signer;
    if (noCert) return;
    records.certificate = {certificate->cbCertEncoded, certificate->pbCertEncoded};
    records.message.cCertEncoded = 1;
    records.message.rgCertEncoded = &records.certificate;
}

Reported AddCrl(SignedRecords& records, PCCERT_CONTEXT certificate, CrlHolder& crl) {
    crl.reset(FindCrlForCertificate(certificate, true));
    if (!crl) return ReportError(kLastError);
    records.crl = {crl->cbCrlEncoded, crl->pbCrlEncoded};
    records.message.cCrlEncoded = 1;
    records.message.rgCrlEncoded = &records.crl;
    return 0;
}

// ---- time stamps -------------------------------------------------------------

Reported StampInputFile(const StampKeys& keys) {
    if (keys.contentUrl == nullptr) return 0;
    BYTE* data = nullptr;
    DWORD size = 0;
    if (const Reported failure = ReadFileWhole(state.firstFile, data, size, nullptr))
        return failure;
    const BytesHolder content(data);
    return StampContent(keys, data, size);
}

// Reads the finished message back, stamps its signature and writes it in the same form. A
// failure leaves it without the stamp (sign-3).
Reported StampOutputFile(const StampKeys& keys) {
    if (keys.signatureUrl == nullptr) return 0;
    MessageFile file;
    if (const Reported failure = ReadMessageFile(state.secondFile, file)) return failure;
    if (const Reported failure = StampSignature(keys, file.data, file.size)) return failure;
    return WriteMessageFile(file);
}

// ---- the message -------------------------------------------------------------

Reported StreamMessage(const SignedRecords& records, bool der) {
    InputFile input;
    StreamOutput output;
    output.base64 = der ? 0 : 1;
    if (const Reported failure = OpenFilePair(input, output.file)) return failure;
    CMSG_STREAM_INFO stream = MakeStreamInfo(output, CMSG_INDEFINITE_LENGTH);
    const MessageHolder message(CryptMsgOpenToEncode(kMessageEncodingType, 0, CMSG_SIGNED,
                                                     &records.message, nullptr, &stream));
    if (!message) {
        std::putchar('\n');
        return ReportError(kLastError);
    }
    if (const Reported failure = FeedEncoder(message.get(), input)) return failure;
    Progress::End();
    return 0;
}

// Keys are checked here and not before the stamp was obtained: -pin and -askpin are
// taken late (sign-2).
Reported SignTo(PCCERT_CONTEXT certificate, const PrivateKey& key,
                const CRYPT_ALGORITHM_IDENTIFIER& hash, const SignKeys& keys) {
    PrintMessage(say::kSigning, 0);
    Progress::Start();
    SignedRecords records;
    FillSigner(records.signer, certificate, key, hash);
    FillMessage(records, certificate, keys.noCert);
    if (const Reported failure = RejectLeftoverKeys()) return failure;
    CrlHolder crl;
    if (keys.crl) {
        if (const Reported failure = AddCrl(records, certificate, crl)) return failure;
    }
    return StreamMessage(records, keys.der);
}

Reported SignWith(PCCERT_CONTEXT certificate, const SignKeys& keys) {
    if (const Reported failure = BindPrivateKey(certificate)) return failure;
    PrivateKey key;
    if (!AcquirePrivateKey(certificate, 0, key)) return ReportError(kLastError);
    CRYPT_ALGORITHM_IDENTIFIER hash{};
    if (const Reported failure =
            FindAlgorithmForCertificate(certificate, CRYPT_HASH_ALG_OID_GROUP_ID, hash)) {
        return failure;
    }
    if (const Reported failure = StampInputFile(keys.stamps)) return failure;
    if (const Reported failure = SignTo(certificate, key, hash, keys)) return failure;
    if (const Reported failure = StampOutputFile(keys.stamps)) return failure;
    PrintMessage(say::kSigned, 1);
    return 0;
}

}  // namespace

DWORD RunSign() {
    if (state.firstFile == nullptr) return ReportError(kNoInputFile);
    if (state.secondFile == nullptr) return ReportError(kNoMessageFile);
    const SignKeys keys{TakeSignatureKeys(), TakeKey("der")};
    SearchStores stores;
    if (const Reported failure = SelectSigner(keys, stores)) return failure;
    return SignWith(state.foundCertificates->front(), keys);
}

}  // namespace kestrel
