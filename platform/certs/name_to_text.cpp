// CertNameToStr: names as text.
#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/error.h"
#include "platform/base/text.h"
#include "platform/certs/compare.h"
#include "platform/certs/rdn_keys.h"
#include "platform/der/der.h"

namespace platform {
namespace {

constexpr DWORD kFormMask = 0xFFFF;

// ---- values --------------------------------------------------------------------

// Big-endian code units of `width` octets, surrogate pairs joined.
std::optional<std::wstring> ReadUnits(ByteView octets, std::size_t width) {
    if (octets.size() % width != 0) return std::nullopt;
    std::wstring text;
    for (std::size_t i = 0; i < octets.size(); i += width) {
        std::uint32_t unit = 0;
        for (std::size_t j = 0; j < width; ++j) unit = unit << 8 | octets[i + j];
        const bool low = unit >= 0xDC00 && unit <= 0xDFFF;
        if (width == 2 && low && !text.empty() && (text.back() & ~0x3FF) == 0xD800) {
            const auto high = static_cast<std::uint32_t>(text.back()) & 0x3FF;
            text.back() = static_cast<wchar_t>(0x10000 + (high << 10) + (unit & 0x3FF));
        } else if (unit > 0x10FFFF) {
            return std::nullopt;
        } else {
            text += static_cast<wchar_t>(unit);
        }
    }
    return text;
}

// Characters of a directory string by its tag; none for what is no string.
std::optional<std::wstring> ReadCharacters(const der::Item& value) {
    switch (value.tag) {
        case 0x0C:  // UTF8String
            return Widen(
                {reinterpret_cast<const char*>(value.contents.data()), value.contents.size()});
        case 0x12:  // NumericString
        case 0x13:  // PrintableString
        case 0x14:  // TeletexString, in practice Latin-1
        case 0x16:  // IA5String
        case 0x1A:  // VisibleString
        case 0x1B:  // GeneralString
            return ReadUnits(value.contents, 1);
        case 0x1C:  // UniversalString
            return ReadUnits(value.contents, 4);
        case 0x1E:  // BMPString
            return ReadUnits(value.contents, 2);
        default:
            return std::nullopt;
    }
}

// A zero character would end the text early and so hide what follows it.
std::optional<std::string> ReadText(const der::Item& value) {
    try {
        const auto characters = ReadCharacters(value);
        if (!characters || characters->find(L'\0') != std::wstring::npos) return std::nullopt;
        return Narrow(*characters);
    } catch (const Error&) {
        return std::nullopt;
    }
}

bool NeedsQuotes(std::string_view text) {
    if (text.empty()) return false;
    const auto blank = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    return blank(text.front()) || blank(text.back()) ||
           text.find_first_of(",+=\"\n<>#;") != std::string_view::npos;
}

std::string Quoted(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"') quoted += '"';
        quoted += c;
    }
    return quoted + '"';
}

std::string ValueText(const der::Item& value) {
    if (const auto text = ReadText(value)) return NeedsQuotes(*text) ? Quoted(*text) : *text;
    // An octet string is told by its octets, as they are written when read back.
    std::string digits = Hex(value.tag == der::kOctetString ? value.contents : value.whole);
    for (char& c : digits) {
        if (c >= 'a') c = static_cast<char>(c - 'a' + 'A');
    }
    return "#" + digits;
}

// ---- names ---------------------------------------------------------------------

std::string KeyText(const std::string& oid, DWORD form) {
    if (form == CERT_SIMPLE_NAME_STR) return {};
    if (form == CERT_OID_NAME_STR) return oid + "=";
    const RdnKey* key = RdnKeyByOid(oid);
    return (key == nullptr ? "OID." + oid : key->key) + "=";
}

std::string RelativeNameText(ByteView contents, DWORD form) {
    std::string text;
    der::Cursor attributes(contents);
    while (!attributes.AtEnd()) {
        der::Cursor attribute(attributes.Expect(der::kSequence).contents);
        if (!text.empty()) text += " + ";
        text += KeyText(attribute.OidText(), form);
        text += ValueText(attribute.Next());
        attribute.ExpectEnd();
    }
    return text;
}

std::string NameText(ByteView name, DWORD type) {
    const DWORD form = type & kFormMask;
    if (form < CERT_SIMPLE_NAME_STR || form > CERT_X500_NAME_STR) throw Error(E_INVALIDARG);
    der::Cursor whole(name);
    der::Cursor relativeNames(whole.Expect(der::kSequence).contents);
    whole.ExpectEnd();
    std::vector<std::string> parts;
    while (!relativeNames.AtEnd()) {
        parts.push_back(RelativeNameText(relativeNames.Expect(der::kSet).contents, form));
    }
    if ((type & CERT_NAME_STR_REVERSE_FLAG) != 0) std::reverse(parts.begin(), parts.end());
    std::string text;
    for (const std::string& part : parts) text.append(text.empty() ? "" : ", ").append(part);
    return text;
}

// A name that cannot be read has an empty text.
std::string TextOf(const CERT_NAME_BLOB* name, DWORD type) {
    return Guarded<std::string>(std::string(), [&] {
        if (name == nullptr) throw Error(E_INVALIDARG);
        return NameText(ViewOf(*name), type);
    });
}

// The most of `text` that leaves room for a terminator, whole characters only.
std::size_t FittingLength(const std::string& text, std::size_t capacity) {
    if (text.size() < capacity) return text.size();
    std::size_t length = capacity - 1;
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) --length;
    return length;
}

std::size_t FittingLength(const std::wstring& text, std::size_t capacity) {
    return std::min(text.size(), capacity - 1);
}

// A text too long for the buffer is cut, with a terminator in every case.
template <class Text>
DWORD CopyNameOut(const Text& text, typename Text::value_type* out, DWORD capacity) {
    if (out == nullptr || capacity == 0) return static_cast<DWORD>(text.size() + 1);
    const std::size_t length = FittingLength(text, capacity);
    text.copy(out, length);
    out[length] = 0;
    return static_cast<DWORD>(length + 1);
}

}  // namespace
}  // namespace platform

using namespace platform;

DWORD WINAPI CertNameToStrA(DWORD, PCERT_NAME_BLOB name, DWORD type, LPSTR text, DWORD size) {
    return Guarded<DWORD>(1, [&] { return CopyNameOut(TextOf(name, type), text, size); });
}

DWORD WINAPI CertNameToStrW(DWORD, PCERT_NAME_BLOB name, DWORD type, LPWSTR text, DWORD size) {
    return Guarded<DWORD>(1, [&] { return CopyNameOut(Widen(TextOf(name, type)), text, size); });
}
