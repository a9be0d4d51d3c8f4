// Decoding primitives (X.690). Each returns a status; `tagging` 1 matches the universal
// tag and takes the length from the message, 0 reads `length` bytes of contents.
//
// Strings point into the bytes that are decoded where those are in one piece; text, big
// integers and constructed strings are put into the context's heap.
#pragma once

#include <cstdint>

#include "asn1/rtsrc/context.h"

namespace asn1rt {

inline constexpr int kExplicit = 1;
inline constexpr int kImplicit = 0;

// ---- tags and lengths --------------------------------------------------------

// Any tag, then its length. Sets or clears kLastTagConstructed.
int xd_tag_len(ASN1Context& context, ASN1TAG& tag, int& length);
inline int xd_len(ASN1Context& context, int& length);
// A tag of one byte, the constructed bit left out of the comparison.
inline int xd_match1(ASN1Context& context, std::uint8_t tag, int& length);

// Bits of the option mask of xd_match.
inline constexpr int kScanSiblings = 1;
inline constexpr int kStayBehindTag = 2;
inline constexpr int kSkipFirst = 8;
// The general form, for a tag of any size. With kStayBehindTag the position is at the
// contents after the match, otherwise back at the tag. Without a match it is where it was.
int xd_match(ASN1Context& context, ASN1TAG tag, int& length, int options);

// The tag at the position without leaving it; ASN_E_ENDOFBUF at the end.
int xd_peek_tag(ASN1Context& context, ASN1TAG& tag);
// Steps over one element with everything in it, indefinite lengths too; ASN_E_TOODEEP
// beyond kMaxLevel.
int xd_skip(ASN1Context& context);

// The contents of a constructed element: from its construction to its end the context's
// size is the element's end, so that nothing inside reaches beyond it.
class ASN1Contents {
  public:
    // `length` as xd_match1 gave it.
    ASN1Contents(ASN1Context& context, int length)
        : context_(context), outerSize_(context.size), definite_(length != ASN_K_INDEFLEN) {
        if (!definite_) return;
        // Lengths that were not checked (kNoLengthCheck) may say more than there is.
        const std::uint32_t left =
            context.byteIndex < context.size ? context.size - context.byteIndex : 0;
        whole_ = static_cast<std::uint32_t>(length) <= left;
        if (whole_) context.size = context.byteIndex + static_cast<std::uint32_t>(length);
    }
    ~ASN1Contents() { context_.size = outerSize_; }
    ASN1Contents(const ASN1Contents&) = delete;
    ASN1Contents& operator=(const ASN1Contents&) = delete;

    // Whether the contents are used up (at the end-of-contents octets when indefinite).
    [[nodiscard]] bool AtEnd() const {
        if (definite_) return context_.byteIndex >= context_.size;
        return context_.byteIndex + 2 <= context_.size &&
               context_.buffer[context_.byteIndex] == 0 &&
               context_.buffer[context_.byteIndex + 1] == 0;
    }
    // Whether the element at the position has this tag of one byte; its form is left out.
    [[nodiscard]] bool NextIs(std::uint8_t tag) const {
        return !AtEnd() && context_.byteIndex < context_.size &&
               (context_.buffer[context_.byteIndex] & 0xDF) == (tag & 0xDF);
    }
    // Demands the end, and steps over the end-of-contents octets. ASN_E_NOTINSET for an
    // element that nobody read, ASN_E_ENDOFBUF where contents or the octets are missing.
    [[nodiscard]] int Finish() { return definite_ && whole_ && AtEnd() ? ASN_OK : FinishOther(); }

  private:
    int FinishOther();

    ASN1Context& context_;
    std::uint32_t outerSize_;
    bool definite_;
    bool whole_ = true;
};

// ---- values ------------------------------------------------------------------

int xd_integer(ASN1Context& context, ASN1INT& value, int tagging, int length);
int xd_unsigned(ASN1Context& context, ASN1UINT& value, int tagging, int length);
int xd_uint16(ASN1Context& context, std::uint16_t& value, int tagging, int length);
int xd_bigint(ASN1Context& context, ASN1BigInt& value, int tagging, int length);
// As xd_integer, with the universal tag of ENUMERATED.
int xd_enum(ASN1Context& context, ASN1ENUM& value, int tagging, int length);
int xd_boolean(ASN1Context& context, ASN1BOOL& value, int tagging, int length);
int xd_null(ASN1Context& context, int tagging);
int xd_objid(ASN1Context& context, ASN1OBJID& value, int tagging, int length);
int xd_octstr(ASN1Context& context, ASN1DynOctStr& value, int tagging, int length);
int xd_bitstr(ASN1Context& context, ASN1DynBitStr& value, int tagging, int length);
// Into a buffer of `size` bytes; the count of octets or bits comes back.
int xd_octstr_s(ASN1Context& context, std::uint8_t* data, std::uint32_t size,
                std::uint32_t& numocts, int tagging, int length);
int xd_bitstr_s(ASN1Context& context, std::uint8_t* data, std::uint32_t size,
                std::uint32_t& numbits, int tagging, int length);
// `tag` is the universal tag of the string type. A NUL inside is ASN_E_INVCHAR: the text
// would end at it.
int xd_charstr(ASN1Context& context, ASN1CharStr& value, int tagging, std::uint8_t tag, int length);
int xd_16BitCharStr(ASN1Context& context, ASN116BitCharStr& value, int tagging, std::uint8_t tag,
                    int length);
int xd_32BitCharStr(ASN1Context& context, ASN132BitCharStr& value, int tagging, std::uint8_t tag,
                    int length);
// One whole element, tag and length included.
int xd_open_type(ASN1Context& context, ASN1OpenType& value);

// ---- definitions -------------------------------------------------------------

// The roads that are not the common one.
int DecodeLength(ASN1Context& context, int& length);
int DecodeMatch1(ASN1Context& context, std::uint8_t tag, int& length);

inline void NoteForm(ASN1Context& context, unsigned identifier) {
    // Bit 6 of the identifier octet to bit 11 of the flags.
    static_assert(kLastTagConstructed == 0x20 << 5);
    context.flags = static_cast<std::uint16_t>((context.flags & ~kLastTagConstructed) |
                                               (identifier & 0x20U) << 5);
}

inline int xd_len(ASN1Context& context, int& length) {
    const std::uint32_t at = context.byteIndex;
    if (at < context.size) {
        const std::uint8_t first = context.buffer[at];
        if (first < 0x80 && first < context.size - at) {
            context.byteIndex = at + 1;
            length = first;
            return ASN_OK;
        }
    }
    return DecodeLength(context, length);
}

inline int xd_match1(ASN1Context& context, std::uint8_t tag, int& length) {
    const std::uint32_t at = context.byteIndex;
    if (at < context.size && context.size - at >= 2) {
        const std::uint8_t seen = context.buffer[at];
        const std::uint8_t first = context.buffer[at + 1];
        if (((seen ^ tag) & 0xDF) == 0 && first < 0x80 && first + 2U <= context.size - at) {
            NoteForm(context, seen);
            context.byteIndex = at + 2;
            length = first;
            return ASN_OK;
        }
    }
    return DecodeMatch1(context, tag, length);
}

}  // namespace asn1rt
