// The records of a message from the record of one call.
#include "platform/simple/sign_message.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "platform/base/error.h"
#include "platform/cms/attribute_set.h"
#include "platform/cms/signer.h"
#include "platform/der/der.h"

namespace platform {
namespace {

SignedRecords Embedded(const CRYPT_SIGN_MESSAGE_PARA& para) {
    SignedRecords records;
    for (DWORD i = 0; i < para.cMsgCert; ++i) {
        const PCCERT_CONTEXT one = para.rgpMsgCert[i];
        if (one == nullptr) throw Error(ERROR_INVALID_PARAMETER);
        records.certificates.push_back(Copy(ViewOf(one->pbCertEncoded, one->cbCertEncoded)));
    }
    for (DWORD i = 0; i < para.cMsgCrl; ++i) {
        const PCCRL_CONTEXT one = para.rgpMsgCrl[i];
        if (one == nullptr) throw Error(ERROR_INVALID_PARAMETER);
        records.crls.push_back(Copy(ViewOf(one->pbCrlEncoded, one->cbCrlEncoded)));
    }
    // Once for all: there may be a hundred thousand.
    std::sort(records.certificates.begin(), records.certificates.end());
    std::sort(records.crls.begin(), records.crls.end());
    return records;
}

CMSG_SIGNER_ENCODE_INFO SignerRecord(const CRYPT_SIGN_MESSAGE_PARA& para) {
    CMSG_SIGNER_ENCODE_INFO info{};
    info.cbSize = sizeof(info);
    info.pCertInfo = para.pSigningCert->pCertInfo;
    info.HashAlgorithm = para.HashAlgorithm;
    info.cAuthAttr = para.cAuthAttr;
    info.rgAuthAttr = para.rgAuthAttr;
    info.cUnauthAttr = para.cUnauthAttr;
    info.rgUnauthAttr = para.rgUnauthAttr;
    return info;
}

SignerInfo SignContent(const PreparedSigner& signer, const ContentPieces& content) {
    Digest digest(signer.DigestAlgorithm().oid);
    AttributeSetWatch watch;
    for (DWORD i = 0; i < content.count; ++i) {
        digest.Update(content.At(i));
        watch.Feed(content.At(i));
    }
    if (signer.CoversContent()) watch.RequireOrdinary();
    return signer.Sign(digest.Value());
}

Bytes Joined(const ContentPieces& content) {
    Bytes joined;
    for (DWORD i = 0; i < content.count; ++i) der::Append(joined, content.At(i));
    return joined;
}

}  // namespace

Bytes SignMessage(const CRYPT_SIGN_MESSAGE_PARA& para, const AnyKey& key, bool detached,
                  const ContentPieces& content, bool sizeOnly) {
    SignedRecords records = Embedded(para);
    if (key) {
        const PreparedSigner signer(SignerRecord(para), szOID_RSA_data, key);
        records.signers.push_back(sizeOnly ? signer.Dummy() : SignContent(signer, content));
        records.digests.push_back(signer.DigestAlgorithm());
    }
    records.version = SignedDataVersion(records);
    const auto encode = [&](std::optional<SignedContent> octets) {
        const auto& message = sizeOnly ? LayOutSignedMessage : EncodeSignedMessage;
        return message(records, octets, Wrapping::ContentInfo).Joined();
    };
    const bool bundle = records.signers.empty() && content.count == 0;
    if (detached || bundle) return encode(std::nullopt);
    if (content.count == 1) return encode(SignedContent{content.At(0)});
    const Bytes joined = Joined(content);
    return encode(SignedContent{joined});
}

}  // namespace platform
