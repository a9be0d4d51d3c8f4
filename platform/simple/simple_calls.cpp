// The exported calls that sign or verify a message at once.
#include "platform/base/ground.h"

#include <utility>

#include "platform/base/error.h"
#include "platform/base/output.h"
#include "platform/certs/private_key.h"
#include "platform/certs/share.h"
#include "platform/providers/crypto.h"
#include "platform/providers/provider.h"
#include "platform/simple/sign_message.h"
#include "platform/simple/verify_message.h"
#include "platform/stores/store.h"

using namespace platform;

namespace {

// A size stays where a short buffer is to learn it; after any other failure it is 0.
template <class Body>
BOOL GuardedSize(DWORD* size, Body&& body) {
    const BOOL done = GuardedBool(std::forward<Body>(body));
    const bool told = done != FALSE || LastError() == ERROR_MORE_DATA;
    if (size != nullptr && !told) *size = 0;
    return done;
}

// ---- signing -----------------------------------------------------------------

void CheckArguments(const CRYPT_SIGN_MESSAGE_PARA* para, const ContentPieces& content) {
    if (para == nullptr || para->cbSize < sizeof(*para) ||
        (para->dwMsgEncodingType & PKCS_7_ASN_ENCODING) == 0) {
        throw Error(E_INVALIDARG);
    }
    const bool usable = para->dwFlags == 0 &&
                        (para->dwInnerContentType == 0 || para->dwInnerContentType == CMSG_DATA) &&
                        (para->cMsgCert == 0 || para->rgpMsgCert != nullptr) &&
                        (para->cMsgCrl == 0 || para->rgpMsgCrl != nullptr);
    if (!usable) throw Error(ERROR_INVALID_PARAMETER);
    content.Check();
}

// The key of a certificate; none for no certificate.
AnyKey KeyOf(PCCERT_CONTEXT certificate) {
    if (certificate == nullptr) return {};
    const AcquiredKey key = AcquireKey(*Certificate::Of(certificate), /*silent=*/false);
    return key.provider->Key(key.keySpec);
}

// ---- verifying ---------------------------------------------------------------

void CheckPara(const CRYPT_VERIFY_MESSAGE_PARA* para) {
    if (para == nullptr || para->cbSize < sizeof *para ||
        (para->dwMsgAndCertEncodingType & PKCS_7_ASN_ENCODING) == 0) {
        throw Error(E_INVALIDARG);
    }
}

void CheckMessage(const BYTE* message, DWORD size) {
    if (message == nullptr && size != 0) throw Error(ERROR_INVALID_PARAMETER);
}

// What the message brings, under a handle for as long as the application looks at it.
// Contexts found in it stay good behind its end.
class MessageStore {
  public:
    explicit MessageStore(const MessageItems& items) {
        std::shared_ptr<Store> store = NewMemoryStore();
        for (const auto& item : items.certificates) store->Add(*item, CERT_STORE_ADD_ALWAYS);
        for (const auto& item : items.crls) store->Add(*item, CERT_STORE_ADD_ALWAYS);
        handle_ = Publish(std::move(store));
    }
    ~MessageStore() {
        const LastErrorKeeper keeper;
        ReleaseHandle(handle_, Store::kKind, ERROR_INVALID_PARAMETER);
    }
    MessageStore(const MessageStore&) = delete;
    MessageStore& operator=(const MessageStore&) = delete;
    [[nodiscard]] HCERTSTORE Handle() const { return handle_; }

  private:
    HCERTSTORE handle_;
};

// Asks the application where it gave a callback. Its context is given back here; a caller
// that wants the signer gets one of its own.
SignerFinder FinderOf(const CRYPT_VERIFY_MESSAGE_PARA& para) {
    if (para.pfnGetSignerCertificate == nullptr) return FindInMessage;
    return [&para](CERT_INFO& signer, const MessageItems& items) {
        const MessageStore store(items);
        const PCCERT_CONTEXT context = para.pfnGetSignerCertificate(
            para.pvGetArg, para.dwMsgAndCertEncodingType, &signer, store.Handle());
        // Nobody named is no failure of the call's own.
        if (context == nullptr) throw Error(NO_ERROR);
        const Consumed<Certificate> consumed(context);
        return Certificate::Of(context);
    };
}

void Verify(const CRYPT_VERIFY_MESSAGE_PARA& para, Message& message, DWORD index,
            PCCERT_CONTEXT* signer, BYTE* content = nullptr, DWORD* contentSize = nullptr) {
    const std::shared_ptr<Certificate> found = VerifyMessage(message, index, FinderOf(para));
    if (contentSize != nullptr) message.GetParam(CMSG_CONTENT_PARAM, 0, content, contentSize);
    if (signer != nullptr) *signer = Certificate::Share(found);
}

}  // namespace

BOOL WINAPI CryptSignMessage(PCRYPT_SIGN_MESSAGE_PARA para, BOOL detached, DWORD count,
                             const BYTE* content[], DWORD sizes[], BYTE* encoded, DWORD* size) {
    return GuardedSize(size, [&] {
        const ContentPieces pieces{count, content, sizes};
        CheckArguments(para, pieces);
        CopyOut(SignMessage(*para, KeyOf(para->pSigningCert), detached != FALSE, pieces,
                            encoded == nullptr),
                encoded, size);
    });
}

BOOL WINAPI CryptVerifyMessageSignature(PCRYPT_VERIFY_MESSAGE_PARA para, DWORD signerIndex,
                                        const BYTE* message, DWORD size, BYTE* content,
                                        DWORD* contentSize, PCCERT_CONTEXT* signer) {
    if (signer != nullptr) *signer = nullptr;
    return GuardedSize(contentSize, [&] {
        CheckPara(para);
        CheckMessage(message, size);
        const std::shared_ptr<Message> decoded = DecodeSigned(ViewOf(message, size), nullptr);
        Verify(*para, *decoded, signerIndex, signer, content, contentSize);
    });
}

BOOL WINAPI CryptVerifyDetachedMessageSignature(PCRYPT_VERIFY_MESSAGE_PARA para, DWORD signerIndex,
                                                const BYTE* message, DWORD size, DWORD count,
                                                const BYTE* content[], DWORD sizes[],
                                                PCCERT_CONTEXT* signer) {
    if (signer != nullptr) *signer = nullptr;
    return GuardedBool([&] {
        CheckPara(para);
        CheckMessage(message, size);
        const ContentPieces pieces{count, content, sizes};
        pieces.Check();
        const std::shared_ptr<Message> decoded = DecodeSigned(ViewOf(message, size), &pieces);
        Verify(*para, *decoded, signerIndex, signer);
    });
}
