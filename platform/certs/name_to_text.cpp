// Names as text.
#include "platform/certs/names.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/error.h"
#include "platform/base/text.h"
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

// Text that would not show as it is has none (cert-1).
std::optional<std::string> ReadText(const der::Item& value) {
    const auto characters = ReadNameCharacters(value);
    if (!characters || std::ranges::any_of(*characters, IsHidden)) {
        return std::nullopt;
    }
    try {
        return Narrow(*characters);
    } catch (const Error&) {
        return std::nullopt;
    }
}

bool NeedsQuotes(std::string_view text) {
    if (text.empty()) return false;
    return text.front() == ' ' || text.back() == ' ' ||
           text.find_first_of(",+=\"<>#;") != std::string_view::npos;
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
    // Octets alone are read back as an octet string, unless they are an element themselves.
    const bool bare = value.tag == der::kOctetString && !IsOneElement(value.contents);
    std::string digits = Hex(bare ? value.contents : value.whole);
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

}  // namespace

std::optional<std::wstring> ReadNameCharacters(const der::Item& value) {
    try {
        return ReadCharacters(value);
    } catch (const Error&) {
        return std::nullopt;
    }
}

std::string NameToText(ByteView name, DWORD type) {
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

}  // namespace platform
