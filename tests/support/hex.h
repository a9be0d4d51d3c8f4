// Octets to and from hexadecimal digits, on the C++ library alone.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace support {

// "30 03 02 01 05", blanks as one likes.
inline std::vector<std::uint8_t> FromHex(std::string_view digits) {
    std::vector<std::uint8_t> octets;
    std::string pair;
    for (const char digit : digits) {
        if (digit == ' ') continue;
        pair += digit;
        if (pair.size() < 2) continue;
        octets.push_back(static_cast<std::uint8_t>(std::stoul(pair, nullptr, 16)));
        pair.clear();
    }
    return octets;
}

// In capitals.
inline std::string ToHex(const void* data, std::size_t size, std::string_view between = {}) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    const auto* octets = static_cast<const std::uint8_t*>(data);
    std::string text;
    for (std::size_t i = 0; i < size; ++i) {
        if (i != 0) text += between;
        text += kDigits[octets[i] >> 4];
        text += kDigits[octets[i] & 15];
    }
    return text;
}

}  // namespace support
