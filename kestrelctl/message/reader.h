// Reads a message in one pass into a record: of any size, in constant memory.
#pragma once

#include <functional>
#include <memory>

#include "kestrelctl/message/record.h"
#include "platform/cms/decoder.h"
#include "platform/cms/decoder_walker.h"

namespace kestrelctl::message {

// Where the content goes, in pieces.
using ContentSink = std::function<void(platform::ByteView)>;

// Throws what BerReader and Walker throw, CRYPT_E_STREAM_INSUFFICIENT_DATA for a message
// cut short, and
// CRYPT_E_INVALID_MSG_TYPE for a type that is not known.
class RecordReader : private platform::WalkerHost {
  public:
    explicit RecordReader(ContentSink sink);
    void Feed(platform::ByteView octets);
    // The message is whole; its certificates and lists are parsed.
    Record Finish();

  private:
    std::span<const platform::Field> BodyFields() override;
    std::span<const platform::Field> BareBodyFields() override { return {}; }
    void Keep(platform::Piece piece, platform::Bytes der) override;
    platform::ContentForm BeginContent(const platform::BerHeader& header) override;
    void Content(platform::ByteView octets) override;
    void EndContent() override;

    void KeepPlain(platform::Piece piece, const platform::Bytes& der);
    void AddRecipients(const platform::Bytes& der);
    void TakeContent(platform::ByteView octets);
    void FinishSigned();

    ContentSink sink_;
    Record record_;
    const Shape* shape_ = nullptr;
    std::shared_ptr<platform::SignedBody> signed_;
    platform::DecodeLimits limits_;
    platform::BerReader reader_;
    platform::Walker walker_;
};

// The whole of a file. `sink` may be empty.
Record ReadMessageFile(const std::string& name, const ContentSink& sink);
// A message that is held, a token for example.
Record ReadMessageOctets(platform::ByteView der);
// Lets the content that stands beside a signed message run through its digests. Throws what
// reading the file throws.
void FeedDetached(Record& record, const std::string& contentFile, const ContentSink& sink);

}  // namespace kestrelctl::message
