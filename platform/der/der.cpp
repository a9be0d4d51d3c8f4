// Small DER values, written and read.
#include "platform/der/der.h"

#include <algorithm>

#include "platform/base/error.h"
#include "platform/der/ber_reader.h"

namespace platform::der {
namespace {

constexpr std::uint8_t kLongForm = 0x80;
constexpr std::uint8_t kMoreOctets = 0x80;

// Wide enough for the arcs under 2.25, which hold a whole UUID.
__extension__ using Arc = unsigned __int128;
constexpr Arc kArcLimit = ~Arc{0};

[[noreturn]] void Corrupt() { throw Error(CRYPT_E_ASN1_CORRUPT); }
[[noreturn]] void BadOidText() { throw Error(CRYPT_E_OID_FORMAT); }

std::size_t OctetsOf(std::size_t value) {
    std::size_t octets = 1;
    while (value >>= 8) ++octets;
    return octets;
}

// One arc of the text, without sign, blanks or leading zeros.
Arc TakeArc(std::string_view& text) {
    const std::size_t end = std::min(text.find('.'), text.size());
    if (end == 0 || (end > 1 && text[0] == '0')) BadOidText();
    Arc arc = 0;
    for (const char c : text.substr(0, end)) {
        if (c < '0' || c > '9') BadOidText();
        const auto digit = static_cast<unsigned>(c - '0');
        if (arc > kArcLimit / 10 || kArcLimit - arc * 10 < digit) BadOidText();
        arc = arc * 10 + digit;
    }
    text.remove_prefix(end);
    return arc;
}

bool TakeDot(std::string_view& text) {
    if (text.empty()) return false;
    text.remove_prefix(1);
    return true;
}

void AppendArc(Bytes& out, Arc arc) {
    unsigned shift = 0;
    while ((arc >> shift) > 0x7F) shift += 7;
    for (; shift > 0; shift -= 7) {
        out.push_back(static_cast<std::uint8_t>(kMoreOctets | (arc >> shift)));
    }
    out.push_back(static_cast<std::uint8_t>(arc & 0x7F));
}

// One sub-identifier. A leading 0x80 octet is forbidden by X.690 8.19.2.
Arc TakeSubidentifier(ByteView& rest) {
    if (rest[0] == kMoreOctets) Corrupt();
    Arc arc = 0;
    for (std::size_t i = 0; i < rest.size(); ++i) {
        if (arc > (kArcLimit >> 7)) Corrupt();
        arc = (arc << 7) | (rest[i] & 0x7F);
        if ((rest[i] & kMoreOctets) == 0) {
            rest = rest.subspan(i + 1);
            return arc;
        }
    }
    Corrupt();
}

void AppendDecimal(std::string& out, Arc arc) {
    std::string digits;
    do {
        digits += static_cast<char>('0' + static_cast<int>(arc % 10));
        arc /= 10;
    } while (arc != 0);
    out.append(digits.rbegin(), digits.rend());
}

}  // namespace

std::size_t HeaderSize(std::size_t length) { return length < kLongForm ? 2 : 2 + OctetsOf(length); }

void AppendHeader(Bytes& out, std::uint8_t tag, std::size_t length) {
    out.push_back(tag);
    if (length < kLongForm) {
        out.push_back(static_cast<std::uint8_t>(length));
        return;
    }
    const std::size_t octets = OctetsOf(length);
    out.push_back(static_cast<std::uint8_t>(kLongForm | octets));
    for (std::size_t i = octets; i-- > 0;) {
        out.push_back(static_cast<std::uint8_t>(length >> (8 * i)));
    }
}

void Append(Bytes& out, ByteView part) { out.insert(out.end(), part.begin(), part.end()); }

Bytes Element(std::uint8_t tag, ByteView contents) { return Element(tag, {contents}); }

Bytes Element(std::uint8_t tag, std::initializer_list<ByteView> parts) {
    std::size_t length = 0;
    for (const ByteView& part : parts) length += part.size();
    Bytes out;
    out.reserve(HeaderSize(length) + length);
    AppendHeader(out, tag, length);
    for (const ByteView& part : parts) Append(out, part);
    return out;
}

Bytes Integer(long value) {
    Bytes contents;
    // Octets from the low end until the rest is nothing but the sign of the last one.
    bool done = false;
    while (!done) {
        const auto octet = static_cast<std::uint8_t>(value & 0xFF);
        contents.push_back(octet);
        value >>= 8;
        done = value == ((octet & 0x80) != 0 ? -1 : 0);
    }
    std::reverse(contents.begin(), contents.end());
    return Element(kInteger, contents);
}

Bytes Oid(std::string_view dotted) {
    const Arc first = TakeArc(dotted);
    if (first > 2 || !TakeDot(dotted)) BadOidText();
    const Arc second = TakeArc(dotted);
    if (first < 2 ? second >= 40 : second > kArcLimit - 80) BadOidText();
    Bytes contents;
    contents.reserve(dotted.size());
    AppendArc(contents, first * 40 + second);
    while (TakeDot(dotted)) AppendArc(contents, TakeArc(dotted));
    return Element(kOid, contents);
}

std::string DottedOid(ByteView contents) {
    if (contents.empty()) Corrupt();
    const Arc head = TakeSubidentifier(contents);
    const Arc first = std::min(head / 40, Arc{2});
    std::string text;
    AppendDecimal(text, first);
    text += '.';
    AppendDecimal(text, head - first * 40);
    while (!contents.empty()) {
        text += '.';
        AppendDecimal(text, TakeSubidentifier(contents));
    }
    return text;
}

Item Cursor::Next() {
    const BerHeader header = HeaderOfElement(rest_);
    if (header.HighTagNumber()) Corrupt();
    const ByteView whole = rest_.first(header.size + static_cast<std::size_t>(header.length));
    rest_ = rest_.subspan(whole.size());
    return {header.First(), whole, whole.subspan(header.size)};
}

Item Cursor::Expect(std::uint8_t tag) {
    if (!AtEnd() && Peek() != tag) throw Error(CRYPT_E_ASN1_BADTAG);
    return Next();
}

long Cursor::SmallInteger() {
    const ByteView contents = Expect(kInteger).contents;
    if (contents.empty() || contents.size() > sizeof(long)) Corrupt();
    // Padding is forbidden in BER too (X.690 8.3.2).
    if (contents.size() > 1 && ((contents[0] == 0 && contents[1] < 0x80) ||
                                (contents[0] == 0xFF && contents[1] >= 0x80))) {
        Corrupt();
    }
    unsigned long value = contents[0] >= 0x80 ? ~0UL : 0UL;
    for (const std::uint8_t octet : contents) value = (value << 8) | octet;
    return static_cast<long>(value);
}

std::string Cursor::OidText() { return DottedOid(Expect(kOid).contents); }

void Cursor::ExpectEnd() const {
    if (!AtEnd()) Corrupt();
}

Cursor Inside(ByteView element, std::uint8_t tag) {
    Cursor cursor(element);
    const Item item = cursor.Expect(tag);
    cursor.ExpectEnd();
    return Cursor(item.contents);
}

}  // namespace platform::der
