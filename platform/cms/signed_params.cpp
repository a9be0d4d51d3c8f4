// The values of a SignedData for CryptMsgGetParam.
#include "platform/base/output.h"
#include "platform/cms/params.h"
#include "platform/cms/signed_decoder.h"
#include "platform/der/der.h"

namespace platform {
namespace {

// Gives the content of an encoded message another tag of one octet.
void RetagContent(Bytes& message, std::uint8_t tag) {
    der::Cursor info(der::Cursor(message).Expect(der::kSequence).contents);
    info.Expect(der::kOid);
    const der::Item body = info.Expect(der::ContextConstructed(0));
    der::Cursor data(der::Cursor(body.contents).Expect(der::kSequence).contents);
    data.Expect(der::kInteger);
    data.Expect(der::kSet);
    der::Cursor encapsulated(data.Expect(der::kSequence).contents);
    encapsulated.Expect(der::kOid);
    const ByteView content = encapsulated.Expect(der::ContextConstructed(0)).contents;
    message[static_cast<std::size_t>(content.data() - message.data())] = tag;
}

Bytes WithoutContentInfo(ByteView message) {
    der::Cursor info(der::Cursor(message).Expect(der::kSequence).contents);
    info.Expect(der::kOid);
    return Copy(info.Expect(der::ContextConstructed(0)).contents);
}

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
    const std::vector<std::size_t> plain = PlainChoices(choices);
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
    if (param == CMSG_ENCODED_MESSAGE) return CopyEncodedMessage(data, size);
    CopyOut(WithoutContentInfo(EncodeMessage()), data, size);
}

void SignedBody::CopyContent(void* data, DWORD* size) const {
    if (!rawTag_) return CopyOut(content_, data, size);
    CopyOut(der::Element(*rawTag_, content_), data, size);
}

// Callers ask for the size first: the message is built once for both calls.
void SignedBody::CopyEncodedMessage(void* data, DWORD* size) {
    if (!encoded_) encoded_ = EncodeMessage();
    CopyOut(*encoded_, data, size);
    if (data != nullptr) encoded_.reset();
}

Bytes SignedBody::EncodeMessage() const {
    const bool attached = contentComplete_ && !settings_.detached;
    Bytes message =
        EncodeSignedMessage(records_, attached ? std::optional<ByteView>(content_) : std::nullopt);
    if (attached && rawTag_) RetagContent(message, *rawTag_);
    return message;
}

}  // namespace platform
