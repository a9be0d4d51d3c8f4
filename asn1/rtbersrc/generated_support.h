// What the generated encoders, decoders and copies share: checks, headers of any tag, and
// the loops over lists.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <limits>

#include "asn1/rtbersrc/decode.h"
#include "asn1/rtbersrc/encode.h"
#include "asn1/rtbersrc/tags.h"
#include "asn1/rtsrc/copy.h"

namespace asn1rt {

// ---- checks ------------------------------------------------------------------

// MIN and MAX of a constraint.
inline constexpr std::int64_t kNoLow = std::numeric_limits<std::int64_t>::min();
inline constexpr std::int64_t kNoHigh = std::numeric_limits<std::int64_t>::max();
inline constexpr std::uint32_t kNoMaximum = std::numeric_limits<std::uint32_t>::max();

inline bool Within(std::int64_t value, std::int64_t low, std::int64_t high) {
    return low <= value && value <= high;
}
inline bool IsOneOf(ASN1ENUM value, std::initializer_list<ASN1ENUM> known) {
    for (const ASN1ENUM one : known) {
        if (one == value) return true;
    }
    return false;
}
// The number; what does not fit is kNoLow or kNoHigh, and no text is 0.
std::int64_t ClampedNumber(const ASN1BigInt& value);
// Characters of a text: bytes, or UTF-8 sequences.
std::int64_t TextLength(const ASN1CharStr& value);
std::int64_t Utf8Length(const ASN1CharStr& value);
// Without the zero bits at the end, which DER leaves out of named bits (X.690 11.2.2).
ASN1DynBitStr TrimBits(const ASN1DynBitStr& value);

// LogError with the parameters that the status's text has.
int FailField(ASN1Context& context, int status, const char* field, const char* module, int line);
int FailEnum(ASN1Context& context, ASN1ENUM value, const char* module, int line);
int FailTag(ASN1Context& context, int status, ASN1TAG tag, const char* module, int line);

// Held by the functions of a recursive type while they run.
class ASN1Level {
  public:
    explicit ASN1Level(ASN1Context& context) : context_(context) { ++context_.level; }
    ~ASN1Level() { --context_.level; }
    ASN1Level(const ASN1Level&) = delete;
    ASN1Level& operator=(const ASN1Level&) = delete;
    [[nodiscard]] bool TooDeep() const { return context_.level > kMaxLevel; }

  private:
    ASN1Context& context_;
};

// ---- headers -----------------------------------------------------------------

// The tag at the position without its form; mostly it is one byte.
inline int NextTag(ASN1Context& context, ASN1TAG& tag) {
    const std::uint8_t byte =
        context.byteIndex < context.size ? context.buffer[context.byteIndex] : 0x1F;
    int status = ASN_OK;
    if ((byte & 0x1F) != 0x1F) {
        tag = static_cast<ASN1TAG>(byte & 0xE0U) << 24 | (byte & 0x1FU);
    } else {
        status = xd_peek_tag(context, tag);
    }
    tag &= ~kFormBit;
    return status;
}
// As ASN1Contents::NextIs and xd_match1, for a tag of several bytes.
bool NextIsTag(ASN1Context& context, const ASN1Contents& contents, ASN1TAG tag);
inline int MatchTag(ASN1Context& context, ASN1TAG tag, int& length) {
    return xd_match(context, tag, length, kStayBehindTag);
}
// xd_null that also demands empty contents under an implicit tag.
inline int DecodeNull(ASN1Context& context, int tagging, int length) {
    return tagging == kImplicit && length != 0 ? ASN_E_INVLEN : xd_null(context, tagging);
}

// ---- lists -------------------------------------------------------------------

using ElementEncoder = int (*)(ASN1Context& context, const void* element);
using ElementDecoder = int (*)(ASN1Context& context, ASN1List& list);
using ElementCopier = int (*)(ASN1Context& owner, const void* element, ASN1List& list);

// The contents of a list, the last element first; the length of all, or a status. A SET OF
// is sorted afterwards.
int EncodeElements(ASN1Context& context, const ASN1List& list, bool sorted, ElementEncoder encode);
// Clears the list and reads elements to the end of the contents; ASN_E_SEQOVFLW for one
// more than `maximum`.
int DecodeElements(ASN1Context& context, ASN1List& list, int length, std::uint32_t maximum,
                   ElementDecoder decode);
int CopyElements(ASN1Context& owner, const ASN1List& source, ASN1List& destination,
                 ElementCopier copy);

// The same over elements of a type, by functions without captures.
template <class T, class Encode>
int EncodeList(ASN1Context& context, const ASN1TList<T>& list, bool sorted, Encode) {
    return EncodeElements(context, list, sorted, [](ASN1Context& inner, const void* element) {
        return Encode{}(inner, *static_cast<const T*>(element));
    });
}
template <class T, class Decode>
int DecodeList(ASN1Context& context, ASN1TList<T>& list, int length, std::uint32_t maximum,
               Decode) {
    return DecodeElements(context, list, length, maximum, [](ASN1Context& inner, ASN1List& to) {
        T* element = Append(inner, static_cast<ASN1TList<T>&>(to));
        return element == nullptr ? ASN_E_NOMEM : Decode{}(inner, *element);
    });
}
template <class T, class CopyOne>
int CopyList(ASN1Context& owner, const ASN1TList<T>& source, ASN1TList<T>& destination, CopyOne) {
    return CopyElements(owner, source, destination,
                        [](ASN1Context& inner, const void* from, ASN1List& to) {
                            T* element = Append(inner, static_cast<ASN1TList<T>&>(to));
                            if (element == nullptr) return ASN_E_NOMEM;
                            return CopyOne{}(inner, *static_cast<const T*>(from), *element);
                        });
}

}  // namespace asn1rt
