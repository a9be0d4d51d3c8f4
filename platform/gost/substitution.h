// The substitution blocks of GOST 28147-89 and GOST R 34.11-94, by the identifiers of
// RFC 4357 (11.2), RFC 7836 (C) and RFC 8891.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace platform::gost {

// Rows are K1 (the lowest four bits) to K8.
using SubstitutionBlock = std::array<std::array<std::uint8_t, 16>, 8>;

// A block made ready: what four bytes of a sum become, turned left by 11 bits.
struct Substitution {
    explicit Substitution(const SubstitutionBlock& block);
    [[nodiscard]] std::uint32_t operator()(std::uint32_t sum) const {
        return bytes[0][sum & 0xFF] ^ bytes[1][sum >> 8 & 0xFF] ^ bytes[2][sum >> 16 & 0xFF] ^
               bytes[3][sum >> 24];
    }

    std::array<std::array<std::uint32_t, 256>, 4> bytes;
    // The eight rows, for units that look up more than one sum at a time. The rows of high
    // halves stand shifted into their place.
    alignas(16) SubstitutionBlock rows;
};

// A parameter set of GOST 28147-89 ("1.2.643.2.2.31.x", "1.2.643.7.1.2.5.1.1") or of
// GOST R 34.11-94 ("1.2.643.2.2.30.x"); null when it is unknown. Made on first use and
// kept to the process's end.
const Substitution* FindSubstitution(std::string_view oid);

inline constexpr std::string_view kDigestSet = "1.2.643.2.2.30.1";
inline constexpr std::string_view kCipherSetA = "1.2.643.2.2.31.1";
// The one of GOST R 34.12-2015.
inline constexpr std::string_view kCipherSetZ = "1.2.643.7.1.2.5.1.1";

}  // namespace platform::gost
