// SignedData written: while the content passes, or held and written whole.
#include "platform/cms/message.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "platform/base/error.h"
#include "platform/base/output.h"
#include "platform/cms/attribute_set.h"
#include "platform/cms/encoded_message.h"
#include "platform/cms/model.h"
#include "platform/cms/params.h"
#include "platform/cms/signer.h"
#include "platform/cms/stream_writer.h"
#include "platform/der/der.h"

namespace platform {
namespace {

constexpr std::uint8_t kConstructedOctetString = 0x24;

// Signers with one running digest for each digest algorithm among them.
class Signers {
  public:
    Signers(const CMSG_SIGNED_ENCODE_INFO& info, const std::string& contentType) {
        if (info.cSigners != 0 && info.rgSigners == nullptr) throw Error(ERROR_INVALID_PARAMETER);
        prepared_.reserve(info.cSigners);
        for (DWORD i = 0; i < info.cSigners; ++i) {
            Add(PreparedSigner(info.rgSigners[i], contentType));
        }
    }

    [[nodiscard]] const std::vector<Algorithm>& Algorithms() const { return algorithms_; }
    // Records as they will be, for the version; their signatures are not made.
    [[nodiscard]] std::vector<SignerInfo> Dummies() const {
        std::vector<SignerInfo> signers;
        for (const PreparedSigner& signer : prepared_) signers.push_back(signer.Dummy());
        return signers;
    }
    // Throws CRYPT_E_AUTH_ATTR_MISSING at the end of content that must not be signed bare.
    void Update(ByteView content, bool isFinal) {
        for (Digest& digest : digests_) digest.Update(content);
        if (!bare_) return;
        watch_.Feed(content);
        if (isFinal) watch_.RequireOrdinary();
    }
    [[nodiscard]] std::vector<SignerInfo> Sign() const {
        std::vector<SignerInfo> signers;
        for (const PreparedSigner& signer : prepared_) {
            signers.push_back(signer.Sign(DigestFor(signer).Value()));
        }
        return signers;
    }

  private:
    void Add(PreparedSigner signer) {
        const Algorithm& digest = signer.DigestAlgorithm();
        const bool known = std::any_of(digests_.begin(), digests_.end(),
                                       [&](const Digest& d) { return d.Oid() == digest.oid; });
        if (!known) {
            digests_.emplace_back(digest.oid);
            ListDigest(algorithms_, digest);
        }
        bare_ = bare_ || signer.CoversContent();
        prepared_.push_back(std::move(signer));
    }
    [[nodiscard]] const Digest& DigestFor(const PreparedSigner& signer) const {
        return *std::find_if(digests_.begin(), digests_.end(), [&](const Digest& d) {
            return d.Oid() == signer.DigestAlgorithm().oid;
        });
    }

    std::vector<PreparedSigner> prepared_;
    std::vector<Digest> digests_;
    std::vector<Algorithm> algorithms_;
    bool bare_ = false;  // a signature covers the content itself
    AttributeSetWatch watch_;
};

// What is embedded must be one element, or the reader loses its way behind it.
std::vector<Bytes> CopyElements(const CRYPT_DATA_BLOB* blobs, DWORD count) {
    if (count != 0 && blobs == nullptr) throw Error(ERROR_INVALID_PARAMETER);
    std::vector<Bytes> elements;
    for (DWORD i = 0; i < count; ++i) {
        const ByteView element = ViewOf(blobs[i].pbData, blobs[i].cbData);
        der::Cursor cursor(element);
        cursor.Next();
        cursor.ExpectEnd();
        elements.push_back(Copy(element));
    }
    std::sort(elements.begin(), elements.end());  // as DER asks (X.690 11.6)
    return elements;
}

SignedRecords RecordsFrom(const CMSG_SIGNED_ENCODE_INFO& info, const std::string& contentType,
                          const Signers& signers) {
    SignedRecords records;
    records.contentType = contentType;
    records.digests = signers.Algorithms();
    records.certificates = CopyElements(info.rgCertEncoded, info.cCertEncoded);
    records.crls = CopyElements(info.rgCrlEncoded, info.cCrlEncoded);
    records.signers = signers.Dummies();
    records.version = SignedDataVersion(records);
    return records;
}

class SignedEncoder : public EncodedMessage {
  public:
    SignedEncoder(const CMSG_SIGNED_ENCODE_INFO& info, bool detached,
                  const std::string& contentType, bool streamed)
        : EncodedMessage(CMSG_SIGNED, streamed || detached),
          detached_(detached),
          signers_(info, contentType),
          records_(RecordsFrom(info, contentType, signers_)) {
        // Before anything goes out: parts beyond what a reader holds.
        (void)EncodeSignedMessage(records_, std::nullopt);
    }

