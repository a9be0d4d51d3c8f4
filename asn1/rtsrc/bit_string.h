// BIT STRING, bit by bit. Bit 0 is the top bit of the first byte.
#pragma once

#include <cstdint>

#include "asn1/rtsrc/message_buffer.h"

namespace asn1rt {

// Binds a bit string that stays the record's. Its bytes, which may belong to the message, are
// copied into the heap before the first change. A bit string grows with the bits that are set
// behind its end; clearing never lengthens it.
class ASN1CBitStr {
  public:
    ASN1CBitStr(ASN1MessageBufferIF& buffer, ASN1DynBitStr& value)
        : context_(buffer.getContext()), value_(&value) {}

    [[nodiscard]] std::uint32_t size() const { return value_->numbits; }
    // Behind the last bit that is set.
    [[nodiscard]] std::uint32_t length() const;
    // The count of bits that are set.
    [[nodiscard]] std::uint32_t cardinality() const;
    // Bits behind the end are clear.
    [[nodiscard]] bool get(std::uint32_t index) const;

    // ASN_OK or ASN_E_NOMEM; ranges are from the first up to, without, the second index,
    // ASN_E_OUTOFBND when they are not in order.
    int set(std::uint32_t index) { return set(index, index + 1); }
    int set(std::uint32_t from, std::uint32_t to);
    int clear(std::uint32_t index) { return clear(index, index + 1); }
    int clear(std::uint32_t from, std::uint32_t to);
    // No bits at all.
    void clear();
    // At least so many bits; new ones are clear.
    int grow(std::uint32_t bits);

  private:
    int own(std::uint32_t bits);

    ASN1ContextRef context_;
    ASN1DynBitStr* value_;
    std::uint8_t* bytes_ = nullptr;  // the value's own, once they are
    std::uint32_t room_ = 0;         // bytes there
};

}  // namespace asn1rt
