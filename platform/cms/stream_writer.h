// The output side of a message that is written while its content passes: elements of
// indefinite length (X.690 8.1.3.6) around pieces of content.
#pragma once

#include "platform/base/ground.h"

#include <cstdint>
#include <optional>
#include <string>

#include "platform/base/bytes.h"
#include "platform/cms/message.h"

namespace platform {

// Small bytes are gathered and go out together, before the next piece of content or at
// the end; content goes to the sink from where it lies. What the sink throws passes.
class StreamWriter {
  public:
    explicit StreamWriter(const CMSG_STREAM_INFO& info);

    void Append(ByteView small);
    void Open(std::uint8_t tag);
    void Close(unsigned elements);
    // ContentInfo and what it holds, up to the content type of the inner content (RFC 5652 3,
    // 5.2, 6.1): four elements stay open. `head` is what stands before that content.
    void OpenMessage(const char* type, ByteView head, const std::string& innerType);
    // One primitive OCTET STRING. An empty one writes nothing.
    void Piece(ByteView content);
    // Hands the last block out, with the mark of the end. Nothing may follow.
    void Finish();

  private:
    void Flush(bool isFinal);

    StreamSink sink_;
    Bytes gathered_;
};

// Counts content against the length that the caller announced, if any.
class AnnouncedLength {
  public:
    explicit AnnouncedLength(const CMSG_STREAM_INFO& info);

    // Throws CRYPT_E_BAD_LEN when the content grows longer or ends shorter than announced.
    void Count(std::size_t size, bool isFinal);

  private:
    std::optional<std::uint64_t> announced_;
    std::uint64_t passed_ = 0;
};

}  // namespace platform
