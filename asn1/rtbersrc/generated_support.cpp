// Checks and loops that generated code shares.
#include "asn1/rtbersrc/generated_support.h"

#include <cstdio>
#include <cstring>

#include "asn1/rtbersrc/tags.h"
#include "asn1/rtsrc/big_integer.h"

namespace asn1rt {
namespace {

// Room for the elements of short lists; longer ones use the heap.
constexpr std::uint32_t kShortList = 16;

template <class T>
class Room {
  public:
    Room(ASN1Context& context, std::uint32_t count)
        : context_(context),
          items_(count <= kShortList
                     ? short_
                     : static_cast<T*>(Allocate(context, std::size_t{count} * sizeof(T)))) {}
    ~Room() {
        if (items_ != nullptr && items_ != short_) GiveBack(context_, items_);
    }
    Room(const Room&) = delete;
    Room& operator=(const Room&) = delete;
    [[nodiscard]] T* Items() const { return items_; }

  private:
    ASN1Context& context_;
    T short_[kShortList];
    T* items_;
};

// Fills `elements` in the order of the list; false when its count is not that of its nodes.
bool Gather(const ASN1List& list, const void** elements) {
    const ASN1ListNode* node = list.head;
    for (std::uint32_t i = 0; i < list.count; ++i, node = node->next) {
        if (node == nullptr || node->data == nullptr) return false;
        elements[i] = node->data;
    }
    return true;
}

int EncodeEach(ASN1Context& context, const void** elements, std::uint32_t count,
               ASN1Written* written, ElementEncoder encode) {
    int total = 0;
    for (std::uint32_t i = count; i-- > 0;) {
        const int length = encode(context, elements[i]);
        if (length < 0) return length;
        if (length > std::numeric_limits<int>::max() - total) return ASN_E_TOOBIG;
        total += length;
        if (written != nullptr) {
            written[i] = {context.size - context.byteIndex, static_cast<std::uint32_t>(length)};
        }
    }
    return total;
}

int EncodeSorted(ASN1Context& context, const void** elements, std::uint32_t count,
                 ElementEncoder encode) {
    const Room<ASN1Written> written(context, count);
    if (written.Items() == nullptr) return ASN_E_NOMEM;
    const int total = EncodeEach(context, elements, count, written.Items(), encode);
    if (total < 0) return total;
    const int status = xe_derCanonicalSort(context, written.Items(), count);
    return status < 0 ? status : total;
}

}  // namespace

// ---- checks ------------------------------------------------------------------

std::int64_t ClampedNumber(const ASN1BigInt& value) {
    constexpr std::size_t kLongest = 24;  // no longer text fits 64 bits, but for leading zeros
    if (value.text == nullptr) return 0;
    const std::size_t length = std::strlen(value.text);
    // The front of a longer text tells its sign, cut so that pairs of digits stay pairs.
    const std::size_t front = length <= kLongest ? length : kLongest - length % 2;
    std::uint8_t octets[kLongest];
    const int count = BigIntegerFromText(value.text, front, octets);
    if (count <= 0) return 0;
    const bool negative = octets[0] > 0x7F;
    if (count > 8 || front < length) return negative ? kNoLow : kNoHigh;
    std::uint64_t number = negative ? ~std::uint64_t{0} : 0;
    for (int i = 0; i < count; ++i) number = number << 8 | octets[i];
    return static_cast<std::int64_t>(number);
}

std::int64_t TextLength(const ASN1CharStr& value) {
    return value.text == nullptr ? 0 : static_cast<std::int64_t>(std::strlen(value.text));
}

std::int64_t Utf8Length(const ASN1CharStr& value) {
    std::int64_t length = 0;
    for (const char* at = value.text; at != nullptr && *at != '\0'; ++at) {
        length += (*at & 0xC0) != 0x80 ? 1 : 0;
    }
    return length;
}

ASN1DynBitStr TrimBits(const ASN1DynBitStr& value) {
    ASN1DynBitStr trimmed = value;
    while (trimmed.numbits > 0 && trimmed.data != nullptr) {
        const std::uint32_t last = trimmed.numbits - 1;
        if ((trimmed.data[last / 8] >> (7 - last % 8) & 1) != 0) break;
        trimmed.numbits = last;
    }
    return trimmed;
}

int FailField(ASN1Context& context, int status, const char* field, const char* module, int line) {
    AddErrorParameter(context, field);
    return LogError(context, status, module, line);
}

int FailEnum(ASN1Context& context, ASN1ENUM value, const char* module, int line) {
    char text[kErrorParameterSize];
    std::snprintf(text, sizeof text, "%ld", static_cast<long>(value));
    return FailField(context, ASN_E_INVENUM, text, module, line);
}

int FailTag(ASN1Context& context, int status, ASN1TAG tag, const char* module, int line) {
    static constexpr const char* kClasses[] = {"UNIVERSAL ", "APPLICATION ", "", "PRIVATE "};
    char text[kErrorParameterSize];
    std::snprintf(text, sizeof text, "[%s%lu]", kClasses[tag >> 30],
                  static_cast<unsigned long>(tag & 0x1FFFFFFFU));
    return FailField(context, status, text, module, line);
}

// ---- headers -----------------------------------------------------------------

bool NextIsTag(ASN1Context& context, const ASN1Contents& contents, ASN1TAG tag) {
    ASN1TAG seen = 0;
    return !contents.AtEnd() && NextTag(context, seen) == ASN_OK && seen == (tag & ~kFormBit);
}

// ---- lists -------------------------------------------------------------------

int EncodeElements(ASN1Context& context, const ASN1List& list, bool sorted, ElementEncoder encode) {
    const Room<const void*> elements(context, list.count);
    if (elements.Items() == nullptr) return ASN_E_NOMEM;
    if (!Gather(list, elements.Items())) return ASN_E_BADVALUE;
    return sorted ? EncodeSorted(context, elements.Items(), list.count, encode)
                  : EncodeEach(context, elements.Items(), list.count, nullptr, encode);
}

int DecodeElements(ASN1Context& context, ASN1List& list, int length, std::uint32_t maximum,
                   ElementDecoder decode) {
    ASN1Contents contents(context, length);
    list = {};
    while (!contents.AtEnd()) {
        if (list.count == maximum) return ASN_E_SEQOVFLW;
        if (const int status = decode(context, list); status < 0) return status;
    }
    return contents.Finish();
}

int CopyElements(ASN1Context& owner, const ASN1List& source, ASN1List& destination,
                 ElementCopier copy) {
    destination = {};
    for (const ASN1ListNode* node = source.head; node != nullptr; node = node->next) {
        if (const int status = copy(owner, node->data, destination); status < 0) return status;
    }
    return ASN_OK;
}

}  // namespace asn1rt
