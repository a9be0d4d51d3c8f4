// Narrow text, wide text and encoded characters, one to the other.
#include "stamps/wide_text.h"

#include "stamps/failure.h"

namespace Ferroline {
namespace {

std::wstring Widen(UINT codePage, std::string_view text) {
    if (text.empty()) return {};
    const int length = static_cast<int>(text.size());
    const int count = MultiByteToWideChar(codePage, 0, text.data(), length, nullptr, 0);
    if (count <= 0) ATL::ThrowLastError();
    std::wstring wide(static_cast<std::size_t>(count), L'\0');
    if (MultiByteToWideChar(codePage, 0, text.data(), length, wide.data(), count) != count) {
        ATL::ThrowLastError();
    }
    return wide;
}

constexpr bool IsHigh(std::uint16_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
constexpr bool IsLow(std::uint16_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

void Append(std::wstring& text, char32_t character) {
    if constexpr (sizeof(wchar_t) == 2) {
        if (character > 0xFFFF) {
            text += static_cast<wchar_t>(0xD7C0 + (character >> 10));
            text += static_cast<wchar_t>(0xDC00 + (character & 0x3FF));
            return;
        }
    }
    text += static_cast<wchar_t>(character);
}

}  // namespace

std::wstring FromAnsi(std::string_view text) { return Widen(CP_ACP, text); }

std::wstring FromUtf8(std::string_view text) { return Widen(CP_UTF8, text); }

std::string ToAnsi(std::wstring_view text) {
    if (text.empty()) return {};
    const int length = static_cast<int>(text.size());
    const int count =
        WideCharToMultiByte(CP_ACP, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    if (count <= 0) ATL::ThrowLastError();
    std::string narrow(static_cast<std::size_t>(count), '\0');
    if (WideCharToMultiByte(CP_ACP, 0, text.data(), length, narrow.data(), count, nullptr,
                            nullptr) != count) {
        ATL::ThrowLastError();
    }
    return narrow;
}

std::wstring FromUtf16(std::span<const std::uint16_t> text) {
    std::wstring wide;
    wide.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        char32_t character = text[at];
        if (IsHigh(text[at]) && at + 1 < text.size() && IsLow(text[at + 1])) {
            character = 0x10000 + ((character & 0x3FF) << 10) + (text[++at] & 0x3FFU);
        }
        Append(wide, character);
    }
    return wide;
}

std::wstring FromUtf32(std::span<const std::uint32_t> text) {
    std::wstring wide;
    wide.reserve(text.size());
    for (const std::uint32_t character : text)
        Append(wide, character <= 0x10FFFF ? character : 0xFFFD);
    return wide;
}

}  // namespace Ferroline
