// EnvelopedData written: while the content passes, or held and written whole.
#include "platform/cms/message.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/base/error.h"
#include "platform/base/output.h"
#include "platform/certs/names.h"
#include "platform/cms/encoded_message.h"
#include "platform/cms/model.h"
#include "platform/cms/params.h"
#include "platform/cms/stream_writer.h"
#include "platform/der/der.h"
#include "platform/providers/crypto.h"

namespace platform {
namespace {

// Plain text taken by the cipher at a time; bounds the buffer whatever the caller gives.
constexpr std::size_t kSliceSize = 0x10000;

RecipientInfo WrapFor(const CERT_INFO& certificate, std::string_view cipherOid,
                      const Secret& contentKey) {
    const AnyKey key = PublicKeyFromInfo(certificate.SubjectPublicKeyInfo);
    RecipientInfo recipient;
    recipient.kind = RecipientInfo::Kind::KeyTransport;
    recipient.recipient = HolderOf(certificate);
    recipient.keyEncryption = KeyTransportAlgorithmFor(key, cipherOid);
    recipient.encryptedKey = WrapKey(key, cipherOid, contentKey.View());
    return recipient;
}

// One of several recipients may have a key that does not go with the cipher: which is told.
RecipientInfo NamedWrapFor(const CERT_INFO& certificate, std::string_view cipherOid,
                           const Secret& contentKey) {
    try {
        return WrapFor(certificate, cipherOid, contentKey);
    } catch (const Error& error) {
        if (error.Code() != static_cast<DWORD>(NTE_BAD_ALGID)) throw;
        throw Error(NTE_BAD_ALGID,
                    NameToText(ViewOf(certificate.Subject.pbData, certificate.Subject.cbData),
                               CERT_X500_NAME_STR));
    }
}

void CheckRecord(const CMSG_ENVELOPED_ENCODE_INFO& info) {
    // A message that nobody can open is a mistake of the caller.
    const bool usable = info.cbSize >= sizeof(info) && info.cRecipients != 0 &&
                        info.rgpRecipients != nullptr &&
                        info.ContentEncryptionAlgorithm.pszObjId != nullptr;
    // The cipher's parameters are made here, with a fresh IV.
    if (!usable || info.ContentEncryptionAlgorithm.Parameters.cbData != 0) {
        throw Error(ERROR_INVALID_PARAMETER);
    }
    const bool anyNull = std::any_of(info.rgpRecipients, info.rgpRecipients + info.cRecipients,
                                     [](const CERT_INFO* one) { return one == nullptr; });
    if (anyNull) throw Error(ERROR_INVALID_PARAMETER);
}

// With the code that is documented for a cipher that is not known.
CipherContext Started(const std::string& oid, Algorithm& algorithm, Secret& key) {
    try {
        return StartEncryption(oid, algorithm, key);
    } catch (const Error& error) {
        if (error.Code() != static_cast<DWORD>(NTE_BAD_ALGID)) throw;
        throw Error(CRYPT_E_UNKNOWN_ALGO, oid);
    }
}

// The content cipher at work, into one buffer that is used again for each slice.
class ContentCipher {
  public:
    // Makes the content key and wraps it for every recipient.
    ContentCipher(const CMSG_ENVELOPED_ENCODE_INFO& info, EnvelopedRecords& records) {
        CheckRecord(info);
        const std::string oid = info.ContentEncryptionAlgorithm.pszObjId;
        Secret key;
        context_ = Started(oid, records.contentEncryption, key);
        // Room for the code; with it the message has unprotected attributes (RFC 5652 6.1).
        records.code.resize(context_->CodeSize());
        if (!records.code.empty()) records.version = 2;
        for (DWORD i = 0; i < info.cRecipients; ++i) {
            records.recipients.push_back(NamedWrapFor(*info.rgpRecipients[i], oid, key));
        }
    }

    // After the final piece.
    [[nodiscard]] Bytes Code() { return context_->Code(); }

    // `take` gets each piece of cipher text; the view dies with the next piece.
    template <class Take>
    void Encrypt(ByteView plain, bool isFinal, Take&& take) {
        buffer_.resize(kSliceSize + Cipher::kSlack);
        for (; !plain.empty(); plain = plain.subspan(std::min(plain.size(), kSliceSize))) {
            const ByteView slice = plain.first(std::min(plain.size(), kSliceSize));
            std::size_t written = 0;
            Check(context_->Update(slice, buffer_.data(), written));
            take(ByteView(buffer_).first(written));
        }
        if (!isFinal) return;
        std::size_t written = 0;
        Check(context_->Finish(buffer_.data(), written));
        take(ByteView(buffer_).first(written));
    }

