// -addattr and -delsign: one signature of a message is found, then changed or removed.
#include "messages/maintain.h"

#include "front/core/ask_size.h"
#include "front/core/catalogue.h"
#include "front/core/commands.h"
#include "front/core/keys.h"
#include "messages/attributes.h"
#include "messages/files/road.h"
#include "messages/find_signer.h"
#include "selection/search.h"

namespace kestrel {
namespace {

using Change = Reported (*)(HCRYPTMSG message, DWORD signer);

Reported EncodeAttribute(const CRYPT_ATTRIBUTE& attribute, std::vector<BYTE>& encoded) {
    const bool done = FetchValue(encoded, [&attribute](BYTE* buffer, DWORD* size) {
        return CryptEncodeObject(kMessageEncodingType, PKCS_ATTRIBUTE, &attribute, buffer, size);
    });
    if (!done) return ReportError(kLastError);
    return 0;
}

Reported AddUnsignedAttribute(HCRYPTMSG message, DWORD signer, const CRYPT_ATTRIBUTE& attribute) {
    std::vector<BYTE> encoded;
    if (const Reported failure = EncodeAttribute(attribute, encoded)) return failure;
    CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA para{};
    para.cbSize = sizeof(para);
    para.dwSignerIndex = signer;
    para.blob = {static_cast<DWORD>(encoded.size()), encoded.data()};
    if (CryptMsgControl(message, 0, CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR, &para)) return 0;
    return ReportError(kLastError);
}

Reported AddUnsignedAttributes(HCRYPTMSG message, DWORD signer) {
    for (DWORD i = 0; i < unsignedAttributes.count; ++i) {
        if (const Reported failure =
                AddUnsignedAttribute(message, signer, unsignedAttributes.attributes[i])) {
            return failure;
        }
    }
    return 0;
}

// The certificates and CRLs of the message stay: others may need them.
Reported DeleteSigner(HCRYPTMSG message, DWORD signer) {
    if (CryptMsgControl(message, 0, CMSG_CTRL_DEL_SIGNER, &signer)) return 0;
    return ReportError(kLastError);
}

// What is no message at all is told as a message of another kind.
Reported ReportNotSigned() {
    if (GetLastError() == static_cast<DWORD>(CRYPT_E_INVALID_MSG_TYPE)) {
        SetLastError(static_cast<DWORD>(CRYPT_E_UNEXPECTED_MSG_TYPE));
    }
    return ReportError(kLastError);
}

Reported ChangeFile(Change change) {
    MessageFile file;
    if (const Reported failure = ReadMessageFile(state.firstFile, file)) return failure;
    MessageHolder message;
    if (!OpenForChange(file, message)) return ReportNotSigned();
    DWORD signer = 0;
    if (const Reported failure = FindSelectedSigner(message.get(), signer)) return failure;
    if (const Reported failure = change(message.get(), signer)) return failure;
    if (const Reported failure = EncodeChanged(message.get(), file)) return failure;
    message.reset();
    return WriteMessageFile(file);
}

Reported ChangeSelectedSigner(Change change) {
    if (const Reported failure = ParseSearchCriterion(true)) return failure;
    if (const Reported failure = RejectLeftoverKeys()) return failure;
    SearchStores stores;
    if (const Reported failure = SelectCertificates(stores.open, true)) return failure;
    return ChangeFile(change);
}

}  // namespace

Reported CheckMessageArgument() {
    if (state.firstFile == nullptr) return ReportError(kNoMessageFile);
    if (state.secondFile != nullptr) return ReportError(kTooManyFiles, state.secondFile);
    return 0;
}

bool OpenForChange(MessageFile& file, MessageHolder& message) {
    message.reset(CryptMsgOpenToDecode(kMessageEncodingType, 0, 0, 0, nullptr, nullptr));
    const bool decoded = message && CryptMsgUpdate(message.get(), file.data.get(), file.size, TRUE);
    file.data.reset();
    return decoded;
}

Reported EncodeChanged(HCRYPTMSG message, MessageFile& file) {
    return FetchBytes(file.data, file.size, [message](BYTE* buffer, DWORD* size) {
        return CryptMsgGetParam(message, CMSG_ENCODED_MESSAGE, 0, buffer, size);
    });
}

DWORD RunAddAttr() {
    if (const Reported failure = CheckMessageArgument()) return failure;
    if (const Reported failure = ParseAttributes("attr", unsignedAttributes)) return failure;
    if (unsignedAttributes.count == 0) return ReportError(kNoRequiredKey, "-attr");
    return ChangeSelectedSigner(AddUnsignedAttributes);
}

DWORD RunDelSign() {
    if (const Reported failure = CheckMessageArgument()) return failure;
    if (const Reported failure = ChangeSelectedSigner(DeleteSigner)) return failure;
    PrintMessage(say::kSignatureDeleted, 1);
    return 0;
}

}  // namespace kestrel
