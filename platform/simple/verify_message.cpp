// One signature of a message verified in one call: CryptVerifyMessageSignature and
// CryptVerifyDetachedMessageSignature.
#include "platform/base/ground.h"

#include <memory>
#include <utility>

#include "platform/base/error.h"
#include "platform/base/output.h"
#include "platform/certs/compare.h"
#include "platform/certs/share.h"
#include "platform/cms/message.h"
#include "platform/simple/content_pieces.h"
#include "platform/stores/store.h"

namespace platform {
namespace {

struct ContextReleaser {
    void operator()(PCCERT_CONTEXT certificate) const {
        const LastErrorKeeper keeper;
        CertFreeCertificateContext(certificate);
    }
};
using SignerCertificate = std::unique_ptr<const CERT_CONTEXT, ContextReleaser>;

// What CryptMsgGetParam would lay into the caller's buffer.
Bytes Param(Message& message, DWORD param, DWORD index = 0) {
    DWORD size = 0;
    message.GetParam(param, index, nullptr, &size);
    Bytes value(size);
    message.GetParam(param, index, value.data(), &size);
    value.resize(size);
    return value;
}

DWORD NumberParam(Message& message, DWORD param) {
    DWORD number = 0;
    DWORD size = sizeof number;
    message.GetParam(param, 0, &number, &size);
    return number;
}

// What cannot be read as a certificate or CRL cannot be this signer's, and says nothing
// about the signature.
template <class Item>
void AddAll(Store& store, Message& message, DWORD countParam, DWORD param) {
    const DWORD count = NumberParam(message, countParam);
    for (DWORD i = 0; i < count; ++i) {
        std::shared_ptr<Item> item;
        try {
            item = Item::Parse(Param(message, param, i));
        } catch (const Error&) {
            continue;
        }
        store.Add(*item, CERT_STORE_ADD_ALWAYS);
    }
}

// The message's own certificates and CRLs under a handle. Contexts found in it stay good
// behind its end.
class MessageStore {
  public:
    explicit MessageStore(Message& message) {
        std::shared_ptr<Store> store = NewMemoryStore();
        AddAll<Certificate>(*store, message, CMSG_CERT_COUNT_PARAM, CMSG_CERT_PARAM);
        AddAll<Crl>(*store, message, CMSG_CRL_COUNT_PARAM, CMSG_CRL_PARAM);
        handle_ = Publish(std::move(store));
    }
    ~MessageStore() {
        const LastErrorKeeper keeper;
        CertCloseStore(handle_, 0);
    }
    MessageStore(const MessageStore&) = delete;
    MessageStore& operator=(const MessageStore&) = delete;

    [[nodiscard]] HCERTSTORE Handle() const { return handle_; }

  private:
    HCERTSTORE handle_;
};

PCCERT_CONTEXT FindInMessage(const CERT_INFO& signer, HCERTSTORE store) {
    for (const auto& certificate : Resolve<Store>(store)->Certificates()) {
        if (SameCertificate(signer, certificate->Info())) return HandOut(certificate);
    }
    throw Error(CRYPT_E_NOT_FOUND);
}

void CheckPara(const CRYPT_VERIFY_MESSAGE_PARA* para, const BYTE* message, DWORD size) {
    if (para == nullptr || para->cbSize < sizeof *para || (message == nullptr && size != 0)) {
        throw Error(ERROR_INVALID_PARAMETER);
    }
    if ((para->dwMsgAndCertEncodingType & PKCS_7_ASN_ENCODING) == 0) throw Error(E_INVALIDARG);
}

// A SignedData whole, with the content beside it unless the message has its own.
std::shared_ptr<Message> Decode(ByteView encoded, const ContentPieces* detached) {
    const DWORD flags = detached != nullptr ? CMSG_DETACHED_FLAG : 0;
    std::shared_ptr<Message> message = NewDecoder(flags, 0, 0, nullptr);
    try {
        message->Update(encoded, true);
    } catch (const Error& error) {
        if (error.Code() != static_cast<DWORD>(CRYPT_E_INVALID_MSG_TYPE)) throw;
        throw Error(CRYPT_E_UNEXPECTED_MSG_TYPE);
    }
    if (NumberParam(*message, CMSG_TYPE_PARAM) != CMSG_SIGNED) {
        throw Error(CRYPT_E_UNEXPECTED_MSG_TYPE);
    }
    if (detached == nullptr) return message;
    for (DWORD i = 0; i < detached->count; ++i) message->Update(detached->At(i), false);
    message->Update({}, true);
    return message;
}

SignerCertificate FindSigner(const CRYPT_VERIFY_MESSAGE_PARA& para, Message& message, DWORD index) {
    if (index >= NumberParam(message, CMSG_SIGNER_COUNT_PARAM)) throw Error(CRYPT_E_NO_SIGNER);
    Bytes block = Param(message, CMSG_SIGNER_CERT_INFO_PARAM, index);
    auto* const signer = reinterpret_cast<CERT_INFO*>(block.data());
    const MessageStore store(message);
    if (para.pfnGetSignerCertificate == nullptr) {
        return SignerCertificate(FindInMessage(*signer, store.Handle()));
    }
    SignerCertificate found(para.pfnGetSignerCertificate(
        para.pvGetArg, para.dwMsgAndCertEncodingType, signer, store.Handle()));
    if (!found) throw Error(NO_ERROR);
    (void)Certificate::Of(found.get());
    return found;
}

SignerCertificate Verify(const CRYPT_VERIFY_MESSAGE_PARA& para, Message& message, DWORD index) {
    SignerCertificate signer = FindSigner(para, message, index);
    CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA check{};
    check.cbSize = sizeof check;
    check.dwSignerIndex = index;
    check.dwSignerType = CMSG_VERIFY_SIGNER_CERT;
    check.pvSigner = const_cast<CERT_CONTEXT*>(signer.get());
    message.Control(CMSG_CTRL_VERIFY_SIGNATURE_EX, 0, &check);
    return signer;
}

void GiveSigner(SignerCertificate found, PCCERT_CONTEXT* signer) {
    if (signer != nullptr) *signer = found.release();
}

}  // namespace
}  // namespace platform

BOOL WINAPI CryptVerifyMessageSignature(PCRYPT_VERIFY_MESSAGE_PARA para, DWORD signerIndex,
                                        const BYTE* message, DWORD size, BYTE* content,
                                        DWORD* contentSize, PCCERT_CONTEXT* signer) {
    using namespace platform;
    if (signer != nullptr) *signer = nullptr;
    return GuardedBool([&] {
        CheckPara(para, message, size);
        const std::shared_ptr<Message> decoded = Decode(ViewOf(message, size), nullptr);
        SignerCertificate found = Verify(*para, *decoded, signerIndex);
        if (contentSize != nullptr) decoded->GetParam(CMSG_CONTENT_PARAM, 0, content, contentSize);
        GiveSigner(std::move(found), signer);
    });
}

BOOL WINAPI CryptVerifyDetachedMessageSignature(PCRYPT_VERIFY_MESSAGE_PARA para, DWORD signerIndex,
                                                const BYTE* message, DWORD size, DWORD count,
                                                const BYTE* content[], DWORD sizes[],
                                                PCCERT_CONTEXT* signer) {
    using namespace platform;
    if (signer != nullptr) *signer = nullptr;
    return GuardedBool([&] {
        CheckPara(para, message, size);
        const ContentPieces pieces{count, content, sizes};
        pieces.Check();
        const std::shared_ptr<Message> decoded = Decode(ViewOf(message, size), &pieces);
        GiveSigner(Verify(*para, *decoded, signerIndex), signer);
    });
}
