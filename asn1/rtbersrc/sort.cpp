// Puts the encoded elements of a SET OF into the order of DER (X.690 11.6).
#include <algorithm>
#include <cstring>

#include "asn1/rtbersrc/encode.h"

namespace asn1rt {
namespace {

const std::uint8_t* PlaceOf(const ASN1Context& context, const ASN1Written& element) {
    return context.buffer + (context.size - element.fromEnd);
}

// The shorter one counts as filled up with zeros. As no element is the beginning of another
// one, that only speaks of elements that are not whole.
bool Before(const ASN1Context& context, const ASN1Written& first, const ASN1Written& second) {
    const int order = std::memcmp(PlaceOf(context, first), PlaceOf(context, second),
                                  std::min(first.length, second.length));
    return order != 0 ? order < 0 : first.length < second.length;
}

// Sorts the list as it stands in the buffer, the element written last in front, and tells
// whether it fills the buffer's written part from its start without gaps.
bool Adjacent(const ASN1Context& context, ASN1Written* elements, std::uint32_t count) {
    std::sort(elements, elements + count, [](const ASN1Written& first, const ASN1Written& second) {
        return first.fromEnd > second.fromEnd;
    });
    std::uint32_t at = context.size - context.byteIndex;
    for (std::uint32_t i = 0; i < count; ++i) {
        if (elements[i].fromEnd != at || elements[i].length > at) return false;
        at -= elements[i].length;
    }
    return true;
}

}  // namespace

int xe_derCanonicalSort(ASN1Context& context, ASN1Written* elements, std::uint32_t count) {
    if (count == 0) return ASN_OK;
    if (elements == nullptr || CheckContext(context) < 0 || !Adjacent(context, elements, count)) {
        return Fail(context, ASN_E_BADVALUE);
    }
    const auto before = [&context](const ASN1Written& first, const ASN1Written& second) {
        return Before(context, first, second);
    };
    if (std::is_sorted(elements, elements + count, before)) return ASN_OK;
    std::sort(elements, elements + count, before);
    std::size_t total = 0;
    for (std::uint32_t i = 0; i < count; ++i) total += elements[i].length;
    auto* sorted = static_cast<std::uint8_t*>(Allocate(context, total));
    if (sorted == nullptr) return Fail(context, ASN_E_NOMEM);
    std::size_t done = 0;
    const std::uint32_t start = context.size - context.byteIndex;
    for (std::uint32_t i = 0; i < count; ++i) {
        std::memcpy(sorted + done, PlaceOf(context, elements[i]), elements[i].length);
        elements[i].fromEnd = start - static_cast<std::uint32_t>(done);
        done += elements[i].length;
    }
    std::memcpy(context.buffer + context.byteIndex, sorted, total);
    GiveBack(context, sorted);
    return ASN_OK;
}

}  // namespace asn1rt
