// Strings that the message may hold in one piece or, constructed, in segments within
// segments (X.690 8.6.4, 8.7.3, 8.23.5).
#pragma once

#include <cstddef>
#include <cstdint>

#include "asn1/rtbersrc/decode.h"

namespace asn1rt {

// The contents of a string, with its header behind the position. One piece is pointed at.
class ASN1StringReader {
  public:
    // `bits`: segments are bit strings, each with its count of unused bits in front.
    ASN1StringReader(ASN1Context& context, bool bits) : context_(context), bits_(bits) {}

    // Walks the contents. The form is that of the last tag read.
    int Open(int length);
    // Bytes without counts of unused bits.
    [[nodiscard]] std::size_t Size() const { return size_; }
    [[nodiscard]] unsigned UnusedBits() const { return unused_; }
    // All of them where they are in one piece, else null.
    [[nodiscard]] const std::uint8_t* Piece() const { return pieces_ <= 1 ? first_ : nullptr; }
    // Copies them to a place with room for Size().
    void CopyTo(std::uint8_t* target);

  private:
    template <class Visit>
    int Walk(int length, unsigned level, const Visit& visit);
    template <class Visit>
    int VisitPiece(int length, const Visit& visit);
    void Count(const std::uint8_t* bytes, std::size_t size);

    ASN1Context& context_;
    bool bits_;
    bool constructed_ = false;
    int length_ = 0;
    std::uint32_t start_ = 0;
    std::size_t size_ = 0;
    std::size_t pieces_ = 0;
    unsigned unused_ = 0;
    const std::uint8_t* first_ = nullptr;
};

}  // namespace asn1rt
