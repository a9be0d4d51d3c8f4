// One signature of a message: its certificate is found, then it is verified.
#include "platform/simple/verify_message.h"

#include "platform/base/error.h"
#include "platform/certs/compare.h"

namespace platform {
namespace {

// What cannot be read as a certificate or CRL cannot be this signer's, and says nothing
// about the signature.
template <class Item>
std::vector<std::shared_ptr<Item>> ItemsOf(Message& message, DWORD countParam, DWORD param) {
    std::vector<std::shared_ptr<Item>> items;
    const DWORD count = message.NumberParam(countParam);
    for (DWORD i = 0; i < count; ++i) {
        try {
            items.push_back(Item::Parse(message.Param(param, i)));
        } catch (const Error&) {
            continue;
        }
    }
    return items;
}

}  // namespace

std::shared_ptr<Message> DecodeSigned(ByteView encoded, const ContentPieces* detached) {
    const DWORD flags = detached != nullptr ? CMSG_DETACHED_FLAG : 0;
    std::shared_ptr<Message> message = NewDecoder(flags, 0, nullptr, nullptr);
    try {
        message->Update(encoded, true);
    } catch (const Error& error) {
        if (error.Code() != static_cast<DWORD>(CRYPT_E_INVALID_MSG_TYPE)) throw;
        throw Error(CRYPT_E_UNEXPECTED_MSG_TYPE);
    }
    if (message->NumberParam(CMSG_TYPE_PARAM) != CMSG_SIGNED) {
        throw Error(CRYPT_E_UNEXPECTED_MSG_TYPE);
    }
    if (detached == nullptr) return message;
    for (DWORD i = 0; i < detached->count; ++i) message->Update(detached->At(i), false);
    message->Update({}, true);
    return message;
}

std::shared_ptr<Certificate> FindInMessage(CERT_INFO& signer, const MessageItems& items) {
    for (const auto& certificate : items.certificates) {
        if (SameCertificate(signer, certificate->Info())) return certificate;
    }
    throw Error(CRYPT_E_NOT_FOUND);
}

std::shared_ptr<Certificate> VerifyMessage(Message& message, DWORD index,
                                           const SignerFinder& find) {
    if (index >= message.NumberParam(CMSG_SIGNER_COUNT_PARAM)) throw Error(CRYPT_E_NO_SIGNER);
    Bytes signer = message.Param(CMSG_SIGNER_CERT_INFO_PARAM, index);
    const MessageItems items{ItemsOf<Certificate>(message, CMSG_CERT_COUNT_PARAM, CMSG_CERT_PARAM),
                             ItemsOf<Crl>(message, CMSG_CRL_COUNT_PARAM, CMSG_CRL_PARAM)};
    std::shared_ptr<Certificate> found = find(*reinterpret_cast<CERT_INFO*>(signer.data()), items);
    CERT_PUBLIC_KEY_INFO key = found->Info().SubjectPublicKeyInfo;
    const CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA check{sizeof check, 0, index,
                                                   CMSG_VERIFY_SIGNER_PUBKEY, &key};
    message.Control(CMSG_CTRL_VERIFY_SIGNATURE_EX, 0, &check);
    return found;
}

}  // namespace platform
