// The provider record of a key, written and read.
#include "platform/certs/key_provider_info.h"

#include <array>
#include <charconv>
#include <cwchar>

#include "platform/base/error.h"
#include "platform/base/output.h"
#include "platform/base/text.h"

namespace platform {
namespace {

// The record as stores keep it: one "name=value" line a field, in this order.
constexpr std::array<std::string_view, 5> kNames = {"container", "provider", "type", "flags",
                                                    "keyspec"};

std::string TakeLine(std::string_view& text, std::string_view name) {
    const std::size_t end = text.find('\n');
    if (end == std::string_view::npos || !text.starts_with(name) || end <= name.size() ||
        text[name.size()] != '=') {
        throw Error(NTE_BAD_DATA);
    }
    std::string value(text.substr(name.size() + 1, end - name.size() - 1));
    text.remove_prefix(end + 1);
    return value;
}

DWORD ToNumber(const std::string& digits) {
    DWORD number = 0;
    const char* end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, number);
    if (error != std::errc() || stop != end) throw Error(NTE_BAD_DATA);
    return number;
}

LPWSTR LayText(Packer& packer, std::string_view text) {
    const std::wstring wide = Widen(text);
    auto* copy = packer.Array<WCHAR>(wide.size() + 1);
    wide.copy(copy, wide.size());
    return copy;
}

}  // namespace

Bytes Serialize(const KeyProviderInfo& info) {
    const std::array<std::string, 5> values = {
        info.container, info.provider, std::to_string(info.type), std::to_string(info.flags),
        std::to_string(info.keySpec)};
    std::string text;
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (values[i].find('\n') != std::string::npos) throw Error(E_INVALIDARG);
        text.append(kNames[i]).append("=").append(values[i]).append("\n");
    }
    return Copy(ViewOf(text));
}

KeyProviderInfo ParseKeyProviderInfo(ByteView value) {
    std::string_view text(reinterpret_cast<const char*>(value.data()), value.size());
    KeyProviderInfo info;
    info.container = TakeLine(text, kNames[0]);
    info.provider = TakeLine(text, kNames[1]);
    info.type = ToNumber(TakeLine(text, kNames[2]));
    info.flags = ToNumber(TakeLine(text, kNames[3]));
    info.keySpec = ToNumber(TakeLine(text, kNames[4]));
    if (!text.empty()) throw Error(NTE_BAD_DATA);
    return info;
}

KeyProviderInfo FromPublic(const CRYPT_KEY_PROV_INFO& info) {
    const auto narrow = [](LPCWSTR text) { return text == nullptr ? std::string() : Narrow(text); };
    return {narrow(info.pwszContainerName), narrow(info.pwszProvName), info.dwProvType,
            info.dwFlags, info.dwKeySpec};
}

void CopyPublicOut(const KeyProviderInfo& info, void* buffer, DWORD* size) {
    PackOut(
        [&](Packer& packer) {
            auto* record = packer.One<CRYPT_KEY_PROV_INFO>();
            record->pwszContainerName = LayText(packer, info.container);
            // No name means the default provider of the type, and is told by null.
            if (!info.provider.empty()) record->pwszProvName = LayText(packer, info.provider);
            record->dwProvType = info.type;
            record->dwFlags = info.flags;
            record->dwKeySpec = info.keySpec;
        },
        buffer, size);
}

}  // namespace platform
