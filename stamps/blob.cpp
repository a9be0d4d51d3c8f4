// Bytes that are owned, and integers kept as such.
#include "stamps/blob.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "stamps/failure.h"

namespace Ferroline {
namespace {

constexpr std::string_view kDigits = "0123456789ABCDEF";

bool IsSpace(char character) { return std::isspace(static_cast<unsigned char>(character)) != 0; }

// The value of a digit, or npos.
std::size_t DigitValue(char character) {
    return kDigits.find(static_cast<char>(std::toupper(static_cast<unsigned char>(character))));
}

bool IsDigit(char character) { return DigitValue(character) != std::string_view::npos; }

// Left uncleared: all of it is written at once.
std::unique_ptr<std::uint8_t[]> Room(std::uint32_t size) {
    return size == 0 ? nullptr : std::make_unique_for_overwrite<std::uint8_t[]>(size);
}

void CopyBytes(std::uint8_t* target, const void* source, std::uint32_t size) {
    if (size != 0) std::memcpy(target, source, size);
}

}  // namespace

CBlob::CBlob(std::uint32_t size)
    : size_(size), data_(size == 0 ? nullptr : std::make_unique<std::uint8_t[]>(size)) {}

CBlob::CBlob(const void* data, std::uint32_t size) : size_(size), data_(Room(size)) {
    CopyBytes(data_.get(), data, size);
}

CBlob::CBlob(std::span<const std::uint8_t> bytes)
    : CBlob(bytes.data(), static_cast<std::uint32_t>(bytes.size())) {}

CBlob& CBlob::operator=(const CBlob& other) {
    if (this != &other) CBlob(other).Swap(*this);
    return *this;
}

CBlob& CBlob::operator=(CBlob&& other) noexcept {
    CBlob(std::move(other)).Swap(*this);
    return *this;
}

void CBlob::Resize(std::uint32_t size) {
    if (size > size_) {
        auto grown = Room(size);
        CopyBytes(grown.get(), data_.get(), size_);
        data_ = std::move(grown);
    }
    size_ = size;
}

void CBlob::Append(const CBlob& other) {
    const std::uint32_t added = other.size_;  // `other` may be this one
    const std::uint32_t before = size_;
    if (added > std::numeric_limits<std::uint32_t>::max() - before) {
        throw std::length_error("CBlob::Append");
    }
    Resize(before + added);
    CopyBytes(data_.get() + before, other.data_.get(), added);
}

bool operator==(const CBlob& first, const CBlob& second) {
    return std::ranges::equal(first.Bytes(), second.Bytes());
}

void CBlob::FromHex(std::string_view text) {
    CBlob bytes;
    bytes.Resize(static_cast<std::uint32_t>(text.size() / 2));
    std::uint32_t count = 0;
    for (std::size_t at = 0;;) {
        while (at < text.size() && IsSpace(text[at])) ++at;
        if (text.size() - at < 2 || !IsDigit(text[at]) || !IsDigit(text[at + 1])) break;
        bytes.data_[count++] =
            static_cast<std::uint8_t>(DigitValue(text[at]) << 4 | DigitValue(text[at + 1]));
        at += 2;
    }
    bytes.Resize(count);
    Swap(bytes);
}

std::string CBlob::ToHex() const {
    std::string text;
    text.reserve(std::size_t{size_} * 2);
    for (const std::uint8_t byte : Bytes()) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0xF];
    }
    return text;
}

namespace ASN1 {
namespace {

bool IsNegative(const CBigInteger& value) { return (value.GetData()[0] & 0x80) != 0; }

// The bytes from the first one that does more than repeat the sign.
std::span<const std::uint8_t> Significant(const CBigInteger& value) {
    auto bytes = value.Bytes();
    const std::uint8_t filler = IsNegative(value) ? 0xFF : 0;
    while (bytes.size() > 1 && bytes[0] == filler && ((bytes[1] ^ filler) & 0x80) == 0) {
        bytes = bytes.subspan(1);
    }
    return bytes;
}

// Against an empty value, which stands where 0 does.
std::weak_ordering CompareToEmpty(const CBigInteger& value) {
    return IsNegative(value) ? std::weak_ordering::less : std::weak_ordering::greater;
}

}  // namespace

std::weak_ordering operator<=>(const CBigInteger& first, const CBigInteger& second) {
    if (first.IsEmpty() && second.IsEmpty()) return std::weak_ordering::equivalent;
    if (second.IsEmpty()) return CompareToEmpty(first);
    if (first.IsEmpty()) return 0 <=> CompareToEmpty(second);
    if (IsNegative(first) != IsNegative(second)) return IsNegative(second) <=> IsNegative(first);
    const bool sameSize = first.GetSize() == second.GetSize();
    const auto one = sameSize ? first.Bytes() : Significant(first);
    const auto other = sameSize ? second.Bytes() : Significant(second);
    if (one.size() != other.size()) return one.size() <=> other.size();
    return std::lexicographical_compare_three_way(one.begin(), one.end(), other.begin(),
                                                  other.end());
}

CBigInteger CBigInteger::ToPositive() const {
    CBigInteger positive(*this);
    if (!positive.IsEmpty()) positive.GetData()[0] &= 0x7F;
    return positive;
}

void CBigInteger::FromString(std::string_view text) {
    constexpr std::string_view kPrefix = "0x";
    if (!text.starts_with(kPrefix)) Fail(CRYPT_E_ASN1_INTERNAL);
    text.remove_prefix(kPrefix.size());
    const auto digits =
        static_cast<std::size_t>(std::ranges::find_if_not(text, IsDigit) - text.begin());
    if (digits == 0) Fail(CRYPT_E_ASN1_INTERNAL);
    if (digits % 2 != 0 && text[0] == '0') {
        FromHex("0" + std::string(text));
    } else {
        FromHex(text);
    }
}

}  // namespace ASN1
}  // namespace Ferroline
