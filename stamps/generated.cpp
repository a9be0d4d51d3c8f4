// Copies between value classes and the records of a context.
#include "stamps/generated.h"

#include <charconv>

#include "asn1/rtsrc/copy.h"
#include "stamps/wide_text.h"

namespace Ferroline::ASN1 {
namespace {

using asn1rt::ASN1Context;

// Steps over one arc and the point behind it; false for anything else.
bool TakeArc(std::string_view& text, std::uint32_t& arc) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), arc);
    if (error != std::errc{}) return false;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    if (text.empty()) return true;
    if (text[0] != '.' || text.size() == 1) return false;
    text.remove_prefix(1);
    return true;
}

// X.660: three first arcs, and forty second ones below the first two of them.
bool IsEncodable(const asn1rt::ASN1OBJID& oid) {
    if (oid.numids < 2 || oid.subid[0] > 2) return false;
    return oid.subid[0] == 2 || oid.subid[1] < 40;
}

// Of the records that are text and of those that are bytes with a length.
template <class Record>
void FillText(ASN1Context& context, Record& record, const std::string& text) {
    Record source;
    source.text = text.c_str();
    Check(Copy(context, source, record));
}

template <class Record>
void FillBytes(ASN1Context& context, Record& record, const CBlob& bytes) {
    Record source;
    source.numocts = bytes.GetSize();
    source.data = bytes.GetData();
    Check(Copy(context, source, record));
}

}  // namespace

void Check(int status) {
    if (status == asn1rt::ASN_E_NOMEM) Fail(CRYPT_E_ASN1_MEMORY);
    if (status < 0) Fail(CRYPT_E_ASN1_INTERNAL);
}

std::vector<CBlob> ReadElements(ASN1Context& context, asn1rt::ASN1TAG list) {
    std::vector<CBlob> elements;
    int length = 0;
    const int options = asn1rt::kScanSiblings | asn1rt::kStayBehindTag;
    if (xd_match(context, list, length, options) < 0) return elements;
    const asn1rt::ASN1Contents contents(context, length);
    while (!contents.AtEnd()) {
        asn1rt::ASN1OpenType element;
        Check(xd_open_type(context, element));
        Read(element, elements.emplace_back());
    }
    return elements;
}

void Fill(ASN1Context&, asn1rt::ASN1OBJID& record, std::string_view oid) {
    record.numids = 0;
    while (!oid.empty()) {
        if (record.numids == asn1rt::ASN_K_MAXSUBIDS) Fail(CRYPT_E_ASN1_INTERNAL);
        if (!TakeArc(oid, record.subid[record.numids++])) Fail(CRYPT_E_ASN1_INTERNAL);
    }
    if (!IsEncodable(record)) Fail(CRYPT_E_ASN1_INTERNAL);
}

std::string ReadOid(const asn1rt::ASN1OBJID& record) {
    std::string text;
    for (std::uint32_t at = 0; at < record.numids; ++at) {
        if (at != 0) text += '.';
        text += std::to_string(record.subid[at]);
    }
    return text;
}

void Fill(ASN1Context& context, asn1rt::ASN1DynOctStr& record, const CBlob& value) {
    FillBytes(context, record, value);
}

void Read(const asn1rt::ASN1DynOctStr& record, CBlob& value) {
    value = CBlob(record.data, record.numocts);
}

void Fill(ASN1Context& context, asn1rt::ASN1OpenType& record, const CBlob& value) {
    FillBytes(context, record, value);
}

void Read(const asn1rt::ASN1OpenType& record, CBlob& value) {
    value = CBlob(record.data, record.numocts);
}

void Fill(ASN1Context& context, asn1rt::ASN1BigInt& record, const CBigInteger& value) {
    FillText(context, record, value.IsEmpty() ? "0x00" : value.ToString());
}

void FillUnsigned(ASN1Context& context, asn1rt::ASN1BigInt& record, std::uint32_t value) {
    FillText(context, record, std::to_string(value));
}

void Read(const asn1rt::ASN1BigInt& record, CBigInteger& value) {
    if (record.text == nullptr) Fail(CRYPT_E_ASN1_INTERNAL);
    std::string_view text(record.text);
    // A single digit in front of the pairs is the codec's mark of a negative
    // value; taken for a digit of the value, it would make that positive.
    if (text.size() % 2 != 0 && text.size() > 3 && text.starts_with("0x0")) {
        value.FromString("0x" + std::string(text.substr(3)));
    } else {
        value.FromString(text);
    }
}

std::uint32_t ReadUnsigned(const asn1rt::ASN1BigInt& record) {
    CBigInteger value;
    Read(record, value);
    std::uint64_t number = 0;
    for (const std::uint8_t byte : value.Bytes()) {
        number = number << 8 | byte;
        if (number > UINT32_MAX) Fail(E_INVALIDARG);
    }
    if (!value.IsEmpty() && value.GetData()[0] > 0x7F) Fail(E_INVALIDARG);
    return static_cast<std::uint32_t>(number);
}

void Fill(ASN1Context& context, asn1rt::ASN1CharStr& record, std::wstring_view text) {
    const std::string narrow = ToAnsi(text);
    if (narrow.find('\0') != std::string::npos) Fail(CRYPT_E_ASN1_INTERNAL);
    FillText(context, record, narrow);
}

void Read(const asn1rt::ASN1CharStr& record, std::wstring& text) {
    text = FromAnsi(record.text == nullptr ? "" : record.text);
}

}  // namespace Ferroline::ASN1
