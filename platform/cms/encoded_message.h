// What the encoding messages have in common: parameters of the finished encoding.
#pragma once

#include "platform/base/ground.h"

#include <string>

#include "platform/base/bytes.h"
#include "platform/cms/message.h"

namespace platform {

// Without a stream the encoding is kept and read with CMSG_CONTENT_PARAM or
// CMSG_ENCODED_MESSAGE (the ContentInfo) and CMSG_BARE_CONTENT_PARAM (what is inside).
class EncodedMessage : public Message {
  public:
    // `takesPieces`: content may come in several pieces.
    EncodedMessage(DWORD type, bool takesPieces) : type_(type), takesPieces_(takesPieces) {}

    // Throws CRYPT_E_STREAM_MSG_NOT_READY before the last block, and CRYPT_E_INVALID_MSG_TYPE
    // for parameters that the message does not have.
    void GetParam(DWORD param, DWORD index, void* data, DWORD* size) override;
    void Control(DWORD type, DWORD flags, const void* para) override;

  protected:
    [[nodiscard]] bool TakesPieces() const override { return takesPieces_; }
    // The last block was taken; a streamed message keeps nothing.
    void Finish() { complete_ = true; }
    void Finish(Bytes encoded);
    [[nodiscard]] bool Complete() const { return complete_; }

  private:
    [[nodiscard]] ByteView Encoded() const;

    DWORD type_;
    bool takesPieces_;
    bool complete_ = false;
    Bytes encoded_;
};

// The content type asked for, data by default. Throws CRYPT_E_OID_FORMAT.
std::string InnerContentType(const char* oid);

}  // namespace platform
