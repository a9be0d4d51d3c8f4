// -sign: a file becomes a signed message with the content inside.
#include "front/core/catalogue.h"
#include "front/core/commands.h"
#include "front/core/keys.h"
#include "messages/attributes.h"
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

constexpr MessageId kSigning = 151;
constexpr MessageId kSigned = 128;

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

DWORD AddCrl(SignedRecords& records, PCCERT_CONTEXT certificate, CrlHolder& crl) {
    crl.reset(FindCrlForCertificate(certificate, true));
    if (!crl) return ReportError(kLastError);
    records.crl = {crl->cbCrlEncoded, crl->pbCrlEncoded};
    records.message.cCrlEncoded = 1;
    records.message.rgCrlEncoded = &records.crl;
    return 0;
}

// ---- time stamps -------------------------------------------------------------

DWORD StampInputFile(const StampKeys& keys) {
    if (keys.contentUrl == nullptr) return 0;
    BYTE* data = nullptr;
    DWORD size = 0;
    if (const DWORD code = ReadFileWhole(state.firstFile, data, size, nullptr); code != 0) {
        return code;
    }
    const BytesHolder content(data);
    return StampContent(keys, data, size);
}

// Reads the finished message back, stamps its signature and writes it in the same form.
DWORD StampOutputFile(const StampKeys& keys) {
    if (keys.signatureUrl == nullptr) return 0;
    MessageFile file;
    if (const DWORD code = ReadMessageFile(state.secondFile, file); code != 0) return code;
    if (const DWORD code = StampSignature(keys, file.data, file.size); code != 0) return code;
    return WriteMessageFile(file);
}

// ---- the message -------------------------------------------------------------

DWORD StreamMessage(const SignedRecords& records, bool der) {
    InputFile input;
    StreamOutput output;
    output.base64 = der ? 0 : 1;
    if (const DWORD code = OpenFilePair(input, output.file); code != 0) return code;
    CMSG_STREAM_INFO stream = MakeStreamInfo(output, CMSG_INDEFINITE_LENGTH);
    const MessageHolder message(CryptMsgOpenToEncode(kMessageEncodingType, 0, CMSG_SIGNED,
                                                     &records.message, nullptr, &stream));
    if (!message) {
        std::putchar('\n');
        return ReportError(kLastError);
    }
    if (const DWORD code = FeedEncoder(message.get(), input); code != 0) return code;
    Progress::End();
    return 0;
}

// Keys are checked here and not before the stamp was obtained: -pin and -askpin are
// taken late, and what is printed until then is part of the command's output.
DWORD SignTo(PCCERT_CONTEXT certificate, const PrivateKey& key,
             const CRYPT_ALGORITHM_IDENTIFIER& hash, const SignKeys& keys) {
    PrintMessage(kSigning, 0);
    Progress::Start();
    SignedRecords records;
    FillSigner(records.signer, certificate, key, hash);
    FillMessage(records, certificate, keys.noCert);
    if (const DWORD code = RejectLeftoverKeys(); code != 0) return code;
    CrlHolder crl;
    if (keys.crl) {
        if (const DWORD code = AddCrl(records, certificate, crl); code != 0) return code;
    }
    return StreamMessage(records, keys.der);
}

DWORD SignWith(PCCERT_CONTEXT certificate, const SignKeys& keys) {
    if (const DWORD code = BindPrivateKey(certificate); code != 0) return code;
    PrivateKey key;
    if (!AcquirePrivateKey(certificate, 0, key)) return ReportError(kLastError);
    CRYPT_ALGORITHM_IDENTIFIER hash{};
    if (const DWORD code =
            FindAlgorithmForCertificate(certificate, CRYPT_HASH_ALG_OID_GROUP_ID, hash);
        code != 0) {
        return code;
    }
    if (const DWORD code = StampInputFile(keys.stamps); code != 0) return code;
    if (const DWORD code = SignTo(certificate, key, hash, keys); code != 0) return code;
    if (const DWORD code = StampOutputFile(keys.stamps); code != 0) return code;
    PrintMessage(kSigned, 1);
    return 0;
}

}  // namespace

DWORD RunSign() {
    if (state.firstFile == nullptr) return ReportError(kNoInputFile);
    if (state.secondFile == nullptr) return ReportError(kNoMessageFile);
    const SignKeys keys{TakeSignatureKeys(), TakeKey("der")};
    if (const DWORD code = CheckStampTransport(keys.stamps); code != 0) return code;
    if (const DWORD code = ParseAttributes("attr", unsignedAttributes); code != 0) return code;
    if (const DWORD code = ParseAttributes("authattr", signedAttributes); code != 0) return code;
    if (const DWORD code = ParseSearchCriterion(false); code != 0) return code;
    SearchStores stores;
    if (const DWORD code = SelectCertificates(stores.open, true, Purpose::Signing); code != 0)
        return code;
    return SignWith(state.foundCertificates->front(), keys);
}

}  // namespace kestrel
