// -addsign: a signer more in a message that exists.
#include "front/core/catalogue.h"
#include "front/core/commands.h"
#include "front/core/keys.h"
#include "messages/files/road.h"
#include "messages/maintain.h"
#include "messages/message_params.h"
#include "messages/signature.h"
#include "selection/providers.h"
#include "selection/search.h"

namespace kestrel {
namespace {

struct Signing {
    PCCERT_CONTEXT certificate;
    PrivateKey key;
    CRYPT_ALGORITHM_IDENTIFIER hash{};
};

Reported PrepareSigning(Signing& signing) {
    if (const Reported failure = OpenPrivateKey(signing.certificate, signing.key)) return failure;
    if (const Reported failure = RejectLeftoverKeys()) return failure;
    return FindAlgorithmForCertificate(signing.certificate, CRYPT_HASH_ALG_OID_GROUP_ID,
                                       signing.hash);
}

Reported StampHeldContent(HCRYPTMSG message, const StampKeys& keys) {
    if (keys.contentUrl == nullptr) return 0;
    std::vector<BYTE> content;
    if (!ReadParam(message, CMSG_CONTENT_PARAM, 0, content)) return ReportError(kLastError);
    return StampContent(keys, content.data(), static_cast<DWORD>(content.size()));
}

Reported AddSigner(HCRYPTMSG message, const Signing& signing) {
    CMSG_SIGNER_ENCODE_INFO signer{};
    FillSigner(signer, signing.certificate, signing.key, signing.hash);
    if (CryptMsgControl(message, 0, CMSG_CTRL_ADD_SIGNER, &signer)) return 0;
    return ReportError(kLastError);
}

Reported AddCertificate(HCRYPTMSG message, PCCERT_CONTEXT certificate) {
    const CERT_BLOB encoded = {certificate->cbCertEncoded, certificate->pbCertEncoded};
    if (CryptMsgControl(message, 0, CMSG_CTRL_ADD_CERT, &encoded)) return 0;
    return ReportError(kLastError);
}

Reported AddCrl(HCRYPTMSG message, PCCERT_CONTEXT certificate) {
    const CrlHolder crl(FindCrlBesideIssuer(certificate));
    if (!crl) return ReportError(kLastError);
    const CRL_BLOB encoded = {crl->cbCrlEncoded, crl->pbCrlEncoded};
    if (CryptMsgControl(message, 0, CMSG_CTRL_ADD_CRL, &encoded)) return 0;
    return ReportError(kLastError);
}

Reported ChangeMessage(HCRYPTMSG message, const Signing& signing, const SignatureKeys& keys) {
    if (const Reported failure = StampHeldContent(message, keys.stamps)) return failure;
    if (const Reported failure = AddSigner(message, signing)) return failure;
    if (!keys.noCert) {
        if (const Reported failure = AddCertificate(message, signing.certificate)) return failure;
    }
    if (!keys.crl) return 0;
    return AddCrl(message, signing.certificate);
}

// The signature stamp goes to the first signature of the message, also where that is an
// older one than the one just made (sign-1).
Reported AddToFile(const Signing& signing, const SignatureKeys& keys) {
    MessageFile file;
    if (const Reported failure = ReadMessageFile(state.firstFile, file)) return failure;
    MessageHolder message;
    if (!OpenForChange(file, message)) return ReportError(kLastError);
    if (const Reported failure = ChangeMessage(message.get(), signing, keys)) return failure;
    if (const Reported failure = EncodeChanged(message.get(), file)) return failure;
    message.reset();
    if (const Reported failure = StampSignature(keys.stamps, file.data, file.size)) return failure;
    return WriteMessageFile(file);
}

Reported AddSignatureWith(PCCERT_CONTEXT certificate, const SignatureKeys& keys) {
    Signing signing{certificate, {}, {}};
    if (const Reported failure = PrepareSigning(signing)) return failure;
    PrintMessage(say::kSigning, 1);
    if (const Reported failure = AddToFile(signing, keys)) return failure;
    PrintMessage(say::kSigned, 1);
    return 0;
}

}  // namespace

DWORD RunAddSign() {
    if (const Reported failure = CheckMessageArgument()) return failure;
    const SignatureKeys keys = TakeSignatureKeys();
    SearchStores stores;
    if (const Reported failure = SelectSigner(keys, stores)) return failure;
    return AddSignatureWith(state.foundCertificates->front(), keys);
}

}  // namespace kestrel
