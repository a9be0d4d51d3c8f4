// Between narrow text, wide text and the characters of encoded strings.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace Ferroline {

// The system's ANSI code page.
[[nodiscard]] std::wstring FromAnsi(std::string_view text);
[[nodiscard]] std::string ToAnsi(std::wstring_view text);
// What is not well formed becomes U+FFFD.
[[nodiscard]] std::wstring FromUtf8(std::string_view text);

// From 16-bit characters, which may be surrogate pairs, and from code points, for a wchar_t
// of either size.
[[nodiscard]] std::wstring FromUtf16(std::span<const std::uint16_t> text);
[[nodiscard]] std::wstring FromUtf32(std::span<const std::uint32_t> text);

}  // namespace Ferroline
