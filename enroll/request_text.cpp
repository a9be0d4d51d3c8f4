// Texts of forms, requests and pages.
#include "enroll/request_text.h"

#include "enroll/page_reader.h"
#include "messages/files/any_text.h"
#include "messages/files/base64.h"
#include "selection/names.h"

namespace kestrel {

namespace {

constexpr UINT kPageCodePage = 1251;

bool StaysInForm(unsigned char byte) {
    return (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
           (byte >= 'a' && byte <= 'z') || byte == '_';
}

}  // namespace

std::string EncodeFormValue(std::string_view value) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string encoded;
    encoded.reserve(3 * value.size());
    for (const char character : value) {
        const auto byte = static_cast<unsigned char>(character);
        if (StaysInForm(byte)) {
            encoded += character;
        } else if (byte == ' ') {
            encoded += '+';
        } else {
            encoded += {'%', kDigits[byte >> 4], kDigits[byte & 0xF]};
        }
    }
    return encoded;
}

std::string ArmourRequest(std::string_view text) {
    std::string armoured(kRequestArmourBegin);
    armoured += text;
    armoured += kRequestArmourEnd;
    return armoured;
}

std::string BareRequest(std::string_view text) {
    return Without(Without(Without(text, kRequestArmourBegin), kRequestArmourEnd), "\r\n");
}

std::string EncodeBytes(const Octets& bytes) {
    const auto size = static_cast<DWORD>(bytes.size());
    DWORD length = Base64Lines76Capacity(size);
    std::string text(length, '\0');
    EncodeBase64Lines76(bytes.data(), size, text.data(), &length);
    text.resize(length);
    return text;
}

HRESULT DecodeText(std::string_view text, Octets& bytes) {
    const auto* const data = reinterpret_cast<const BYTE*>(text.data());
    const auto length = static_cast<DWORD>(text.size());
    DWORD size = 0;
    HRESULT result = DecodeAnyText(data, length, nullptr, &size);
    if (FAILED(result)) return result;
    bytes.resize(size);
    result = DecodeAnyText(data, length, bytes.data(), &size);
    bytes.resize(SUCCEEDED(result) ? size : 0);
    return result;
}

std::wstring WideOfPage(std::string_view text) {
    const auto length = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0');
    if (length != 0) {
        MultiByteToWideChar(kPageCodePage, 0, text.data(), length, wide.data(), length);
    }
    return wide;
}

std::string NarrowOfPage(std::string_view text) {
    std::string narrow;
    return Narrow(ComText(WideOfPage(text)), narrow) ? narrow : std::string();
}

bool PageOfNarrow(std::string_view text, std::string& page) {
    std::wstring wide;
    if (!WideName(std::string(text).c_str(), wide)) return false;
    page.assign(wide.size(), '\0');
    if (wide.empty()) return true;
    const auto length = static_cast<int>(wide.size());
    BOOL missed = FALSE;
    const int written = WideCharToMultiByte(kPageCodePage, 0, wide.data(), length, page.data(),
                                            length, nullptr, &missed);
    if (written == length && !missed) return true;
    SetLastError(ERROR_NO_UNICODE_TRANSLATION);
    return false;
}

HRESULT HandOut(std::wstring_view text, BSTR* out) {
    *out = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    return *out != nullptr ? S_OK : E_OUTOFMEMORY;
}

}  // namespace kestrel
