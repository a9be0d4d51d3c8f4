// A signed message made in one call: CryptSignMessage.
#include "platform/base/ground.h"

#include <limits>
#include <optional>
#include <string>
#include <utility>

#include "platform/base/error.h"
#include "platform/base/output.h"
#include "platform/cms/model.h"
#include "platform/cms/signer.h"
#include "platform/der/der.h"
#include "platform/providers/crypto.h"
#include "platform/simple/content_pieces.h"

namespace platform {
namespace {

// The provider handle of a certificate's key, for as long as the call lasts.
class SigningKey {
  public:
    explicit SigningKey(PCCERT_CONTEXT certificate) {
        if (!CryptAcquireCertificatePrivateKey(certificate, 0, nullptr, &provider_, &keySpec_,
                                               &callerFree_)) {
            throw Error(GetLastError());
        }
    }
    ~SigningKey() {
        const LastErrorKeeper keeper;
        if (callerFree_) CryptReleaseContext(provider_, 0);
    }
    SigningKey(const SigningKey&) = delete;
    SigningKey& operator=(const SigningKey&) = delete;

    [[nodiscard]] HCRYPTPROV Provider() const { return provider_; }
    [[nodiscard]] DWORD KeySpec() const { return keySpec_; }

  private:
    HCRYPTPROV provider_ = 0;
    DWORD keySpec_ = 0;
    BOOL callerFree_ = FALSE;
};

void CheckArguments(const CRYPT_SIGN_MESSAGE_PARA* para, const ContentPieces& content) {
    const bool usable = para != nullptr && para->cbSize >= sizeof(*para) && para->dwFlags == 0 &&
                        (para->dwInnerContentType == 0 || para->dwInnerContentType == CMSG_DATA) &&
                        (para->cMsgCert == 0 || para->rgpMsgCert != nullptr) &&
                        (para->cMsgCrl == 0 || para->rgpMsgCrl != nullptr);
    if (!usable) throw Error(ERROR_INVALID_PARAMETER);
    content.Check();
}

SignedRecords Embedded(const CRYPT_SIGN_MESSAGE_PARA& para) {
    SignedRecords records;
    for (DWORD i = 0; i < para.cMsgCert; ++i) {
        const PCCERT_CONTEXT one = para.rgpMsgCert[i];
        if (one == nullptr) throw Error(ERROR_INVALID_PARAMETER);
        InsertInOrder(records.certificates, Copy(ViewOf(one->pbCertEncoded, one->cbCertEncoded)));
    }
    for (DWORD i = 0; i < para.cMsgCrl; ++i) {
        const PCCRL_CONTEXT one = para.rgpMsgCrl[i];
        if (one == nullptr) throw Error(ERROR_INVALID_PARAMETER);
        InsertInOrder(records.crls, Copy(ViewOf(one->pbCrlEncoded, one->cbCrlEncoded)));
    }
    return records;
}

CMSG_SIGNER_ENCODE_INFO SignerRecord(const CRYPT_SIGN_MESSAGE_PARA& para, const SigningKey& key) {
    CMSG_SIGNER_ENCODE_INFO info{};
    info.cbSize = sizeof(info);
    info.pCertInfo = para.pSigningCert->pCertInfo;
    info.hCryptProv = key.Provider();
    info.dwKeySpec = key.KeySpec();
    info.HashAlgorithm = para.HashAlgorithm;
    info.cAuthAttr = para.cAuthAttr;
    info.rgAuthAttr = para.rgAuthAttr;
    info.cUnauthAttr = para.cUnauthAttr;
    info.rgUnauthAttr = para.rgUnauthAttr;
    return info;
}

// A question for the size is answered without a signature, with the greatest size that one
// can have: the length of an ECDSA value differs from one time to the next.
SignerInfo SignContent(const CRYPT_SIGN_MESSAGE_PARA& para, const ContentPieces& content,
                       bool sizeOnly) {
    const SigningKey key(para.pSigningCert);
    const PreparedSigner signer(SignerRecord(para, key), szOID_RSA_data);
    if (sizeOnly) return signer.Dummy();
    Digest digest(signer.DigestAlgorithm().oid);
    for (DWORD i = 0; i < content.count; ++i) digest.Update(content.At(i));
    return signer.Sign(digest.Value());
}

Bytes Joined(const ContentPieces& content) {
    Bytes joined;
    for (DWORD i = 0; i < content.count; ++i) der::Append(joined, content.At(i));
    return joined;
}

// With neither signer nor content: the bundle of certificates and CRLs.
Bytes EncodeOneCall(const CRYPT_SIGN_MESSAGE_PARA& para, bool detached,
                    const ContentPieces& content, bool sizeOnly) {
    SignedRecords records = Embedded(para);
    if (para.pSigningCert != nullptr) {
        records.signers.push_back(SignContent(para, content, sizeOnly));
        records.digests.push_back(records.signers.front().digest);
    }
    records.version = SignedDataVersion(records);
    const bool bundle = para.pSigningCert == nullptr && content.count == 0;
    if (detached || bundle) return EncodeSignedMessage(records, std::nullopt);
    if (content.count == 1) {
        return EncodeSignedMessage(records, content.At(0));
    }
    return EncodeSignedMessage(records, Joined(content));
}

}  // namespace
}  // namespace platform

BOOL WINAPI CryptSignMessage(PCRYPT_SIGN_MESSAGE_PARA para, BOOL detached, DWORD count,
                             const BYTE* content[], DWORD sizes[], BYTE* encoded, DWORD* size) {
    using namespace platform;
    return GuardedBool([&] {
        const ContentPieces pieces{count, content, sizes};
        CheckArguments(para, pieces);
        CopyOut(EncodeOneCall(*para, detached != FALSE, pieces, encoded == nullptr), encoded, size);
    });
}
