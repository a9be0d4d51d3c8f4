// The decoding side of a message: one object that finds out what arrives and hands it to
// the body of its type.
#pragma once

#include "platform/base/ground.h"

#include <memory>
#include <optional>

#include "platform/cms/decoder_walker.h"
#include "platform/cms/message.h"
#include "platform/providers/provider.h"

namespace platform {

struct DecodeSettings {
    std::optional<StreamSink> sink;      // none: the whole message is held
    std::shared_ptr<Provider> provider;  // for decryption, where the caller named one at once
    bool detached = false;
    DWORD type = 0;
    DecodeLimits limits;
    // Octets of a message that is held: its content is no longer.
    std::size_t heldInput = 0;

    // The answer for what has not arrived yet.
    [[nodiscard]] LONG NotReady() const {
        return sink ? CRYPT_E_STREAM_MSG_NOT_READY : CRYPT_E_INVALID_MSG_TYPE;
    }
};

// What the ContentInfo wraps, while it arrives and afterwards. The settings outlive it.
class DecoderBody {
  public:
    virtual ~DecoderBody() = default;
    [[nodiscard]] virtual DWORD Type() const = 0;
    [[nodiscard]] virtual std::span<const Field> Wrapped() const = 0;

    virtual void Keep(Piece piece, Bytes der) = 0;
    virtual ContentForm BeginContent(const BerHeader& header) = 0;
    virtual void Content(ByteView octets) = 0;
    virtual void EndContent() = 0;
    // The message is whole. Detached content may still follow.
    virtual void EndMessage() = 0;
    // All of the detached content went through Content.
    virtual void EndDetachedContent() = 0;
    // Called behind every piece of input and every control: hands on what is ready.
    virtual void Pump() = 0;

    virtual void GetParam(DWORD param, DWORD index, void* data, DWORD* size) = 0;
    virtual void Control(DWORD type, const void* para) = 0;
};

std::unique_ptr<DecoderBody> NewSignedBody(const DecodeSettings& settings);
std::unique_ptr<DecoderBody> NewEnvelopedBody(const DecodeSettings& settings);
std::unique_ptr<DecoderBody> NewDataBody(const DecodeSettings& settings);

// Errors of Update: CRYPT_E_ASN1_BADTAG for what is no message, CRYPT_E_INVALID_MSG_TYPE
// for a message of another type, CRYPT_E_STREAM_INSUFFICIENT_DATA (stream) and
// CRYPT_E_ASN1_EOD (whole) for one cut short, those of BerReader and Walker, and what the
// sink throws.
class DecodedMessage : public Message, private WalkerHost {
  public:
    explicit DecodedMessage(DecodeSettings settings);

    void GetParam(DWORD param, DWORD index, void* data, DWORD* size) override;
    void Control(DWORD type, DWORD flags, const void* para) override;

  protected:
    void Feed(ByteView data, bool isFinal) override;
    // A message that is held comes in one piece; the content beside it may come in many.
    [[nodiscard]] bool TakesPieces() const override {
        return settings_.sink.has_value() || phase_ == Phase::DetachedContent;
    }
    [[nodiscard]] bool ExpectsMore() const override { return phase_ == Phase::DetachedContent; }

  private:
    enum class Phase { Message, DetachedContent, Done };

    void FeedMessage(ByteView data, bool isFinal);
    void FeedDetachedContent(ByteView data, bool isFinal);
    void CreateBody(DWORD type);
    void PumpAfterControl();

    std::span<const Field> BodyFields() override { return body_->Wrapped(); }
    std::span<const Field> BareBodyFields() override;
    void Keep(Piece piece, Bytes der) override;
    ContentForm BeginContent(const BerHeader& header) override;
    void Content(ByteView octets) override { body_->Content(octets); }
    void EndContent() override { body_->EndContent(); }

    DecodeSettings settings_;
    BerReader reader_;
    Walker walker_;
    std::unique_ptr<DecoderBody> body_;
    Phase phase_ = Phase::Message;
    bool started_ = false;
};

}  // namespace platform
