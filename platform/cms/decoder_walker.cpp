// The walk of received octets over the rows of the schema.
#include "platform/cms/decoder_walker.h"

#include <utility>

#include "platform/base/error.h"
#include "platform/der/der.h"

namespace platform {
namespace {

// What a kept element costs beside its octets, so that millions of tiny ones are
// bounded as well.
constexpr std::size_t kElementCost = 64;

bool Fits(const Field& field, std::uint8_t first) {
    if (field.tag == kAnyTag) return true;
    if (field.shape == Shape::Content) return (first & ~der::kConstructed) == field.tag;
    return first == field.tag;
}

}  // namespace

void Walker::Charge(std::size_t octets) {
    if (octets > keptLeft_) throw Error(CRYPT_E_ASN1_LARGE);
    keptLeft_ -= octets;
}

void Walker::OnHeader(const BerHeader& header) {
    if (mode_ == Mode::Content) return NestedContent(header);
    if (mode_ == Mode::Kept) {
        Charge(header.size);
        return builder_.Header(header);
    }
    const Field& field = Match(header);
    switch (field.shape) {
        case Shape::Content:
            return OpenContent(header);
        case Shape::Keep:
        case Shape::Discard:
            return OpenKept(field, header);
        case Shape::KeepEach:
            if (frames_.back().each == &field) return OpenKept(field, header);
            break;
        default:
            break;
    }
    Enter(field);
}

// The field that an element is. Optional fields that are not there are passed over.
const Field& Walker::Match(const BerHeader& header) {
    Frame& frame = frames_.back();
    if (frame.each != nullptr) return *frame.each;
    const bool messageBegins = frame.fields.data() == ContentInfoFields().data();
    if (messageBegins && header.First() == der::kInteger) {
        const auto bare = host_.BareBodyFields();
        if (!bare.empty()) frame.fields = bare;
    }
    while (!frame.fields.empty()) {
        const Field& field = frame.fields.front();
        const bool fits = Fits(field, header.First());
        if (!fits && !field.optional) break;
        frame.fields = frame.fields.subspan(1);
        if (fits) return field;
    }
    throw Error(CRYPT_E_ASN1_BADTAG);
}

void Walker::Enter(const Field& field) {
    switch (field.shape) {
        case Shape::Body:
            return frames_.push_back({host_.BodyFields(), nullptr});
        case Shape::KeepEach:
            return frames_.push_back({{}, &field});
        default:
            return frames_.push_back({field.inner, nullptr});
    }
}

void Walker::OpenKept(const Field& field, const BerHeader& header) {
    Charge(header.size + kElementCost);
    mode_ = Mode::Kept;
    kept_ = &field;
    builder_.Header(header);
}

void Walker::OpenContent(const BerHeader& header) {
    mode_ = Mode::Content;
    contentDepth_ = 1;
    form_ = host_.BeginContent(header);
}

void Walker::NestedContent(const BerHeader& header) {
    ++contentDepth_;
    if (form_ == ContentForm::Raw) return host_.Content(header.Octets());
    // X.690 8.7.3.2: the pieces of an octet string are octet strings.
    if ((header.First() & ~der::kConstructed) != der::kOctetString)
        throw Error(CRYPT_E_ASN1_BADTAG);
}

void Walker::OnContents(ByteView piece) {
    if (mode_ == Mode::Content) return host_.Content(piece);
    if (mode_ == Mode::Structure) return;  // a primitive element is never entered
    Charge(piece.size());
    builder_.Contents(piece);
}

void Walker::OnEnd(ByteView endOctets) {
    switch (mode_) {
        case Mode::Structure:
            return CloseFrame();
        case Mode::Kept:
            Charge(endOctets.size());
            builder_.End();
            if (builder_.Complete()) CloseKept();
            return;
        case Mode::Content:
            if (--contentDepth_ == 0) {
                mode_ = Mode::Structure;
                host_.EndContent();
            } else if (form_ == ContentForm::Raw) {
                host_.Content(endOctets);
            }
            return;
    }
}

void Walker::CloseFrame() {
    for (const Field& field : frames_.back().fields) {
        if (!field.optional) throw Error(CRYPT_E_ASN1_EOD);
    }
    frames_.pop_back();
}

void Walker::CloseKept() {
    mode_ = Mode::Structure;
    Bytes der = builder_.Take();
    if (kept_->shape == Shape::Discard) return;
    host_.Keep(kept_->piece, std::move(der));
}

}  // namespace platform
