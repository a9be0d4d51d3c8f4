// Owned bytes, and the signed integers that are kept as such.
#pragma once

#include <compare>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace Ferroline {

// A byte buffer with one owner. It shrinks in place, and grows by a fresh allocation.
class CBlob {
  public:
    CBlob() = default;
    // Zeros.
    explicit CBlob(std::uint32_t size);
    CBlob(const void* data, std::uint32_t size);
    explicit CBlob(std::span<const std::uint8_t> bytes);
    CBlob(const CBlob& other) : CBlob(other.data_.get(), other.size_) {}
    CBlob(CBlob&& other) noexcept
        : size_(std::exchange(other.size_, 0)), data_(std::move(other.data_)) {}
    CBlob& operator=(const CBlob& other);
    CBlob& operator=(CBlob&& other) noexcept;
    ~CBlob() = default;

    [[nodiscard]] std::uint32_t GetSize() const { return size_; }
    [[nodiscard]] bool IsEmpty() const { return size_ == 0; }
    // May be null when empty.
    [[nodiscard]] const std::uint8_t* GetData() const { return data_.get(); }
    [[nodiscard]] std::uint8_t* GetData() { return data_.get(); }
    [[nodiscard]] std::span<const std::uint8_t> Bytes() const { return {data_.get(), size_}; }

    // Keeps the first bytes; new ones are not cleared.
    void Resize(std::uint32_t size);
    // The buffer stays.
    void Clear() { Resize(0); }
    // Throws std::length_error when the sum passes 32 bits.
    void Append(const CBlob& other);
    void Swap(CBlob& other) noexcept {
        std::swap(size_, other.size_);
        data_.swap(other.data_);
    }
    friend bool operator==(const CBlob& first, const CBlob& second);

    // Reads pairs of hexadecimal digits with white space before and between them, up to the
    // first thing that is no pair.
    void FromHex(std::string_view text);
    // Upper case, without separators.
    [[nodiscard]] std::string ToHex() const;

  private:
    std::uint32_t size_ = 0;
    std::unique_ptr<std::uint8_t[]> data_;
};

namespace ASN1 {

// The content bytes of an INTEGER: signed, big-endian.
class CBigInteger : public CBlob {
  public:
    CBigInteger() = default;
    using CBlob::CBlob;
    explicit CBigInteger(CBlob bytes) : CBlob(std::move(bytes)) {}

    // By value: between values of different sizes leading bytes that only repeat the sign do
    // not count. Of two negative ones that still differ in size the shorter is the lesser,
    // which callers that sort rely on. An empty value stands between the negative and the
    // others.
    friend std::weak_ordering operator<=>(const CBigInteger& first, const CBigInteger& second);
    friend bool operator==(const CBigInteger& first, const CBigInteger& second) {
        return (first <=> second) == 0;
    }

    // Without the top bit of the first byte.
    [[nodiscard]] CBigInteger ToPositive() const;
    // "0x" and hexadecimal digits; throws CRYPT_E_ASN1_INTERNAL for anything else. An odd
    // count of digits is filled up in front when the first is 0, and loses the last one
    // otherwise.
    void FromString(std::string_view text);
    // "0x" and the digits in pairs, upper case.
    [[nodiscard]] std::string ToString() const { return "0x" + ToHex(); }
};

}  // namespace ASN1
}  // namespace Ferroline
