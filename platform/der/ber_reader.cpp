// The push reader and the header parser that every reader of BER and DER here shares.
#include "platform/der/ber_reader.h"

#include <algorithm>
#include <limits>

#include "platform/base/error.h"

namespace platform {
namespace {

constexpr std::uint8_t kLongForm = 0x80;
constexpr std::uint8_t kReservedLength = 0xFF;  // X.690 8.1.3.5 c
constexpr std::uint8_t kFirstHighTag = 31;      // X.690 8.1.2.4
constexpr unsigned kMaxIdentifier = 6;
// X.690 allows leading zero octets without bound; a field past 64 bits serves nobody.
constexpr unsigned kMaxLengthOctets = 8;

}  // namespace

std::optional<BerHeader> BerHeaderParser::Take(std::uint8_t octet) {
    header_.raw[header_.size++] = octet;
    if (!Advance(octet)) return std::nullopt;
    const BerHeader complete = header_;
    *this = BerHeaderParser();
    return complete;
}

// True when the header is complete.
bool BerHeaderParser::Advance(std::uint8_t octet) {
    switch (stage_) {
        case Stage::Identifier:
            stage_ = header_.HighTagNumber() ? Stage::TagNumber : Stage::Length;
            header_.identifierSize = 1;
            return false;
        case Stage::TagNumber:
            // X.690 8.1.2.4.2 c: the number does not begin with a zero digit.
            if (header_.identifierSize == 1 && octet == kLongForm) {
                throw Error(CRYPT_E_ASN1_CORRUPT);
            }
            if (++header_.identifierSize > kMaxIdentifier) throw Error(CRYPT_E_ASN1_LARGE);
            if ((octet & kLongForm) != 0) return false;
            // X.690 8.1.2.2: a number below 31 has the low form and no other.
            if (header_.identifierSize == 2 && octet < kFirstHighTag) {
                throw Error(CRYPT_E_ASN1_CORRUPT);
            }
            stage_ = Stage::Length;
            return false;
        case Stage::Length:
            return TakeLength(octet);
        case Stage::LongLength:
            header_.length = header_.length << 8 | octet;
            return --lengthOctets_ == 0;
    }
    return false;
}

bool BerHeaderParser::TakeLength(std::uint8_t octet) {
    if (octet < kLongForm) {
        header_.length = octet;
        return true;
    }
    if (octet == kReservedLength) throw Error(CRYPT_E_ASN1_CORRUPT);
    if (octet == kLongForm) {
        // X.690 8.1.3.2: only a constructed element may leave its length open.
        if (!header_.Constructed()) throw Error(CRYPT_E_ASN1_CORRUPT);
        header_.indefinite = true;
        return true;
    }
    lengthOctets_ = octet & 0x7FU;
    if (lengthOctets_ > kMaxLengthOctets) throw Error(CRYPT_E_ASN1_LARGE);
    stage_ = Stage::LongLength;
    return false;
}

std::uint64_t BerReader::Limit() const {
    return open_.empty() ? std::numeric_limits<std::uint64_t>::max() : open_.back().limit;
}

void BerReader::Feed(ByteView input, BerVisitor& visitor) {
    while (!input.empty()) {
        if (done_) throw Error(CRYPT_E_ASN1_CORRUPT);
        const std::size_t used =
            InContents() ? TakeContents(input, visitor) : TakeHeader(input, visitor);
        input = input.subspan(used);
    }
}

std::size_t BerReader::TakeHeader(ByteView input, BerVisitor& visitor) {
    for (std::size_t used = 0; used < input.size();) {
        if (position_ == Limit()) throw Error(CRYPT_E_ASN1_CORRUPT);
        ++position_;
        const auto header = parser_.Take(input[used++]);
        if (!header) continue;
        if (header->EndOfContents()) {
            CloseIndefinite(*header, visitor);
        } else {
            OpenElement(*header, visitor);
        }
        CloseFinished(visitor);
        return used;
    }
    return input.size();
}

std::size_t BerReader::TakeContents(ByteView input, BerVisitor& visitor) {
    const std::uint64_t missing = Limit() - position_;
    const auto used = static_cast<std::size_t>(std::min<std::uint64_t>(missing, input.size()));
    position_ += used;
    visitor.OnContents(input.first(used));
    CloseFinished(visitor);
    return used;
}

void BerReader::OpenElement(const BerHeader& header, BerVisitor& visitor) {
    if (open_.size() == maxDepth_) throw Error(CRYPT_E_ASN1_CONSTRAINT);
    const std::uint64_t room = Limit() - position_;
    if (header.length > room) {
        throw Error(open_.empty() ? CRYPT_E_ASN1_LARGE : CRYPT_E_ASN1_CORRUPT);
    }
    const std::uint64_t limit = header.indefinite ? Limit() : position_ + header.length;
    const bool entered = header.indefinite || (header.Constructed() && visitor.Enters(header));
    open_.push_back({limit, header.indefinite, entered});
    visitor.OnHeader(header);
}

void BerReader::CloseIndefinite(const BerHeader& header, BerVisitor& visitor) {
    if (open_.empty()) throw Error(CRYPT_E_ASN1_BADTAG);
    // X.690 8.1.5: exactly two zero octets, and only where a length was left open.
    if (!open_.back().indefinite || header.size != 2 || header.length != 0) {
        throw Error(CRYPT_E_ASN1_CORRUPT);
    }
    open_.pop_back();
    visitor.OnEnd(header.Octets());
    done_ = open_.empty();
}

void BerReader::CloseFinished(BerVisitor& visitor) {
    while (!open_.empty() && !open_.back().indefinite && position_ == open_.back().limit) {
        open_.pop_back();
        visitor.OnEnd({});
    }
    done_ = open_.empty();
}

BerHeader HeaderOfElement(ByteView rest) {
    if (rest.empty()) throw Error(CRYPT_E_ASN1_EOD);
    BerHeaderParser parser;
    for (const std::uint8_t octet : rest) {
        const auto header = parser.Take(octet);
        if (!header) continue;
        if (header->indefinite || header->length > rest.size() - header->size) break;
        return *header;
    }
    throw Error(CRYPT_E_ASN1_CORRUPT);
}

ByteView TakeElement(ByteView& rest) {
    const BerHeader header = HeaderOfElement(rest);
    const ByteView whole = rest.first(header.size + static_cast<std::size_t>(header.length));
    rest = rest.subspan(whole.size());
    return whole;
}

}  // namespace platform
