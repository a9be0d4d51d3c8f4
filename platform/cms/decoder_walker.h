// Follows a message's schema over the events of a BER reader: keeps headers and trailers
// as DER, hands the content on.
#pragma once

#include <vector>

#include "platform/cms/decoder_schema.h"
#include "platform/der/normalise.h"

namespace platform {

// Bounds of what a decoder holds.
struct DecodeLimits {
    std::size_t depth = BerReader::kDefaultDepth;
    // Headers and trailers together, as received.
    std::size_t kept = std::size_t{64} << 20;
    // Encrypted content that a stream holds until the key is known, beyond what came in
    // one piece with the header.
    std::size_t undecrypted = std::size_t{64} << 20;
};

enum class ContentForm {
    OctetString,  // in one piece or nested pieces
    Raw,          // an element of any type: its contents octets as they stand
};

class WalkerHost {
  public:
    virtual ~WalkerHost() = default;
    // What the ContentInfo that opens now wraps.
    virtual std::span<const Field> BodyFields() = 0;
    // The same where the message may come without its ContentInfo; empty where it may not.
    virtual std::span<const Field> BareBodyFields() = 0;
    virtual void Keep(Piece piece, Bytes der) = 0;
    virtual ContentForm BeginContent(const BerHeader& header) = 0;
    virtual void Content(ByteView octets) = 0;
    virtual void EndContent() = 0;
};

// Throws CRYPT_E_ASN1_BADTAG for an element that does not belong where it stands,
// CRYPT_E_ASN1_EOD for one that is missing, CRYPT_E_ASN1_LARGE past the limits.
class Walker : public BerVisitor {
  public:
    Walker(WalkerHost& host, const DecodeLimits& limits) : host_(host), keptLeft_(limits.kept) {
        frames_.push_back({MessageFields(), nullptr});
    }

    void OnHeader(const BerHeader& header) override;
    void OnContents(ByteView piece) override;
    void OnEnd(ByteView endOctets) override;

  private:
    enum class Mode { Structure, Kept, Content };
    struct Frame {
        std::span<const Field> fields;  // those still to come
        const Field* each;              // set: any number of these
    };

    const Field& Match(const BerHeader& header);
    void Enter(const Field& field);
    void OpenKept(const Field& field, const BerHeader& header);
    void OpenContent(const BerHeader& header);
    void NestedContent(const BerHeader& header);
    void CloseFrame();
    void CloseKept();
    void Charge(std::size_t octets);

    WalkerHost& host_;
    std::size_t keptLeft_;
    std::vector<Frame> frames_;
    Mode mode_ = Mode::Structure;
    DerBuilder builder_;
    const Field* kept_ = nullptr;
    ContentForm form_ = ContentForm::OctetString;
    std::size_t contentDepth_ = 0;
};

}  // namespace platform
