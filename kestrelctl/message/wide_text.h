// Text in UTF-16, as editors of Windows save it, turned into the octets of ASCII piece by piece.
#pragma once

#include <optional>

#include "platform/base/bytes.h"

namespace kestrelctl::message {

class WideText {
  public:
    // Told by a byte order mark, or by a first character of ASCII beside a zero. None for text
    // in octets.
    static std::optional<WideText> Told(platform::ByteView start);

    // The mark is left out; what is beyond ASCII becomes an octet that BASE64 has no place for.
    // The view lives until the next call.
    platform::ByteView Narrow(platform::ByteView piece);
    // Throws CRYPT_E_BAD_ENCODE for text that ends within a unit.
    void Finish() const;

  private:
    enum class Order { Little, Big };
    explicit WideText(Order order) : order_(order) {}
    void Take(std::uint8_t first, std::uint8_t second);

    Order order_;
    std::optional<std::uint8_t> half_;  // of a unit that a piece ended in
    bool started_ = false;
    platform::Bytes narrow_;
};

}  // namespace kestrelctl::message
