// Sets, clears and tests single bits.
#include "asn1/rtsrc/bit_string.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace asn1rt {
namespace {

std::uint32_t BytesFor(std::uint32_t bits) { return bits / 8 + (bits % 8 != 0 ? 1 : 0); }

std::uint8_t MaskOf(std::uint32_t index) { return static_cast<std::uint8_t>(0x80U >> index % 8); }

}  // namespace

bool ASN1CBitStr::get(std::uint32_t index) const {
    return index < value_->numbits && (value_->data[index / 8] & MaskOf(index)) != 0;
}

std::uint32_t ASN1CBitStr::length() const {
    std::uint32_t bits = value_->numbits;
    while (bits > 0 && !get(bits - 1)) --bits;
    return bits;
}

std::uint32_t ASN1CBitStr::cardinality() const {
    std::uint32_t count = 0;
    for (std::uint32_t i = 0; i < value_->numbits / 8; ++i) {
        count += static_cast<std::uint32_t>(std::popcount(value_->data[i]));
    }
    for (std::uint32_t i = value_->numbits / 8 * 8; i < value_->numbits; ++i) count += get(i);
    return count;
}

// Bytes of our own with room for `bits` and for those that are there; behind the last bit of
// the value they are clear.
int ASN1CBitStr::own(std::uint32_t bits) {
    const std::uint32_t have = BytesFor(value_->numbits);
    const std::uint32_t need = std::max(BytesFor(bits), have);
    const bool mine = bytes_ != nullptr && value_->data == bytes_;
    if (mine && need <= room_) return ASN_OK;
    const std::uint32_t room = std::max(need, mine ? room_ * 2 : 8);
    auto* bytes = static_cast<std::uint8_t*>(Allocate(*context_, room));
    if (bytes == nullptr) return Fail(*context_, ASN_E_NOMEM);
    if (have != 0) std::memcpy(bytes, value_->data, have);
    std::memset(bytes + have, 0, room - have);
    if (value_->numbits % 8 != 0) {
        bytes[have - 1] =
            static_cast<std::uint8_t>(bytes[have - 1] & (0xFF00U >> value_->numbits % 8));
    }
    if (mine) GiveBack(*context_, bytes_);
    bytes_ = bytes;
    room_ = room;
    value_->data = bytes;
    return ASN_OK;
}

int ASN1CBitStr::grow(std::uint32_t bits) {
    if (bits <= value_->numbits) return ASN_OK;
    const int status = own(bits);
    if (status == ASN_OK) value_->numbits = bits;
    return status;
}

int ASN1CBitStr::set(std::uint32_t from, std::uint32_t to) {
    if (from > to) return Fail(*context_, ASN_E_OUTOFBND);
    int status = own(to);
    if (status == ASN_OK) status = grow(to);
    if (status < 0) return status;
    for (std::uint32_t i = from; i < to; ++i) bytes_[i / 8] |= MaskOf(i);
    return ASN_OK;
}

int ASN1CBitStr::clear(std::uint32_t from, std::uint32_t to) {
    if (from > to) return Fail(*context_, ASN_E_OUTOFBND);
    to = std::min(to, value_->numbits);
    if (from >= to) return ASN_OK;
    if (const int status = own(to); status < 0) return status;
    for (std::uint32_t i = from; i < to; ++i) {
        bytes_[i / 8] = static_cast<std::uint8_t>(bytes_[i / 8] & ~MaskOf(i));
    }
    return ASN_OK;
}

void ASN1CBitStr::clear() {
    if (bytes_ != nullptr && value_->data == bytes_) GiveBack(*context_, bytes_);
    bytes_ = nullptr;
    *value_ = ASN1DynBitStr();
}

}  // namespace asn1rt
