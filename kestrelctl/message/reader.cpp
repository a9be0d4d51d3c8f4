// The host of the walk over a message.
#include "kestrelctl/message/reader.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "kestrelctl/message/answer.h"
#include "kestrelctl/message/kept_items.h"
#include "platform/base/error.h"
#include "platform/der/der.h"
#include "platform/der/values.h"

namespace kestrelctl::message {
namespace {

using platform::Bytes;
using platform::ByteView;
using platform::Error;
using platform::Piece;
using platform::SignedBody;
namespace der = platform::der;

// What a token says takes a few hundred octets.
constexpr std::size_t kMostOfToken = std::size_t{1} << 20;

// Signed data as the platform reads it, with what its settings have to outlive.
class HeldSignedBody : private platform::DecodeSettings, public SignedBody {
  public:
    explicit HeldSignedBody(const CMSG_STREAM_INFO& stream)
        : SignedBody(static_cast<const platform::DecodeSettings&>(*this)) {
        sink.emplace(stream);
    }
};

BOOL WINAPI PassContent(const void*, BYTE*, DWORD, BOOL) { return TRUE; }

std::shared_ptr<SignedBody> NewHeldBody() {
    CMSG_STREAM_INFO stream{};
    stream.cbContent = CMSG_INDEFINITE_LENGTH;
    stream.pfnStreamOutput = PassContent;
    return std::make_shared<HeldSignedBody>(stream);
}

// One that cannot be read is in nobody's way.
template <class Item>
void Collect(const std::vector<Bytes>& choices, std::vector<std::shared_ptr<Item>>& items,
             std::size_t& others) {
    // Never destroyed: OpenSSL's own clean-up at exit may run first.
    static auto& kept = *new KeptItems<Item>;
    for (const Bytes& choice : choices) {
        try {
            items.push_back(kept.Parse(choice));
        } catch (const Error&) {
            ++others;
        }
    }
}

}  // namespace

const std::vector<platform::SignerInfo>& Record::Signers() const {
    static const std::vector<platform::SignerInfo> kNone;
    return signedBody ? signedBody->Records().signers : kNone;
}

RecordReader::RecordReader(ContentSink sink)
    : sink_(std::move(sink)), reader_(limits_.depth), walker_(*this, limits_) {}

void RecordReader::Feed(ByteView octets) { reader_.Feed(octets, walker_); }

std::span<const platform::Field> RecordReader::BodyFields() {
    if (shape_ == nullptr) throw Error(CRYPT_E_INVALID_MSG_TYPE, record_.typeOid);
    return shape_->wrapped;
}

void RecordReader::Keep(Piece piece, Bytes der) {
    if (piece == Piece::Type) {
        record_.typeOid = der::Cursor(der).OidText();
        shape_ = ShapeOf(record_.typeOid);
        if (shape_ == nullptr) return;
        record_.kind = shape_->kind;
        if (shape_->kind == Kind::Signed) signed_ = NewHeldBody();
        return;
    }
    if (signed_) return signed_->Keep(piece, std::move(der));
    KeepPlain(piece, der);
}

void RecordReader::KeepPlain(Piece piece, const Bytes& der) {
    switch (piece) {
        case Piece::Version:
            record_.version = der::Cursor(der).SmallInteger();
            return;
        case Piece::ContentType:
            record_.contentType = der::Cursor(der).OidText();
            return;
        case Piece::DigestAlgorithm:
            // Of authenticated data under a tag of its own.
            record_.digests.push_back(platform::ParseAlgorithm(
                der::Element(der::kSequence, der::Cursor(der).Next().contents)));
            return;
        case Piece::ContentEncryption:
            record_.contentAlgorithm = platform::ParseAlgorithm(der);
            return;
        case Piece::Recipient:
            return AddRecipients(der);
        case Piece::Certificate:
            return Collect({der}, record_.certificates, record_.otherChoices);
        case Piece::Crl:
            return Collect({der}, record_.crls, record_.otherChoices);
        case Piece::ProtectedAttribute:
            record_.protectedAttributes.push_back(der);
            return;
        case Piece::UnprotectedAttribute:
            record_.unprotectedAttributes.push_back(der);
            return;
        default:
            return;
    }
}

void RecordReader::AddRecipients(const Bytes& der) {
    std::vector<Recipient> more = ReadRecipients(der);
    if (record_.recipients.size() + more.size() > platform::kMostRecipients) {
        throw Error(CRYPT_E_ASN1_LARGE);
    }
    std::ranges::move(more, std::back_inserter(record_.recipients));
}

platform::ContentForm RecordReader::BeginContent(const platform::BerHeader& header) {
    record_.hasContent = true;
    if (signed_) return signed_->BeginContent(header);
    // Old messages wrap other elements than octet strings (PKCS #7 v1.5).
    const std::uint8_t tag = header.First() & ~der::kConstructed;
    const bool octets = tag == der::kOctetString || tag == der::Context(0);
    return octets ? platform::ContentForm::OctetString : platform::ContentForm::Raw;
}

void RecordReader::TakeContent(ByteView octets) {
    record_.contentSize += octets.size();
    const bool token = signed_ && signed_->Records().contentType == kTstInfoOid;
    if (token && record_.contentSize <= kMostOfToken) der::Append(record_.tokenContent, octets);
    if (sink_) sink_(octets);
}

void RecordReader::Content(ByteView octets) {
    if (signed_) signed_->Content(octets);
    TakeContent(octets);
}

void RecordReader::EndContent() {
    if (signed_) signed_->EndContent();
}

Record RecordReader::Finish() {
    if (!reader_.Done()) throw Error(CRYPT_E_STREAM_INSUFFICIENT_DATA);
    if (signed_) FinishSigned();
    return std::move(record_);
}

void RecordReader::FinishSigned() {
    signed_->EndMessage();
    const platform::SignedRecords& records = signed_->Records();
    record_.version = records.version;
    record_.contentType = records.contentType;
    record_.digests = records.digests;
    Collect(records.certificates, record_.certificates, record_.otherChoices);
    Collect(records.crls, record_.crls, record_.otherChoices);
    record_.signedBody = signed_;
    if (record_.contentType == kTstInfoOid) {
        record_.kind = Kind::StampToken;
    } else if (records.signers.empty() && !record_.hasContent) {
        record_.kind = Kind::Certificates;
    }
}

// ---- whole files ---------------------------------------------------------------

namespace {

// Content that stands beside the message in one file with it counts as the message's own, unless
// that has another: a reader of mail shows the part.
void FeedPart(const std::string& name, const Range& part, const ContentSink& sink, Record& record) {
    record.strayPart = record.hasContent || !record.signedBody;
    if (record.strayPart) return;
    FeedCanonical(name, part, [&](ByteView octets) {
        record.signedBody->Content(octets);
        if (sink) sink(octets);
        record.contentSize += octets.size();
    });
    record.signedBody->EndDetachedContent();
    record.hasContent = true;
}

}  // namespace

Record ReadMessageFile(const std::string& name, const ContentSink& sink) {
    MessageFile file(name);
    Record record;
    ByteView piece = file.Next();
    if (LooksLikeAnswer(piece)) {
        Bytes whole;
        for (; !piece.empty(); piece = file.Next()) AppendBounded(whole, piece);
        record = ReadAnswer(whole);
    } else {
        RecordReader reader(sink);
        for (; !piece.empty(); piece = file.Next()) reader.Feed(piece);
        record = reader.Finish();
    }
    if (file.ContentPart()) FeedPart(name, *file.ContentPart(), sink, record);
    record.form = file.What();
    record.label = file.Label();
    record.fileSize = file.Size();
    return record;
}

Record ReadMessageOctets(ByteView der) {
    RecordReader reader({});
    reader.Feed(der);
    return reader.Finish();
}

void FeedDetached(Record& record, const std::string& contentFile, const ContentSink& sink) {
    platform::PieceReader file(contentFile);
    for (ByteView piece = file.Next(); !piece.empty(); piece = file.Next()) {
        if (record.signedBody) record.signedBody->Content(piece);
        if (sink) sink(piece);
        record.contentSize += piece.size();
    }
    if (record.signedBody) record.signedBody->EndDetachedContent();
}

}  // namespace kestrelctl::message
