// What the tests of the runtime share.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "asn1/rtbersrc/ber_buffer.h"
#include "tests/support/hex.h"

namespace asn1rt {

using Bytes = std::vector<std::uint8_t>;

using support::FromHex;

// With blanks between the octets.
inline std::string ToHex(const std::uint8_t* data, std::size_t size) {
    return support::ToHex(data, size, " ");
}
inline std::string ToHex(const Bytes& bytes) { return ToHex(bytes.data(), bytes.size()); }

// Input in memory of exactly its size, so that a sanitizer sees every byte too many.
class Input {
  public:
    explicit Input(std::string_view hex) : Input(FromHex(hex)) {}
    explicit Input(const Bytes& bytes)
        : bytes_(bytes.begin(), bytes.end()), buffer_(bytes_.data(), bytes_.size()) {}
    ASN1Context& operator*() { return *buffer_.getContextPtr(); }
    ASN1Context* operator->() { return buffer_.getContextPtr(); }
    [[nodiscard]] const Bytes& Data() const { return bytes_; }
    bool Holds(const void* data) const {
        return data >= bytes_.data() && data <= bytes_.data() + bytes_.size();
    }

  private:
    Bytes bytes_;
    ASN1BERDecodeBuffer buffer_;
};

class Output {
  public:
    ASN1Context& operator*() { return *buffer_.getContextPtr(); }
    ASN1Context* operator->() { return buffer_.getContextPtr(); }
    std::string Hex(int length) {
        return length < 0 ? "status " + std::to_string(length)
                          : ToHex(buffer_.getMsgPtr(), static_cast<std::size_t>(length));
    }
    Bytes Taken(int length) {
        return length < 0 ? Bytes() : Bytes(buffer_.getMsgPtr(), buffer_.getMsgPtr() + length);
    }

  private:
    ASN1BEREncodeBuffer buffer_;
};

inline std::string Repeat(std::string_view text, std::size_t count) {
    std::string all;
    while (count-- > 0) all += text;
    return all;
}

}  // namespace asn1rt
