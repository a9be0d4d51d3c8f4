// Names (X.501) as text.
#include "stamps/name_text.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "asn1data/PKIX1Explicit88.h"
#include "stamps/generated.h"
#include "stamps/wide_text.h"

namespace Ferroline::ASN1 {
namespace {

struct ShortName {
    std::string_view oid;
    std::wstring_view text;
};

constexpr ShortName kShortNames[] = {
    {"2.5.4.3", L"CN"},
    {"2.5.4.6", L"C"},
    {"2.5.4.7", L"L"},
    {"2.5.4.8", L"ST"},
    {"1.2.840.113549.1.9.1", L"E"},
    {"2.5.4.10", L"O"},
    {"2.5.4.11", L"OU"},
    {"2.5.4.12", L"T"},
    {"2.5.4.42", L"GN"},
    {"2.5.4.43", L"I"},
    {"2.5.4.4", L"SN"},
    {"2.5.4.65", L"PS"},
    {"0.9.2342.19200300.100.1.25", L"DC"},
};

// Universal tags of character strings (X.680, 8.4).
enum : std::uint8_t {
    kUtf8String = 12,
    kPrintableString = 19,
    kTeletexString = 20,
    kIA5String = 22,
    kUniversalString = 28,
    kBmpString = 30,
};

std::wstring ReadText(asn1rt::ASN1Context& context, std::uint8_t tag) {
    asn1rt::ASN1CharStr value;
    Check(xd_charstr(context, value, asn1rt::kExplicit, tag, 0));
    return tag == kUtf8String ? FromUtf8(value.text) : FromAnsi(value.text);
}

std::wstring ReadUniversal(asn1rt::ASN1Context& context) {
    asn1rt::ASN132BitCharStr value;
    Check(xd_32BitCharStr(context, value, asn1rt::kExplicit, kUniversalString, 0));
    return FromUtf32({value.data, value.nchars});
}

std::wstring ReadBmp(asn1rt::ASN1Context& context) {
    asn1rt::ASN116BitCharStr value;
    Check(xd_16BitCharStr(context, value, asn1rt::kExplicit, kBmpString, 0));
    return FromUtf16({value.data, value.nchars});
}

std::wstring ReadString(const asn1rt::ASN1OpenType& encoded) {
    asn1rt::ASN1BERDecodeBuffer buffer(encoded.data, encoded.numocts);
    asn1rt::ASN1Context& context = *buffer.getContextPtr();
    // The whole first byte: a constructed string is none of these.
    const std::uint8_t tag = encoded.numocts == 0 ? std::uint8_t{0} : encoded.data[0];
    switch (tag) {
        case kUtf8String:
        case kPrintableString:
        case kTeletexString:
        case kIA5String:
            return ReadText(context, tag);
        case kUniversalString:
            return ReadUniversal(context);
        case kBmpString:
            return ReadBmp(context);
        default:
            Fail(CRYPT_E_ASN1_INTERNAL);
    }
}

std::wstring AttributeText(const asn1data::AttributeTypeAndValue& attribute) {
    const std::string oid = ReadOid(attribute.type);
    const auto* const known =
        std::ranges::find(kShortNames, std::string_view(oid), &ShortName::oid);
    if (known != std::end(kShortNames)) {
        return std::wstring(known->text) + L"=" + ReadString(attribute.value);
    }
    CBlob value;
    Read(attribute.value, value);
    return FromAnsi(oid + "=#" + value.ToHex());
}

std::wstring RdnText(const asn1data::RelativeDistinguishedName& rdn) {
    std::wstring text;
    for (const asn1data::AttributeTypeAndValue& attribute : rdn) {
        if (!text.empty()) text += L'+';
        text += AttributeText(attribute);
    }
    return text;
}

std::wstring Text(const asn1data::Name& name) {
    std::wstring text;
    const wchar_t* separator = L"";
    for (const asn1data::RelativeDistinguishedName& rdn : *name.u.rdnSequence) {
        text += separator + RdnText(rdn);
        separator = L",";
    }
    return text;
}

}  // namespace

std::wstring NameToText(const CBlob& encoded) {
    return Guarded([&] {
        Decoded<asn1data::ASN1C_Name, asn1data::Name> name(encoded.Bytes());
        return Text(*name);
    });
}

}  // namespace Ferroline::ASN1
