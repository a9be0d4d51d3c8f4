// Message buffers of the basic encoding rules.
#pragma once

#include "asn1/rtbersrc/decode.h"
#include "asn1/rtbersrc/encode.h"
#include "asn1/rtsrc/message_buffer.h"
#include "asn1/rtsrc/stream.h"

namespace asn1rt {

class ASN1BERMessageBuffer : public ASN1MessageBuffer {
  public:
    using ASN1MessageBuffer::ASN1MessageBuffer;
};

// Grows as it is written, or takes a buffer of the caller's, which does not.
class ASN1BEREncodeBuffer : public ASN1BERMessageBuffer {
  public:
    // Both throw RTLError.
    ASN1BEREncodeBuffer();
    ASN1BEREncodeBuffer(std::uint8_t* data, std::size_t size);

    // Also rewinds the buffer: it is empty afterwards.
    std::uint8_t* getMsgCopy() override;
    const std::uint8_t* getMsgPtr() override;
    // Rewinds.
    int init() override;
    [[nodiscard]] bool isA(int kind) const override { return kind == kBerEncode; }
};

// The bytes stay the caller's and must outlive the records that were decoded from them.
class ASN1BERDecodeBuffer : public ASN1BERMessageBuffer {
  public:
    // All throw RTLError.
    ASN1BERDecodeBuffer();
    ASN1BERDecodeBuffer(const std::uint8_t* source, std::size_t length);
    // Reads the stream to its end at once.
    explicit ASN1BERDecodeBuffer(OSCInputStream& stream);

    // Another source; the same one again, once it is ready, is left alone.
    int setSource(const std::uint8_t* source, std::size_t length);
    // From the start of the source again.
    int init() override;
    int setBuffer(ASN1MemoryBuffer& memory) override;
    [[nodiscard]] bool isA(int kind) const override { return kind == kBerDecode; }

  private:
    const std::uint8_t* source_ = nullptr;
    std::size_t sourceLength_ = 0;
    bool ready_ = false;
};

}  // namespace asn1rt
