// GOST R 34.11-2012 (RFC 6986), 256 and 512 bit.
#pragma once

#include <array>
#include <cstdint>

#include "platform/base/bytes.h"

namespace platform::gost {

// A running digest; a copy goes on by itself.
class Streebog {
  public:
    static constexpr std::size_t kBlock = 64;
    using Words = std::array<std::uint64_t, 8>;

    // `size` is 32 or 64.
    explicit Streebog(std::size_t size);
    ~Streebog();
    Streebog(const Streebog&) = default;
    Streebog& operator=(const Streebog&) = default;

    void Update(ByteView data);
    // The digest so far; the running digest stays usable.
    [[nodiscard]] Bytes Value() const;

  private:
    void Take(const std::uint8_t* block, std::uint64_t octets);

    std::size_t size_;
    Words state_;
    Words count_{};
    Words sum_{};
    std::array<std::uint8_t, kBlock> rest_{};
    std::size_t filled_ = 0;
};

}  // namespace platform::gost
