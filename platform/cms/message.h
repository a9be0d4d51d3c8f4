// The message object behind HCRYPTMSG: classes that encode signed and enveloped data, and
// one that decodes them and plain data, behind one interface.
#pragma once

#include "platform/base/ground.h"

#include <memory>
#include <optional>

#include "platform/base/bytes.h"
#include "platform/base/handle.h"

namespace platform {

class Provider;

// Where a streamed message's output goes. Copies the caller's CMSG_STREAM_INFO.
class StreamSink {
  public:
    explicit StreamSink(const CMSG_STREAM_INFO& info) : info_(info) {}
    // A callback that answers FALSE becomes a thrown Error with the last error it set.
    void Write(ByteView block, bool isFinal) const;

  private:
    CMSG_STREAM_INFO info_;
};

class Message : public Object {
  public:
    static constexpr Kind kKind = Kind::Message;
    Message() : Object(Kind::Message) {}

    // After the first failure every later call throws the same code and emits nothing. A
    // piece that is not the last where one piece is all that may come is refused with
    // CRYPT_E_MSG_ERROR and changes nothing.
    void Update(ByteView data, bool isFinal);
    // Values as documented for CryptMsgGetParam. Throws CRYPT_E_INVALID_MSG_TYPE,
    // CRYPT_E_INVALID_INDEX, CRYPT_E_STREAM_MSG_NOT_READY.
    virtual void GetParam(DWORD param, DWORD index, void* data, DWORD* size) = 0;
    // What GetParam lays into a buffer of the caller's, and a number of it.
    Bytes Param(DWORD param, DWORD index = 0);
    DWORD NumberParam(DWORD param);
    // Throws CRYPT_E_CONTROL_TYPE for what the message does not take.
    virtual void Control(DWORD type, DWORD flags, const void* para) = 0;

  protected:
    virtual void Feed(ByteView data, bool isFinal) = 0;
    // True where the next part of the input may come in several pieces.
    [[nodiscard]] virtual bool TakesPieces() const = 0;
    // True when a final Feed ended one part of the input and another part follows.
    [[nodiscard]] virtual bool ExpectsMore() const { return false; }
    // For a failure outside Update after which the message is of no use.
    void Fail(DWORD code) { failure_ = code; }
    void ThrowIfFailed() const;

  private:
    std::optional<DWORD> failure_;
    bool finished_ = false;
};

// Throw ERROR_INVALID_PARAMETER, CRYPT_E_INVALID_MSG_TYPE, or what the key or algorithm
// answers. Without `stream` the whole message is held and read with
// CMSG_CONTENT_PARAM / CMSG_ENCODED_MESSAGE.
std::shared_ptr<Message> NewSignedEncoder(const CMSG_SIGNED_ENCODE_INFO& info, DWORD flags,
                                          const char* innerContentOid,
                                          const CMSG_STREAM_INFO* stream);
std::shared_ptr<Message> NewEnvelopedEncoder(const CMSG_ENVELOPED_ENCODE_INFO& info, DWORD flags,
                                             const char* innerContentOid,
                                             const CMSG_STREAM_INFO* stream);
// `type` 0: told by the message itself. `provider` may be null.
std::shared_ptr<Message> NewDecoder(DWORD flags, DWORD type, std::shared_ptr<Provider> provider,
                                    const CMSG_STREAM_INFO* stream);

}  // namespace platform
