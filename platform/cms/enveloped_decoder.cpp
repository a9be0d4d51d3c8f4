// EnvelopedData as it arrives.
#include "platform/cms/enveloped_decoder.h"

#include <algorithm>
#include <utility>

#include "platform/base/output.h"
#include "platform/cms/params.h"
#include "platform/der/der.h"

namespace platform {
namespace {

// Room for the output of one piece of input as callers give them, and more.
constexpr std::size_t kBlockSize = std::size_t{128} << 10;

// A transported value that does not unwrap may become a random key: nothing shows before the
// end.
Secret ContentKeyOf(const RecipientInfo& recipient, const AnyKey& key, std::size_t length) {
    if (recipient.kind == RecipientInfo::Kind::KeyTransport) {
        return UnwrapKey(key, recipient.keyEncryption, recipient.encryptedKey, length);
    }
    return UnwrapAgreedKey(key, *recipient.agreement, recipient.encryptedKey, length);
}

}  // namespace

std::unique_ptr<DecoderBody> NewEnvelopedBody(const DecodeSettings& settings) {
    return std::make_unique<EnvelopedBody>(settings);
}

void EnvelopedBody::Keep(Piece piece, Bytes der) {
    switch (piece) {
        case Piece::Version:
            records_.version = der::Cursor(der).SmallInteger();
            return;
        case Piece::Recipient:
            return ParseRecipientInfo(der, records_.recipients);
        case Piece::ContentType:
            records_.contentType = der::Cursor(der).OidText();
            return;
        case Piece::ContentEncryption:
            records_.contentEncryption = ParseAlgorithm(der);
            headerKnown_ = true;
            return;
        case Piece::UnprotectedAttribute:
            if (auto code = ParseContentCode(der)) records_.code = *std::move(code);
            return;
        default:
            return;
    }
}

ContentForm EnvelopedBody::BeginContent(const BerHeader& /*header*/) {
    contentSeen_ = true;
    return ContentForm::OctetString;
}

void EnvelopedBody::Content(ByteView octets) {
    if (cipher_) return Decrypt(octets);
    Hold(octets);
}

// What comes in one piece with the header can only wait; a caller that goes on feeding
// without a key is stopped at a bound.
void EnvelopedBody::Hold(ByteView octets) {
    const std::size_t limit = settings_.limits.undecrypted;
    const bool bounded = settings_.sink && heldBefore_;
    if (bounded && (held_.size() > limit || octets.size() > limit - held_.size())) {
        throw Error(CRYPT_E_NOT_DECRYPTED);
    }
    der::Append(held_, octets);
}

void EnvelopedBody::Pump() {
    if (!cipher_) {
        heldBefore_ = !held_.empty();
        return;
    }
    if (decrypted_) return;
    const Bytes waiting = std::exchange(held_, {});
    Decrypt(waiting);
    if (messageEnded_) return FinishDecrypting();
    Flush(false);
}

void EnvelopedBody::Control(DWORD type, const void* para) {
    if (type != CMSG_CTRL_DECRYPT) throw Error(CRYPT_E_CONTROL_TYPE);
    (void)Header();
    const auto& record = SizedRecordAt<CMSG_CTRL_DECRYPT_PARA>(para);
    if (cipher_) throw Error(CRYPT_E_ALREADY_DECRYPTED);
    StartDecrypting(record);
}

void EnvelopedBody::StartDecrypting(const CMSG_CTRL_DECRYPT_PARA& para) {
    const RecipientInfo& recipient = ItemAt(records_.recipients, para.dwRecipientIndex);
    if (recipient.kind == RecipientInfo::Kind::Other) throw Error(CRYPT_E_RECIPIENT_NOT_FOUND);
    const DWORD keySpec = para.dwKeySpec != 0 ? para.dwKeySpec : AT_KEYEXCHANGE;
    const Algorithm& cipher = records_.contentEncryption;
    const std::size_t keyLength = CipherKeyLength(cipher);
    const bool early = para.hCryptProv == 0 && settings_.provider;
    const AnyKey key =
        early ? settings_.provider->Key(keySpec) : PrivateKeyOf(para.hCryptProv, keySpec);
    const Secret contentKey = ContentKeyOf(recipient, key, keyLength);
    cipher_ = StartDecryption(cipher, contentKey.View());
    recipient_ = para.dwRecipientIndex;
    block_.resize(kBlockSize + Cipher::kSlack);
}

void EnvelopedBody::Decrypt(ByteView octets) {
    while (!octets.empty() && !damaged_) {
        if (filled_ >= kBlockSize / 2) Flush(false);
        const std::size_t piece = std::min(octets.size(), kBlockSize - filled_);
        std::size_t written = 0;
        damaged_ = !cipher_->Update(octets.first(piece), block_.data() + filled_, written);
        filled_ += written;
        octets = octets.subspan(piece);
    }
}

void EnvelopedBody::Flush(bool isFinal) {
    const ByteView ready(block_.data(), std::exchange(filled_, 0));
    if (!settings_.sink) return der::Append(content_, ready);
    if (isFinal || !ready.empty()) settings_.sink->Write(ready, isFinal);
}

void EnvelopedBody::FinishDecrypting() {
    std::size_t written = 0;
    const bool good = contentSeen_ && !damaged_ &&
                      cipher_->Finish(block_.data() + filled_, written) &&
                      (cipher_->CodeSize() == 0 || SameCode(cipher_->Code(), records_.code));
    if (!good) throw Error(NTE_BAD_DATA);
    filled_ += written;
    Flush(true);
    decrypted_ = true;
}

const EnvelopedRecords& EnvelopedBody::Header() const {
    if (!headerKnown_) throw Error(settings_.NotReady());
    return records_;
}

void EnvelopedBody::GetParam(DWORD param, DWORD index, void* data, DWORD* size) {
    switch (param) {
        case CMSG_VERSION_PARAM:
            return CopyNumber(static_cast<DWORD>(Header().version), data, size);
        case CMSG_INNER_CONTENT_TYPE_PARAM:
            return CopyTextOut(Header().contentType, static_cast<char*>(data), size);
        case CMSG_ENVELOPE_ALGORITHM_PARAM:
            return CopyAlgorithm(Header().contentEncryption, data, size);
        case CMSG_RECIPIENT_COUNT_PARAM:
            return CopyNumber(static_cast<DWORD>(Header().recipients.size()), data, size);
        case CMSG_RECIPIENT_INFO_PARAM:
            return CopyRecipient(index, data, size);
        case CMSG_RECIPIENT_INDEX_PARAM:
            if (!cipher_) throw Error(CRYPT_E_NOT_DECRYPTED);
            return CopyNumber(recipient_, data, size);
        case CMSG_CONTENT_PARAM:
            return CopyContent(data, size);
        default:
            throw Error(CRYPT_E_INVALID_MSG_TYPE);
    }
}

void EnvelopedBody::CopyRecipient(DWORD index, void* data, DWORD* size) const {
    const RecipientInfo& recipient = ItemAt(Header().recipients, index);
    if (recipient.kind == RecipientInfo::Kind::Other) return CopyNobody(data, size);
    CopyHolder(recipient.recipient, data, size);
}

void EnvelopedBody::CopyContent(void* data, DWORD* size) const {
    if (settings_.sink) throw Error(CRYPT_E_INVALID_MSG_TYPE);
    if (!decrypted_) throw Error(CRYPT_E_NOT_DECRYPTED);
    CopyOut(content_, data, size);
}

}  // namespace platform
