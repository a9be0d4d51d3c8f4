// -addattr and -delsign: one signature of a message is found, then changed or removed.
#include "messages/maintain.h"

#include <cstdlib>

#include "front/core/catalogue.h"
#include "front/core/commands.h"
#include "front/core/keys.h"
#include "messages/attributes.h"
#include "messages/files/road.h"
#include "selection/search.h"

namespace kestrel {
namespace {

constexpr MessageId kSignatureDeleted = 148;

using Change = DWORD (*)(HCRYPTMSG message, DWORD signer);

DWORD EncodeAttribute(const CRYPT_ATTRIBUTE& attribute, std::vector<BYTE>& encoded) {
    DWORD size = 0;
    if (!CryptEncodeObject(kMessageEncodingType, PKCS_ATTRIBUTE, &attribute, nullptr, &size)) {
        return ReportError(kLastError);
    }
    encoded.resize(size);
    if (!CryptEncodeObject(kMessageEncodingType, PKCS_ATTRIBUTE, &attribute, encoded.data(),
                           &size)) {
        return ReportError(kLastError);
    }
    encoded.resize(size);
    return 0;
}

DWORD AddUnsignedAttribute(HCRYPTMSG message, DWORD signer, const CRYPT_ATTRIBUTE& attribute) {
    std::vector<BYTE> encoded;
    if (const DWORD code = EncodeAttribute(attribute, encoded); code != 0) return code;
    CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA para{};
    para.cbSize = sizeof(para);
    para.dwSignerIndex = signer;
    para.blob = {static_cast<DWORD>(encoded.size()), encoded.data()};
    if (CryptMsgControl(message, 0, CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR, &para)) return 0;
    return ReportError(kLastError);
}

DWORD AddUnsignedAttributes(HCRYPTMSG message, DWORD signer) {
    for (DWORD i = 0; i < unsignedAttributes.count; ++i) {
        const DWORD code = AddUnsignedAttribute(message, signer, unsignedAttributes.attributes[i]);
        if (code != 0) return code;
    }
    return 0;
}

// The certificates and CRLs of the message stay: others may need them.
DWORD DeleteSigner(HCRYPTMSG message, DWORD signer) {
    if (CryptMsgControl(message, 0, CMSG_CTRL_DEL_SIGNER, &signer)) return 0;
    return ReportError(kLastError);
}

DWORD ChangeFile(Change change) {
    MessageFile file;
    if (const DWORD code = ReadMessageFile(state.firstFile, file); code != 0) return code;
    DWORD signer = 0;
    if (const DWORD code = FindSelectedSigner(file, signer); code != 0) return code;
    MessageHolder message;
    if (const DWORD code = OpenForChange(file, message); code != 0) return code;
    if (const DWORD code = change(message.get(), signer); code != 0) return code;
    if (const DWORD code = EncodeChanged(message.get(), file); code != 0) return code;
    message.reset();
    return WriteMessageFile(file);
}

DWORD ChangeSelectedSigner(Change change) {
    if (const DWORD code = ParseSearchCriterion(true); code != 0) return code;
    if (const DWORD code = RejectLeftoverKeys(); code != 0) return code;
    SearchStores stores;
    if (const DWORD code = SelectCertificates(stores.open, true); code != 0) return code;
    return ChangeFile(change);
}

}  // namespace

DWORD CheckMessageArgument() {
    if (state.firstFile == nullptr) return ReportError(kNoMessageFile);
    if (state.secondFile != nullptr) return ReportError(kTooManyFiles, state.secondFile);
    return 0;
}

DWORD OpenForChange(MessageFile& file, MessageHolder& message) {
    message.reset(CryptMsgOpenToDecode(kMessageEncodingType, 0, 0, 0, nullptr, nullptr));
    if (!message || !CryptMsgUpdate(message.get(), file.data.get(), file.size, TRUE)) {
        return ReportError(kLastError);
    }
    file.data.reset();
    return 0;
}

DWORD EncodeChanged(HCRYPTMSG message, MessageFile& file) {
    DWORD size = 0;
    if (!CryptMsgGetParam(message, CMSG_ENCODED_MESSAGE, 0, nullptr, &size)) {
        return ReportError(kLastError);
    }
    file.data.reset(static_cast<BYTE*>(std::malloc(size)));
    if (!file.data) return ReportError(kNoMemory);
    if (!CryptMsgGetParam(message, CMSG_ENCODED_MESSAGE, 0, file.data.get(), &size)) {
        return ReportError(kLastError);
    }
    file.size = size;
    return 0;
}

DWORD RunAddAttr() {
    if (const DWORD code = CheckMessageArgument(); code != 0) return code;
    if (const DWORD code = ParseAttributes("attr", unsignedAttributes); code != 0) return code;
    if (unsignedAttributes.count == 0) return ReportError(kNoRequiredKey, "-attr");
    return ChangeSelectedSigner(AddUnsignedAttributes);
}

DWORD RunDelSign() {
    if (const DWORD code = CheckMessageArgument(); code != 0) return code;
    if (const DWORD code = ChangeSelectedSigner(DeleteSigner); code != 0) return code;
    PrintMessage(kSignatureDeleted, 1);
    return 0;
}

}  // namespace kestrel
