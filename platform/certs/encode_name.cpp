// Names as records of their attributes.
#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "platform/base/error.h"
#include "platform/base/output.h"
#include "platform/base/text.h"
#include "platform/certs/encode.h"
#include "platform/certs/names.h"
#include "platform/der/values.h"

namespace platform {
namespace {

constexpr std::uint8_t kUniversalString = 0x1C;

struct ValueType {
    DWORD type;
    std::uint8_t tag;
    bool wide;                            // the record holds characters, not the octets
    bool (*allowed)(std::uint8_t octet);  // null: any
    LONG error;
};

bool IsDigitOrBlank(std::uint8_t c) { return (c >= '0' && c <= '9') || c == ' '; }
bool IsIa5(std::uint8_t c) { return c < 0x80; }

// X.680, table 8.
const ValueType kTypes[] = {
    {CERT_RDN_OCTET_STRING, der::kOctetString, false, nullptr, 0},
    {CERT_RDN_NUMERIC_STRING, 0x12, false, IsDigitOrBlank, CRYPT_E_INVALID_NUMERIC_STRING},
    {CERT_RDN_PRINTABLE_STRING, 0x13, false, IsPrintableOctet, CRYPT_E_INVALID_PRINTABLE_STRING},
    {CERT_RDN_TELETEX_STRING, 0x14, false, nullptr, 0},
    {CERT_RDN_VIDEOTEX_STRING, 0x15, false, nullptr, 0},
    {CERT_RDN_IA5_STRING, 0x16, false, IsIa5, CRYPT_E_INVALID_IA5_STRING},
    {CERT_RDN_GRAPHIC_STRING, 0x19, false, nullptr, 0},
    {CERT_RDN_VISIBLE_STRING, 0x1A, false, nullptr, 0},
    {CERT_RDN_GENERAL_STRING, 0x1B, false, nullptr, 0},
    {CERT_RDN_UNIVERSAL_STRING, kUniversalString, false, nullptr, 0},
    {CERT_RDN_UNICODE_STRING, 0x1E, true, nullptr, 0},
    {CERT_RDN_UTF8_STRING, 0x0C, true, nullptr, 0},
};

// ---- encoding ------------------------------------------------------------------

// UTF-16 with the more significant octet first (X.690 8.23.8).
Bytes BigEndianUnits(std::wstring_view text) {
    Bytes octets;
    const auto put = [&](std::uint32_t unit) {
        octets.push_back(static_cast<std::uint8_t>(unit >> 8));
        octets.push_back(static_cast<std::uint8_t>(unit));
    };
    for (const wchar_t c : text) {
        const auto point = static_cast<std::uint32_t>(c);
        if (point > 0x10FFFF) throw Error(CRYPT_E_BAD_ENCODE);
        if (point > 0xFFFF) put(0xD800 + ((point - 0x10000) >> 10));
        put(point > 0xFFFF ? 0xDC00 + ((point - 0x10000) & 0x3FF) : point);
    }
    return octets;
}

Bytes ContentsOf(const ValueType& type, ByteView value) {
    if (type.wide) {
        if (value.size() % sizeof(WCHAR) != 0) throw Error(CRYPT_E_BAD_ENCODE);
        std::wstring text(value.size() / sizeof(WCHAR), L'\0');
        std::copy(value.begin(), value.end(), reinterpret_cast<std::uint8_t*>(text.data()));
        return type.type == CERT_RDN_UTF8_STRING ? Copy(ViewOf(Narrow(text)))
                                                 : BigEndianUnits(text);
    }
    Bytes octets = Copy(value);
    if (type.tag != kUniversalString) return octets;
    if (octets.size() % 4 != 0) throw Error(CRYPT_E_BAD_ENCODE);
    for (auto at = octets.begin(); at != octets.end(); at += 4) std::reverse(at, at + 4);
    return octets;
}

Bytes EncodeValue(const CERT_RDN_ATTR& attribute) {
    const ByteView value = Whole(attribute.Value);
    if (attribute.dwValueType == CERT_RDN_ENCODED_BLOB) return Copy(value);
    const auto* const type = std::find_if(std::begin(kTypes), std::end(kTypes), [&](const auto& t) {
        return t.type == attribute.dwValueType;
    });
    if (type == std::end(kTypes)) throw Error(E_INVALIDARG);
    if (type->allowed != nullptr && !std::all_of(value.begin(), value.end(), type->allowed)) {
        throw Error(type->error);
    }
    return der::Element(type->tag, ContentsOf(*type, value));
}

Bytes EncodeRelativeName(const CERT_RDN& record) {
    if (record.cRDNAttr != 0 && record.rgRDNAttr == nullptr) throw Error(CRYPT_E_BAD_ENCODE);
    std::vector<Bytes> attributes;
    for (DWORD i = 0; i < record.cRDNAttr; ++i) {
        const CERT_RDN_ATTR& attribute = record.rgRDNAttr[i];
        if (attribute.pszObjId == nullptr) throw Error(CRYPT_E_BAD_ENCODE);
        attributes.push_back(
            der::Element(der::kSequence, {der::Oid(attribute.pszObjId), EncodeValue(attribute)}));
    }
    return EncodeSetOf(der::kSet, std::move(attributes));
}

// ---- decoding ------------------------------------------------------------------

struct Attribute {
    std::string oid;
    DWORD type;
    Bytes value;
};
using RelativeName = std::vector<Attribute>;

// What has no type of its own, or is no text of it, is told whole.
Attribute ReadAttribute(der::Cursor cursor) {
    Attribute attribute{cursor.OidText(), CERT_RDN_ENCODED_BLOB, {}};
    const der::Item item = cursor.Next();
    cursor.ExpectEnd();
    attribute.value = Copy(item.whole);
    const auto* const type = std::find_if(std::begin(kTypes), std::end(kTypes),
                                          [&](const auto& t) { return t.tag == item.tag; });
    if (type == std::end(kTypes)) return attribute;
    if (type->wide) {
        const auto text = ReadNameCharacters(item);
        if (!text) return attribute;
        attribute.value = Copy(ViewOf(text->data(), text->size() * sizeof(WCHAR)));
    } else if (type->tag == kUniversalString) {
        if (item.contents.size() % 4 != 0) return attribute;
        attribute.value = ContentsOf(*type, item.contents);
    } else {
        attribute.value = Copy(item.contents);
    }
    attribute.type = type->type;
    return attribute;
}

std::vector<RelativeName> ReadName(ByteView encoded) {
    std::vector<RelativeName> names;
    der::Cursor list = der::Inside(encoded, der::kSequence);
    while (!list.AtEnd()) {
        RelativeName& name = names.emplace_back();
        der::Cursor attributes(list.Expect(der::kSet).contents);
        while (!attributes.AtEnd()) {
            name.push_back(ReadAttribute(der::Cursor(attributes.Expect(der::kSequence).contents)));
        }
    }
    return names;
}

void Lay(Packer& packer, const RelativeName& name, CERT_RDN& record) {
    record.cRDNAttr = static_cast<DWORD>(name.size());
    record.rgRDNAttr = packer.Array<CERT_RDN_ATTR>(name.size());
    for (std::size_t i = 0; i < name.size(); ++i) {
        record.rgRDNAttr[i].pszObjId = packer.Text(name[i].oid);
        record.rgRDNAttr[i].dwValueType = name[i].type;
        record.rgRDNAttr[i].Value = packer.Blob(name[i].value);
    }
}

}  // namespace

Bytes EncodeNameRecord(const void* value) {
    const auto& record = *static_cast<const CERT_NAME_INFO*>(value);
    if (record.cRDN != 0 && record.rgRDN == nullptr) throw Error(CRYPT_E_BAD_ENCODE);
    std::vector<Bytes> names;
    for (DWORD i = 0; i < record.cRDN; ++i) names.push_back(EncodeRelativeName(record.rgRDN[i]));
    return Concatenate(der::kSequence, names);
}

void DecodeNameRecord(ByteView encoded, DWORD, void* value, DWORD* size) {
    const std::vector<RelativeName> names = ReadName(encoded);
    PackOut(
        [&](Packer& packer) {
            auto* record = packer.One<CERT_NAME_INFO>();
            record->cRDN = static_cast<DWORD>(names.size());
            record->rgRDN = packer.Array<CERT_RDN>(names.size());
            for (std::size_t i = 0; i < names.size(); ++i) {
                Lay(packer, names[i], record->rgRDN[i]);
            }
        },
        value, size);
}

}  // namespace platform