  private:
    static void Check(bool done) {
        if (!done) throw Error(NTE_FAIL);
    }

    CipherContext context_;
    Bytes buffer_;
};

class EnvelopedEncoder : public EncodedMessage {
  public:
    EnvelopedEncoder(const CMSG_ENVELOPED_ENCODE_INFO& info, const std::string& contentType,
                     bool streamed)
        : EncodedMessage(CMSG_ENVELOPED, streamed), cipher_(info, records_) {
        records_.contentType = contentType;
        // Before anything goes out: recipients beyond what a reader holds.
        (void)EncodeEnvelopedMessage(records_, {});
    }

    void GetParam(DWORD param, DWORD index, void* data, DWORD* size) override {
        switch (param) {
            case CMSG_RECIPIENT_COUNT_PARAM:
                return CopyNumber(static_cast<DWORD>(records_.recipients.size()), data, size);
            case CMSG_VERSION_PARAM:
                return CopyNumber(static_cast<DWORD>(records_.version), data, size);
            default:
                return EncodedMessage::GetParam(param, index, data, size);
        }
    }

  protected:
    [[nodiscard]] const EnvelopedRecords& Records() const { return records_; }
    template <class Take>
    void Encrypt(ByteView plain, bool isFinal, Take&& take) {
        cipher_.Encrypt(plain, isFinal, std::forward<Take>(take));
        if (isFinal) records_.code = cipher_.Code();
    }

  private:
    EnvelopedRecords records_;
    ContentCipher cipher_;
};

class WholeEnvelopedEncoder : public EnvelopedEncoder {
  public:
    WholeEnvelopedEncoder(const CMSG_ENVELOPED_ENCODE_INFO& info, const std::string& contentType)
        : EnvelopedEncoder(info, contentType, false) {}

  protected:
    void Feed(ByteView data, bool isFinal) override {
        Encrypt(data, isFinal, [this](ByteView piece) { der::Append(content_, piece); });
        if (!isFinal) return;
        Finish(EncodeEnvelopedMessage(Records(), content_).Joined());
        content_ = Bytes();
    }

  private:
    Bytes content_;
};

class StreamedEnvelopedEncoder : public EnvelopedEncoder {
  public:
    StreamedEnvelopedEncoder(const CMSG_ENVELOPED_ENCODE_INFO& info, const std::string& contentType,
                             const CMSG_STREAM_INFO& stream)
        : EnvelopedEncoder(info, contentType, true), writer_(stream), length_(stream) {}

  protected:
    void Feed(ByteView data, bool isFinal) override {
        length_.Count(data.size(), isFinal);
        if (!begun_) WriteHead();
        begun_ = true;
        Encrypt(data, isFinal, [this](ByteView piece) { writer_.Piece(piece); });
        if (!isFinal) return;
        writer_.Close(2);
        writer_.Append(EncodeEnvelopedTail(Records()));
        writer_.Close(3);
        writer_.Finish();
        Finish();
    }

  private:
    void WriteHead() {
        writer_.OpenMessage(szOID_RSA_envelopedData, EncodeEnvelopedHead(Records()),
                            Records().contentType);
        writer_.Append(EncodeAlgorithm(Records().contentEncryption));
        writer_.Open(der::ContextConstructed(0));
    }

    StreamWriter writer_;
    AnnouncedLength length_;
    bool begun_ = false;
};

}  // namespace

std::shared_ptr<Message> NewEnvelopedEncoder(const CMSG_ENVELOPED_ENCODE_INFO& info, DWORD flags,
                                             const char* innerContentOid,
                                             const CMSG_STREAM_INFO* stream) {
    if (flags != 0) throw Error(ERROR_INVALID_PARAMETER);
    const std::string type = InnerContentType(innerContentOid);
    if (stream == nullptr) return std::make_shared<WholeEnvelopedEncoder>(info, type);
    return std::make_shared<StreamedEnvelopedEncoder>(info, type, *stream);
}

}  // namespace platform
