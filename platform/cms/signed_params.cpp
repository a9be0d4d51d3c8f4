// The values of a SignedData for CryptMsgGetParam.
#include "platform/base/output.h"
#include "platform/cms/params.h"
#include "platform/cms/signed_decoder.h"
#include "platform/der/der.h"

namespace platform {
namespace {

void CopyPresent(const std::vector<Bytes>& attributes, void* data, DWORD* size) {
    if (attributes.empty()) throw Error(CRYPT_E_ATTRIBUTES_MISSING);
    CopyAttributes(attributes, data, size);
}

}  // namespace

std::vector<std::size_t> PlainChoices(const std::vector<Bytes>& choices) {
    std::vector<std::size_t> plain;
    for (std::size_t i = 0; i < choices.size(); ++i) {
        if (choices[i].front() == der::kSequence) plain.push_back(i);
    }
    return plain;
}

void SignedBody::GetParam(DWORD param, DWORD index, void* data, DWORD* size) {
    switch (param) {
        case CMSG_VERSION_PARAM:
            Require(Progress::Version);
            return CopyNumber(static_cast<DWORD>(records_.version), data, size);
        case CMSG_INNER_CONTENT_TYPE_PARAM:
            Require(Progress::ContentType);
            return CopyTextOut(records_.contentType, static_cast<char*>(data), size);
        case CMSG_CERT_COUNT_PARAM:
        case CMSG_CERT_PARAM:
        case CMSG_CRL_COUNT_PARAM:
        case CMSG_CRL_PARAM:
            return ChoiceParam(param, index, data, size);
        case CMSG_CONTENT_PARAM:
        case CMSG_BARE_CONTENT_PARAM:
        case CMSG_ENCODED_MESSAGE:
            return MessageParam(param, data, size);
        default:
            return SignerParam(param, index, data, size);
    }
}

void SignedBody::SignerParam(DWORD param, DWORD index, void* data, DWORD* size) const {
    const auto signers = [&]() -> const std::vector<SignerInfo>& {
        Require(Progress::Records);
        return records_.signers;
    };
    const auto signer = [&]() -> const SignerInfo& { return ItemAt(signers(), index); };
    switch (param) {
        case CMSG_SIGNER_COUNT_PARAM:
            return CopyNumber(static_cast<DWORD>(signers().size()), data, size);
        case CMSG_SIGNER_INFO_PARAM:
            return CopySigner(signer(), data, size);
        case CMSG_SIGNER_CERT_INFO_PARAM:
            return CopyHolder(signer().signer, data, size);
        case CMSG_SIGNER_CERT_ID_PARAM:
            return CopyHolderId(signer().signer, data, size);
        case CMSG_SIGNER_HASH_ALGORITHM_PARAM:
            return CopyAlgorithm(signer().digest, data, size);
        case CMSG_SIGNER_AUTH_ATTR_PARAM:
            return CopyPresent(signer().signedAttributes.value_or(std::vector<Bytes>{}), data,
                               size);
        case CMSG_SIGNER_UNAUTH_ATTR_PARAM:
            return CopyPresent(signer().unsignedAttributes, data, size);
        case CMSG_ENCRYPTED_DIGEST:
            return CopyOut(signer().signature, data, size);
        case CMSG_ENCODED_SIGNER:
            return CopyOut(EncodeSignerInfo(signer()), data, size);
        default:
            // Told at once, before the message has ended: a caller that waits for a value of
            // another type must not be sent on reading.
            throw Error(CRYPT_E_INVALID_MSG_TYPE);
    }
}

void SignedBody::ChoiceParam(DWORD param, DWORD index, void* data, DWORD* size) const {
    Require(Progress::Records);
    const bool certificates = param == CMSG_CERT_COUNT_PARAM || param == CMSG_CERT_PARAM;
    const std::vector<Bytes>& choices = certificates ? records_.certificates : records_.crls;
    auto& found = certificates ? plainCertificates_ : plainCrls_;
    if (!found) found = PlainChoices(choices);
    const std::vector<std::size_t>& plain = *found;
    if (param == CMSG_CERT_COUNT_PARAM || param == CMSG_CRL_COUNT_PARAM) {
        return CopyNumber(static_cast<DWORD>(plain.size()), data, size);
    }
    CopyOut(choices[ItemAt(plain, index)], data, size);
}

// What is asked here needs the content, which a stream has handed on.
void SignedBody::MessageParam(DWORD param, void* data, DWORD* size) {
    if (settings_.sink) throw Error(CRYPT_E_INVALID_MSG_TYPE);
    Require(Progress::Records);
    if (param == CMSG_CONTENT_PARAM) return CopyContent(data, size);
    const bool bare = param == CMSG_BARE_CONTENT_PARAM;
    CopyMessage(bare ? Wrapping::Bare : Wrapping::ContentInfo, data, size);
}

void SignedBody::CopyContent(void* data, DWORD* size) const {
    if (!rawTag_) return CopyOut(content_, data, size);
    CopyOut(der::Element(*rawTag_, content_), data, size);
}

// The content goes from where it is held to where the caller wants it, and nowhere between.
void SignedBody::CopyMessage(Wrapping wrapping, void* data, DWORD* size) const {
    std::optional<SignedContent> content;
    if (contentComplete_ && !settings_.detached) {
        content = SignedContent{content_, rawTag_.value_or(der::kOctetString)};
    }
    CopyParts(EncodeSignedMessage(records_, content, wrapping), data, size);
}

}  // namespace platform
