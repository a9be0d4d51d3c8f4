// The values of settings as text and numbers.
#include <algorithm>

#include "platform/base/text.h"
#include "platform/registry/document.h"
#include "platform/registry/utf16.h"

namespace platform {

std::string TextOf(const RegistryValue& value) {
    std::string text;
    for (const wchar_t character : FromUtf16(value.data)) {
        if (character == 0) break;
        AppendUtf8(text, character);
    }
    return text;
}

std::optional<DWORD> NumberOf(const RegistryValue& value) {
    if (value.type != REG_DWORD || value.data.size() != sizeof(DWORD)) return std::nullopt;
    DWORD number = 0;
    for (std::size_t i = sizeof(DWORD); i-- > 0;) number = (number << 8) | value.data[i];
    return number;
}

RegistryValue TextValue(std::string name, std::string_view text) {
    std::wstring wide = Widen(text);
    wide += L'\0';
    return {std::move(name), REG_SZ, ToUtf16(wide)};
}

RegistryValue NumberValue(std::string name, DWORD number) {
    Bytes data;
    for (std::size_t i = 0; i < sizeof number; ++i) {
        data.push_back(static_cast<std::uint8_t>(number >> (8 * i)));
    }
    return {std::move(name), REG_DWORD, std::move(data)};
}

}  // namespace platform
