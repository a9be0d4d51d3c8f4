// Text in UTF-16, as settings hold it.
#include "platform/registry/utf16.h"

#include <optional>

namespace platform {
namespace {

constexpr std::uint32_t kFirstSupplementary = 0x10000;

std::optional<std::uint32_t> UnitAt(ByteView bytes, std::size_t at) {
    if (at + 2 > bytes.size()) return std::nullopt;
    return static_cast<std::uint32_t>(bytes[at] | (bytes[at + 1] << 8));
}

bool IsHigh(std::uint32_t unit) { return (unit & 0xFC00) == 0xD800; }
bool IsLow(std::uint32_t unit) { return (unit & 0xFC00) == 0xDC00; }

void PutUnit(Bytes& bytes, std::uint32_t unit) {
    bytes.push_back(static_cast<std::uint8_t>(unit));
    bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
}

}  // namespace

std::wstring FromUtf16(ByteView bytes) {
    std::wstring text;
    for (std::size_t at = 0; const auto unit = UnitAt(bytes, at); at += 2) {
        const auto next = UnitAt(bytes, at + 2);
        if (IsHigh(*unit) && next && IsLow(*next)) {
            text += static_cast<wchar_t>(kFirstSupplementary + ((*unit & 0x3FF) << 10) +
                                         (*next & 0x3FF));
            at += 2;
        } else {
            text += static_cast<wchar_t>(*unit);
        }
    }
    return text;
}

Bytes ToUtf16(std::wstring_view text) {
    Bytes bytes;
    for (const wchar_t character : text) {
        const auto point = static_cast<std::uint32_t>(character);
        if (point < kFirstSupplementary) {
            PutUnit(bytes, point);
        } else {
            PutUnit(bytes, 0xD800 | ((point - kFirstSupplementary) >> 10));
            PutUnit(bytes, 0xDC00 | ((point - kFirstSupplementary) & 0x3FF));
        }
    }
    return bytes;
}

}  // namespace platform
