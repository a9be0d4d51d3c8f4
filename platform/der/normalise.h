// From BER to DER for the parts of a message that are kept. An element stays octet for
// octet as received unless it, or something inside it, has an indefinite length or is a
// string in pieces: certificates and signed values keep their exact octets.
#pragma once

#include "platform/der/ber_reader.h"

namespace platform {

// Builds one element from a reader's events. Throws CRYPT_E_ASN1_CORRUPT for a string
// whose pieces do not fit it.
class DerBuilder {
  public:
    void Header(const BerHeader& header);
    void Contents(ByteView piece);
    void End();
    // True once the outermost element has ended.
    [[nodiscard]] bool Complete() const { return frames_.empty(); }
    // The element; the builder is then ready for the next one.
    [[nodiscard]] Bytes Take();

  private:
    enum class Role { Plain, String, Segment };
    struct Frame {
        std::size_t start;       // of the header in out_
        std::size_t headerSize;  // 0 for a segment, whose header is dropped
        std::size_t identifierSize;
        Role role;
        bool primitive;
        bool rewrite;
        bool bits;           // BIT STRING: each segment begins with its count of unused bits
        bool countTaken;     // of a primitive segment
        std::uint8_t first;  // identifier of the whole string
    };

    void OpenSegment(const BerHeader& header, const Frame& parent);
    ByteView TakeUnusedBits(Frame& frame, ByteView piece);
    void Rewrite(const Frame& frame);

    Bytes out_;
    std::vector<Frame> frames_;
    std::uint8_t unusedBits_ = 0;  // of the last segment of the open BIT STRING
};

// One element that fills `ber`. Throws as BerReader does, and CRYPT_E_ASN1_EOD when it is
// cut short.
Bytes Normalise(ByteView ber, std::size_t maxDepth = BerReader::kDefaultDepth);

}  // namespace platform
