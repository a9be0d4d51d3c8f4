// Deep copies of strings, identifiers and open values.
#include "asn1/rtsrc/copy.h"

namespace asn1rt {
namespace {

// `count` items and `tail` cleared ones behind them; an empty source leaves null.
template <class T>
int CopyItems(ASN1Context& context, const T* source, std::size_t count, std::size_t tail,
              const T*& destination) {
    destination = nullptr;
    if (source == nullptr || count + tail == 0) return ASN_OK;
    auto* memory = static_cast<T*>(Allocate(context, (count + tail) * sizeof(T)));
    if (memory == nullptr) return Fail(context, ASN_E_NOMEM);
    if (count != 0) std::memcpy(memory, source, count * sizeof(T));
    if (tail != 0) std::memset(memory + count, 0, tail * sizeof(T));
    destination = memory;
    return ASN_OK;
}

int CopyText(ASN1Context& context, const char* source, const char*& destination) {
    const std::size_t length = source == nullptr ? 0 : std::strlen(source);
    return CopyItems(context, source, length, 1, destination);
}

// A value of a count and a pointer; nothing is counted where nothing was copied.
template <class T, class Item>
int CopyCounted(ASN1Context& context, const T& source, T& destination, std::uint32_t T::*counter,
                const Item* T::*items, std::size_t count) {
    if (&source == &destination) return ASN_OK;
    const std::uint32_t counted = source.*counter;
    const int status = CopyItems(context, source.*items, count, 0, destination.*items);
    destination.*counter = destination.*items == nullptr ? 0 : counted;
    return status;
}

}  // namespace

int Copy(ASN1Context& context, const ASN1OBJID& source, ASN1OBJID& destination) {
    if (source.numids > ASN_K_MAXSUBIDS) return Fail(context, ASN_E_INVOBJID);
    destination = source;
    return ASN_OK;
}

int Copy(ASN1Context& context, const ASN1DynOctStr& source, ASN1DynOctStr& destination) {
    return CopyCounted(context, source, destination, &ASN1DynOctStr::numocts, &ASN1DynOctStr::data,
                       source.numocts);
}

int Copy(ASN1Context& context, const ASN1DynBitStr& source, ASN1DynBitStr& destination) {
    const std::size_t bytes = (std::size_t{source.numbits} + 7) / 8;
    return CopyCounted(context, source, destination, &ASN1DynBitStr::numbits, &ASN1DynBitStr::data,
                       bytes);
}

int Copy(ASN1Context& context, const ASN1OpenType& source, ASN1OpenType& destination) {
    return CopyCounted(context, source, destination, &ASN1OpenType::numocts, &ASN1OpenType::data,
                       source.numocts);
}

int Copy(ASN1Context& context, const ASN1CharStr& source, ASN1CharStr& destination) {
    if (&source == &destination) return ASN_OK;
    return CopyText(context, source.text, destination.text);
}

int Copy(ASN1Context& context, const ASN1BigInt& source, ASN1BigInt& destination) {
    if (&source == &destination) return ASN_OK;
    return CopyText(context, source.text, destination.text);
}

int Copy(ASN1Context& context, const ASN116BitCharStr& source, ASN116BitCharStr& destination) {
    return CopyCounted(context, source, destination, &ASN116BitCharStr::nchars,
                       &ASN116BitCharStr::data, source.nchars);
}

int Copy(ASN1Context& context, const ASN132BitCharStr& source, ASN132BitCharStr& destination) {
    return CopyCounted(context, source, destination, &ASN132BitCharStr::nchars,
                       &ASN132BitCharStr::data, source.nchars);
}

}  // namespace asn1rt
