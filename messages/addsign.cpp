// -addsign: a signer more in a message that exists.
#include "front/core/catalogue.h"
#include "front/core/commands.h"
#include "front/core/keys.h"
#include "messages/attributes.h"
#include "messages/files/road.h"
#include "messages/maintain.h"
#include "messages/message_params.h"
#include "messages/signature.h"
#include "selection/providers.h"
#include "selection/search.h"

namespace kestrel {
namespace {

constexpr MessageId kSigning = 151;
constexpr MessageId kSigned = 128;

struct Signing {
    PCCERT_CONTEXT certificate;
    PrivateKey key;
    CRYPT_ALGORITHM_IDENTIFIER hash{};
};

DWORD PrepareSigning(Signing& signing) {
    if (const DWORD code = OpenPrivateKey(signing.certificate, signing.key); code != 0) return code;
    if (const DWORD code = RejectLeftoverKeys(); code != 0) return code;
    return FindAlgorithmForCertificate(signing.certificate, CRYPT_HASH_ALG_OID_GROUP_ID,
                                       signing.hash);
}

DWORD StampHeldContent(HCRYPTMSG message, const StampKeys& keys) {
    if (keys.contentUrl == nullptr) return 0;
    std::vector<BYTE> content;
    if (!ReadParam(message, CMSG_CONTENT_PARAM, 0, content)) return ReportError(kLastError);
    return StampContent(keys, content.data(), static_cast<DWORD>(content.size()));
}

DWORD AddSigner(HCRYPTMSG message, const Signing& signing) {
    CMSG_SIGNER_ENCODE_INFO signer{};
    FillSigner(signer, signing.certificate, signing.key, signing.hash);
    if (CryptMsgControl(message, 0, CMSG_CTRL_ADD_SIGNER, &signer)) return 0;
    return ReportError(kLastError);
}

DWORD AddCertificate(HCRYPTMSG message, PCCERT_CONTEXT certificate) {
    const CERT_BLOB encoded = {certificate->cbCertEncoded, certificate->pbCertEncoded};
    if (CryptMsgControl(message, 0, CMSG_CTRL_ADD_CERT, &encoded)) return 0;
    return ReportError(kLastError);
}

DWORD AddCrl(HCRYPTMSG message, PCCERT_CONTEXT certificate) {
    const CrlHolder crl(FindCrlBesideIssuer(certificate));
    if (!crl) return ReportError(kLastError);
    const CRL_BLOB encoded = {crl->cbCrlEncoded, crl->pbCrlEncoded};
    if (CryptMsgControl(message, 0, CMSG_CTRL_ADD_CRL, &encoded)) return 0;
    return ReportError(kLastError);
}

DWORD ChangeMessage(HCRYPTMSG message, const Signing& signing, const SignatureKeys& keys) {
    if (const DWORD code = StampHeldContent(message, keys.stamps); code != 0) return code;
    if (const DWORD code = AddSigner(message, signing); code != 0) return code;
    if (!keys.noCert) {
        if (const DWORD code = AddCertificate(message, signing.certificate); code != 0) return code;
    }
    return keys.crl ? AddCrl(message, signing.certificate) : 0;
}

// The signature stamp goes to the first signature of the message, also where that is an
// older one than the one just made: so it has always been.
DWORD AddToFile(const Signing& signing, const SignatureKeys& keys) {
    MessageFile file;
    if (const DWORD code = ReadMessageFile(state.firstFile, file); code != 0) return code;
    MessageHolder message;
    if (const DWORD code = OpenForChange(file, message); code != 0) return code;
    if (const DWORD code = ChangeMessage(message.get(), signing, keys); code != 0) return code;
    if (const DWORD code = EncodeChanged(message.get(), file); code != 0) return code;
    message.reset();
    if (const DWORD code = StampSignature(keys.stamps, file.data, file.size); code != 0) {
        return code;
    }
    return WriteMessageFile(file);
}

DWORD AddSignatureWith(PCCERT_CONTEXT certificate, const SignatureKeys& keys) {
    Signing signing{certificate, {}, {}};
    if (const DWORD code = PrepareSigning(signing); code != 0) return code;
    PrintMessage(kSigning, 1);
    if (const DWORD code = AddToFile(signing, keys); code != 0) return code;
    PrintMessage(kSigned, 1);
    return 0;
}

}  // namespace

DWORD RunAddSign() {
    if (const DWORD code = CheckMessageArgument(); code != 0) return code;
    const SignatureKeys keys = TakeSignatureKeys();
    if (const DWORD code = CheckStampTransport(keys.stamps); code != 0) return code;
    if (const DWORD code = ParseAttributes("attr", unsignedAttributes); code != 0) return code;
    if (const DWORD code = ParseAttributes("authattr", signedAttributes); code != 0) return code;
    if (const DWORD code = ParseSearchCriterion(false); code != 0) return code;
    SearchStores stores;
    if (const DWORD code = SelectCertificates(stores.open, true, Purpose::Signing); code != 0)
        return code;
    return AddSignatureWith(state.foundCertificates->front(), keys);
}

}  // namespace kestrel
