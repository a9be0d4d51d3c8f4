// Text or binary, and text in any code page.
#include "messages/files/any_text.h"

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "messages/files/base64.h"

namespace kestrel {
namespace {

constexpr HRESULT kTooShort = static_cast<HRESULT>(0x800700EA);

enum class ByteOrder { Little, Big };

bool StartsText(BYTE byte) { return byte == 'M' || byte == '-'; }

std::string_view AsText(const BYTE* data, DWORD length) {
    return {reinterpret_cast<const char*>(data), length};
}

// The part between the second run of dashes and the third.
bool FindArmourBody(std::string_view text, std::string_view& body) {
    std::size_t at = text.find_first_not_of('-');
    if (at != std::string_view::npos) at = text.find('-', at);
    if (at != std::string_view::npos) at = text.find_first_not_of('-', at);
    if (at == std::string_view::npos) return false;
    const std::size_t end = text.find('-', at);
    if (end == std::string_view::npos) return false;
    body = text.substr(at, end - at);
    return true;
}

HRESULT DecodeNarrow(std::string_view text, BYTE* destination, DWORD* destinationLength) {
    if (!text.empty() && text.front() == '-' && !FindArmourBody(text, text)) return E_FAIL;
    const DWORD capacity = *destinationLength;
    const bool decoded = DecodeBase64Text(text.data(), static_cast<DWORD>(text.size()), destination,
                                          destinationLength);
    if (decoded || destination == nullptr) return S_OK;
    return *destinationLength > capacity ? kTooShort : E_FAIL;
}

std::vector<WCHAR> ReadUnits(const BYTE* data, DWORD count, ByteOrder order) {
    std::vector<WCHAR> units(count);
    const std::size_t low = order == ByteOrder::Little ? 0 : 1;
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned unit = data[2 * i + low] | static_cast<unsigned>(data[2 * i + 1 - low]) << 8;
        units[i] = static_cast<WCHAR>(unit);
    }
    return units;
}

HRESULT LastErrorResult() { return static_cast<HRESULT>((GetLastError() & 0xFFFF) | 0x80070000); }

HRESULT DecodeWide(const BYTE* data, DWORD length, ByteOrder order, BYTE* destination,
                   DWORD* destinationLength) {
    if (order == ByteOrder::Big && length % 2 != 0) return E_INVALIDARG;
    const int count = static_cast<int>(length / 2);
    std::string text;
    if (count > 0) {
        const std::vector<WCHAR> units = ReadUnits(data, length / 2, order);
        const int size =
            WideCharToMultiByte(CP_ACP, 0, units.data(), count, nullptr, 0, nullptr, nullptr);
        text.resize(static_cast<std::size_t>(size));
        if (size == 0 || WideCharToMultiByte(CP_ACP, 0, units.data(), count, text.data(), size,
                                             nullptr, nullptr) == 0) {
            return LastErrorResult();
        }
    }
    return DecodeNarrow(text, destination, destinationLength);
}

HRESULT CopyBinary(const BYTE* data, DWORD length, BYTE* destination, DWORD* destinationLength) {
    const DWORD capacity = *destinationLength;
    *destinationLength = length;
    if (destination == nullptr) return S_OK;
    if (capacity < length) return kTooShort;
    if (length > 0) std::memmove(destination, data, length);
    return S_OK;
}

}  // namespace

HRESULT DecodeAnyText(const BYTE* data, DWORD length, BYTE* destination, DWORD* destinationLength) {
    if (destinationLength == nullptr) return E_INVALIDARG;
    const auto wide = [&](DWORD skip, ByteOrder order) {
        return DecodeWide(data + skip, length - skip, order, destination, destinationLength);
    };
    if (length > 1 && StartsText(data[0]) && data[1] == 0) return wide(0, ByteOrder::Little);
    if (length > 1 && StartsText(data[1]) && data[0] == 0) return wide(0, ByteOrder::Big);
    if (length > 0 && StartsText(data[0])) {
        return DecodeNarrow(AsText(data, length), destination, destinationLength);
    }
    if (length >= 4 && data[0] == 0xEF && data[1] == 0xBB && data[2] == 0xBF) {
        return DecodeNarrow(AsText(data + 3, length - 3), destination, destinationLength);
    }
    if (length > 2 && data[0] == 0xFF && data[1] == 0xFE) return wide(2, ByteOrder::Little);
    if (length > 2 && data[0] == 0xFE && data[1] == 0xFF) return wide(2, ByteOrder::Big);
    return CopyBinary(data, length, destination, destinationLength);
}

}  // namespace kestrel
