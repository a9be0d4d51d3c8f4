// Certificates and CRLs out of messages.
#include "platform/stores/bundle_message.h"

#include <algorithm>

#include "platform/base/error.h"
#include "platform/der/der.h"

namespace platform {
namespace {

constexpr std::size_t kLargestPiece = std::size_t{1} << 20;

BOOL WINAPI DropContent(const void*, BYTE*, DWORD, BOOL) { return TRUE; }

// Choices other than certificates and CRLs of X.509 (RFC 5652 10.2) have other tags.
bool IsX509(ByteView choice) { return !choice.empty() && choice[0] == der::kSequence; }

template <class Item>
void Collect(Message& message, DWORD countParam, DWORD param,
             std::vector<std::shared_ptr<Item>>& items) {
    const DWORD count = message.NumberParam(countParam);
    for (DWORD i = 0; i < count; ++i) {
        const Bytes choice = message.Param(param, i);
        if (IsX509(choice)) items.push_back(Item::Parse(choice));
    }
}

}  // namespace

MessageReader::MessageReader() {
    CMSG_STREAM_INFO stream{};
    stream.cbContent = CMSG_INDEFINITE_LENGTH;
    stream.pfnStreamOutput = DropContent;
    message_ = NewDecoder(0, 0, {}, &stream);
}

void MessageReader::Feed(ByteView piece) {
    while (!piece.empty()) {
        const std::size_t size = std::min(piece.size(), kLargestPiece);
        Update(piece.first(size), false);
        piece = piece.subspan(size);
    }
}

CertificateBundle MessageReader::Finish() {
    Update({}, true);
    return BundleOf(*message_);
}

void MessageReader::Update(ByteView piece, bool last) {
    message_->Update(piece, last);
    if (!typeKnown_) CheckType();
}

// An enveloped message would be held back until somebody decrypts it, so it is turned
// down as soon as it shows itself.
void MessageReader::CheckType() {
    DWORD type = 0;
    try {
        type = message_->NumberParam(CMSG_TYPE_PARAM);
    } catch (const Error&) {
        return;  // not read that far
    }
    if (type != CMSG_SIGNED) throw Error(CRYPT_E_INVALID_MSG_TYPE);
    typeKnown_ = true;
}

CertificateBundle BundleOf(Message& message) {
    CertificateBundle bundle;
    Collect(message, CMSG_CERT_COUNT_PARAM, CMSG_CERT_PARAM, bundle.certificates);
    Collect(message, CMSG_CRL_COUNT_PARAM, CMSG_CRL_PARAM, bundle.crls);
    return bundle;
}

}  // namespace platform
