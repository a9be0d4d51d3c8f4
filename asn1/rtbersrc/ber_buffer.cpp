// Message buffers of the basic encoding rules, for encoding and decoding.
#include "asn1/rtbersrc/ber_buffer.h"

#include <cstring>
#include <vector>

namespace asn1rt {
namespace {

void Demand(int status) {
    if (status < 0) throw ASN1MessageBuffer::RTLError(status);
}

}  // namespace

// ---- encoding ----------------------------------------------------------------

ASN1BEREncodeBuffer::ASN1BEREncodeBuffer() : ASN1BERMessageBuffer(kBerEncode) {
    Demand(SetEncodeBuffer(*context_, nullptr, 0));
}

ASN1BEREncodeBuffer::ASN1BEREncodeBuffer(std::uint8_t* data, std::size_t size)
    : ASN1BERMessageBuffer(kBerEncode) {
    if (data == nullptr) throw RTLError(ASN_E_INVPARAM);
    Demand(SetEncodeBuffer(*context_, data, size));
}

std::uint8_t* ASN1BEREncodeBuffer::getMsgCopy() {
    const std::size_t size = context_->size - context_->byteIndex;
    auto* copy = new (std::nothrow) std::uint8_t[size];
    if (copy == nullptr) return nullptr;
    std::memcpy(copy, getMsgPtr(), size);
    init();
    return copy;
}

const std::uint8_t* ASN1BEREncodeBuffer::getMsgPtr() {
    return context_->buffer + context_->byteIndex;
}

int ASN1BEREncodeBuffer::init() {
    if (context_->size == 0) throw RTLError(ASN_E_BUFOVFLW);
    context_->byteIndex = context_->size - 1;
    context_->level = 0;
    ResetError(*context_);
    return ASN_OK;
}

// ---- decoding ----------------------------------------------------------------

ASN1BERDecodeBuffer::ASN1BERDecodeBuffer() : ASN1BERMessageBuffer(kBerDecode) {}

ASN1BERDecodeBuffer::ASN1BERDecodeBuffer(const std::uint8_t* source, std::size_t length)
    : ASN1BERMessageBuffer(kBerDecode) {
    setSource(source, length);
}

ASN1BERDecodeBuffer::ASN1BERDecodeBuffer(OSCInputStream& stream)
    : ASN1BERMessageBuffer(kBerDecode) {
    context_->stream = &stream;
    std::vector<std::uint8_t> message;
    for (std::size_t got = kBufferStep; got == kBufferStep;) {
        const std::size_t old = message.size();
        if (old > kHeapLimit) throw RTLError(ASN_E_NOMEM);
        message.resize(old + kBufferStep);
        got = stream.read(message.data() + old, kBufferStep);
        message.resize(old + got);
    }
    context_->stream = nullptr;  // it is not needed any more, and may end before we do
    auto* source = static_cast<std::uint8_t*>(Allocate(*context_, message.size()));
    if (source == nullptr) throw RTLError(ASN_E_NOMEM);
    if (!message.empty()) std::memcpy(source, message.data(), message.size());
    setSource(source, message.size());
}

int ASN1BERDecodeBuffer::setSource(const std::uint8_t* source, std::size_t length) {
    if (ready_ && source == source_ && length == sourceLength_) return ASN_OK;
    source_ = source;
    sourceLength_ = length;
    ready_ = false;
    return init();
}

int ASN1BERDecodeBuffer::setBuffer(ASN1MemoryBuffer& memory) {
    if (const int status = ASN1BERMessageBuffer::setBuffer(memory); status < 0) return status;
    source_ = context_->buffer;
    sourceLength_ = context_->size;
    ready_ = true;
    return ASN_OK;
}

int ASN1BERDecodeBuffer::init() {
    Demand(SetDecodeBuffer(*context_, source_, sourceLength_));
    ready_ = true;
    return ASN_OK;
}

}  // namespace asn1rt
