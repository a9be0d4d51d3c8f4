// From BER to DER, in place.
#include "platform/der/normalise.h"

#include "platform/base/error.h"
#include "platform/der/der.h"

namespace platform {
namespace {

// Universal types whose contents may come in pieces (X.690 8.6.4, 8.7.3, 8.23, 8.25).
bool IsString(std::uint8_t number) {
    const bool time = number == 23 || number == 24;
    const bool text = number == 12 || (number >= 18 && number <= 30 && !time);
    return number == der::kBitString || number == der::kOctetString || text || time;
}

bool IsSplitString(const BerHeader& header) {
    const bool universal = (header.First() & 0xC0) == 0;
    return universal && header.Constructed() && IsString(header.First() & 0x1F);
}

}  // namespace

void DerBuilder::Header(const BerHeader& header) {
    if (!frames_.empty()) {
        const Frame parent = frames_.back();
        if (parent.role != Role::Plain) return OpenSegment(header, parent);
    }
    const bool split = IsSplitString(header);
    if (split) unusedBits_ = 0;
    frames_.push_back({.start = out_.size(),
                       .headerSize = header.size,
                       .identifierSize = header.identifierSize,
                       .role = split ? Role::String : Role::Plain,
                       .primitive = !header.Constructed(),
                       .rewrite = header.indefinite || split,
                       .bits = split && (header.First() & 0x1F) == der::kBitString,
                       .countTaken = false,
                       .first = static_cast<std::uint8_t>(header.First() & ~der::kConstructed)});
    der::Append(out_, header.Octets());
}

// Segments carry the string's own tag, or the one of OCTET STRING that restricted
// character strings are built on (X.690 8.6.4.1, 8.7.3.2, 8.23.6).
void DerBuilder::OpenSegment(const BerHeader& header, const Frame& parent) {
    const std::uint8_t tag = header.First() & static_cast<std::uint8_t>(~der::kConstructed);
    if (tag != parent.first && (parent.bits || tag != der::kOctetString)) {
        throw Error(CRYPT_E_ASN1_CORRUPT);
    }
    frames_.push_back({.start = out_.size(),
                       .headerSize = 0,
                       .identifierSize = 0,
                       .role = Role::Segment,
                       .primitive = !header.Constructed(),
                       .rewrite = false,
                       .bits = parent.bits,
                       .countTaken = false,
                       .first = parent.first});
}

void DerBuilder::Contents(ByteView piece) {
    Frame& frame = frames_.back();
    if (frame.role == Role::Segment && frame.bits && !frame.countTaken) {
        piece = TakeUnusedBits(frame, piece);
    }
    der::Append(out_, piece);
}

// Only the last segment may leave bits unused (X.690 8.6.4).
ByteView DerBuilder::TakeUnusedBits(Frame& frame, ByteView piece) {
    if (piece.empty()) return piece;
    if (unusedBits_ != 0) throw Error(CRYPT_E_ASN1_CORRUPT);
    frame.countTaken = true;
    unusedBits_ = piece.front();
    return piece.subspan(1);
}

void DerBuilder::End() {
    const Frame frame = frames_.back();
    frames_.pop_back();
    if (frame.role == Role::Segment) {
        if (frame.primitive && frame.bits && !frame.countTaken) throw Error(CRYPT_E_ASN1_CORRUPT);
        return;
    }
    if (!frame.rewrite) return;
    Rewrite(frame);
    if (!frames_.empty()) frames_.back().rewrite = true;
}

// Puts the shortest definite length in the place of the header as received.
void DerBuilder::Rewrite(const Frame& frame) {
    const auto begin = out_.begin() + static_cast<std::ptrdiff_t>(frame.start);
    const std::size_t prefix = frame.bits ? 1 : 0;
    const std::size_t length = out_.size() - frame.start - frame.headerSize + prefix;
    Bytes header(begin, begin + static_cast<std::ptrdiff_t>(frame.identifierSize));
    if (frame.role == Role::String) header.front() = frame.first;
    Bytes measured;
    der::AppendHeader(measured, 0, length);
    header.insert(header.end(), measured.begin() + 1, measured.end());
    if (frame.bits) header.push_back(unusedBits_);
    const auto contents = begin + static_cast<std::ptrdiff_t>(frame.headerSize);
    const Bytes::iterator gap = out_.erase(begin, contents);
    out_.insert(gap, header.begin(), header.end());
}

Bytes DerBuilder::Take() {
    Bytes taken;
    taken.swap(out_);
    return taken;
}

Bytes Normalise(ByteView ber, std::size_t maxDepth) {
    class Feeder : public BerVisitor {
      public:
        void OnHeader(const BerHeader& header) override { builder.Header(header); }
        void OnContents(ByteView piece) override { builder.Contents(piece); }
        void OnEnd(ByteView /*endOctets*/) override { builder.End(); }
        DerBuilder builder;
    };
    Feeder feeder;
    BerReader reader(maxDepth);
    reader.Feed(ber, feeder);
    if (!reader.Done()) throw Error(CRYPT_E_ASN1_EOD);
    return feeder.builder.Take();
}

}  // namespace platform
