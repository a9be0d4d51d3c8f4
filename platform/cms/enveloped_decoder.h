// EnvelopedData (RFC 5652 6) as it arrives: content is decrypted in passing once the key is
// known, and held until then.
#pragma once

#include <optional>

#include "platform/cms/decoder.h"
#include "platform/cms/model.h"
#include "platform/providers/crypto.h"

namespace platform {

class EnvelopedBody : public DecoderBody {
  public:
    explicit EnvelopedBody(const DecodeSettings& settings) : settings_(settings) {}

    [[nodiscard]] DWORD Type() const override { return CMSG_ENVELOPED; }
    [[nodiscard]] std::span<const Field> Wrapped() const override { return WrappedEnveloped(); }
    void Keep(Piece piece, Bytes der) override;
    ContentForm BeginContent(const BerHeader& header) override;
    void Content(ByteView octets) override;
    void EndContent() override {}
    void EndMessage() override { messageEnded_ = true; }
    void EndDetachedContent() override {}
    // Throws NTE_BAD_DATA at the end of a message that does not decrypt: one value for a
    // wrong key, a damaged one, bad padding and a cut content.
    void Pump() override;
    void GetParam(DWORD param, DWORD index, void* data, DWORD* size) override;
    void Control(DWORD type, const void* para) override;

  private:
    // The records once they are whole.
    [[nodiscard]] const EnvelopedRecords& Header() const;
    void Hold(ByteView octets);
    void StartDecrypting(const CMSG_CTRL_DECRYPT_PARA& para);
    void Decrypt(ByteView octets);
    void Flush(bool isFinal);
    void FinishDecrypting();
    void CopyRecipient(DWORD index, void* data, DWORD* size) const;
    void CopyContent(void* data, DWORD* size) const;

    const DecodeSettings& settings_;
    EnvelopedRecords records_;
    bool headerKnown_ = false;
    bool contentSeen_ = false;
    bool messageEnded_ = false;

    Bytes held_;               // encrypted content that waits for the key
    bool heldBefore_ = false;  // some of it came in an earlier piece of input

    CipherContext cipher_;
    DWORD recipient_ = 0;  // whose key it was, once cipher_ is set
    bool damaged_ = false;
    bool decrypted_ = false;
    Bytes block_;  // output of one piece of input
    std::size_t filled_ = 0;
    Bytes content_;  // decrypted; empty for a stream
};

}  // namespace platform