    void GetParam(DWORD param, DWORD index, void* data, DWORD* size) override {
        switch (param) {
            case CMSG_SIGNER_COUNT_PARAM:
                return CopyNumber(static_cast<DWORD>(records_.signers.size()), data, size);
            case CMSG_VERSION_PARAM:
                return CopyNumber(static_cast<DWORD>(records_.version), data, size);
            case CMSG_ENCRYPTED_DIGEST:
                return CopyOut(Signer(index).signature, data, size);
            case CMSG_ENCODED_SIGNER:
                return CopyOut(EncodeSignerInfo(Signer(index)), data, size);
            default:
                return EncodedMessage::GetParam(param, index, data, size);
        }
    }

  protected:
    [[nodiscard]] bool Detached() const { return detached_; }
    [[nodiscard]] const SignedRecords& Records() const { return records_; }
    void Hash(ByteView content, bool isFinal) { signers_.Update(content, isFinal); }
    void Sign() { records_.signers = signers_.Sign(); }

  private:
    [[nodiscard]] const SignerInfo& Signer(DWORD index) const {
        if (index >= records_.signers.size()) throw Error(CRYPT_E_INVALID_INDEX);
        if (!Complete()) throw Error(CRYPT_E_STREAM_MSG_NOT_READY);
        return records_.signers[index];
    }

    bool detached_;
    Signers signers_;
    SignedRecords records_;  // its signers are dummies until Sign
};

class WholeSignedEncoder : public SignedEncoder {
  public:
    WholeSignedEncoder(const CMSG_SIGNED_ENCODE_INFO& info, bool detached,
                       const std::string& contentType)
        : SignedEncoder(info, detached, contentType, false) {}

  protected:
    void Feed(ByteView data, bool isFinal) override {
        Hash(data, isFinal);
        if (!Detached()) der::Append(content_, data);
        if (!isFinal) return;
        Sign();
        std::optional<SignedContent> content;
        if (!Detached()) content = SignedContent{content_};
        Finish(EncodeSignedMessage(Records(), content).Joined());
        content_ = Bytes();
    }

  private:
    Bytes content_;
};

class StreamedSignedEncoder : public SignedEncoder {
  public:
    StreamedSignedEncoder(const CMSG_SIGNED_ENCODE_INFO& info, bool detached,
                          const std::string& contentType, const CMSG_STREAM_INFO& stream)
        : SignedEncoder(info, detached, contentType, true), writer_(stream), length_(stream) {}

  protected:
    void Feed(ByteView data, bool isFinal) override {
        length_.Count(data.size(), isFinal);
        Hash(data, isFinal);
        if (!begun_) WriteHead();
        begun_ = true;
        if (!Detached()) writer_.Piece(data);
        if (!isFinal) return;
        Sign();
        WriteTail();
        writer_.Finish();
        Finish();
    }

  private:
    void WriteHead() {
        writer_.OpenMessage(szOID_RSA_signedData, EncodeSignedHead(Records()),
                            Records().contentType);
        if (Detached()) return;
        writer_.Open(der::ContextConstructed(0));
        writer_.Open(kConstructedOctetString);
    }
    void WriteTail() {
        writer_.Close(Detached() ? 1 : 3);
        writer_.Append(EncodeSignedTail(Records()));
        writer_.Close(3);
    }

    StreamWriter writer_;
    AnnouncedLength length_;
    bool begun_ = false;
};

}  // namespace

std::shared_ptr<Message> NewSignedEncoder(const CMSG_SIGNED_ENCODE_INFO& info, DWORD flags,
                                          const char* innerContentOid,
                                          const CMSG_STREAM_INFO* stream) {
    if (info.cbSize < sizeof(info) || (flags & ~DWORD{CMSG_DETACHED_FLAG}) != 0) {
        throw Error(ERROR_INVALID_PARAMETER);
    }
    const bool detached = (flags & CMSG_DETACHED_FLAG) != 0;
    const std::string type = InnerContentType(innerContentOid);
    if (stream == nullptr) return std::make_shared<WholeSignedEncoder>(info, detached, type);
    return std::make_shared<StreamedSignedEncoder>(info, detached, type, *stream);
}

}  // namespace platform
