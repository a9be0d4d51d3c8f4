// GOST R 34.11-94 (RFC 5831), with the substitution block as a parameter.
#pragma once

#include <array>
#include <cstdint>

#include "platform/base/bytes.h"
#include "platform/gost/substitution.h"

namespace platform::gost {

// A running digest; a copy goes on by itself.
class Digest94 {
  public:
    static constexpr std::size_t kSize = 32;
    static constexpr std::size_t kBlock = 32;

    // The parameter set of RFC 4357 that certificates and messages use.
    Digest94() : Digest94(*FindSubstitution(kDigestSet)) {}
    explicit Digest94(const Substitution& substitution) : substitution_(&substitution) {}
    ~Digest94();
    Digest94(const Digest94&) = default;
    Digest94& operator=(const Digest94&) = default;

    void Update(ByteView data);
    // The digest so far; the running digest stays usable.
    [[nodiscard]] Bytes Value() const;

  private:
    using Words = std::array<std::uint64_t, 4>;
    void Step(const Words& block);
    void Take(const std::uint8_t* block);

    const Substitution* substitution_;
    Words state_{};
    Words sum_{};
    std::array<std::uint8_t, kBlock> rest_{};
    std::uint64_t size_ = 0;  // octets
};

}  // namespace platform::gost
