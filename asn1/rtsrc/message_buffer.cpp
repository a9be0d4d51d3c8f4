// A message buffer's context and direction.
#include "asn1/rtsrc/message_buffer.h"

namespace asn1rt {

const char* ASN1RTLException::what() const noexcept {
    const char* text = StatusText(status_);
    return text == nullptr ? "Unknown status" : text;
}

ASN1MessageBuffer::ASN1MessageBuffer(int kind) : context_(NewContext()), kind_(kind) {
    if (!context_) throw RTLError(ASN_E_NOMEM);
}

int ASN1MessageBuffer::initBuffer(ASN1MemoryBuffer&) { return ASN_E_NOTSUPP; }
int ASN1MessageBuffer::setStatus(int) { return ASN_E_NOTSUPP; }

int ASN1MessageBuffer::setBuffer(ASN1MemoryBuffer& memory) {
    if (memory.read > memory.size) return ASN_E_INVPARAM;
    const std::uint8_t* unread = memory.data == nullptr ? nullptr : memory.data + memory.read;
    return SetDecodeBuffer(*context_, unread, memory.size - memory.read);
}

bool ASN1MessageBuffer::isA(int kind) const { return kind == kind_; }

}  // namespace asn1rt
