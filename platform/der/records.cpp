// Algorithms, keys, extensions and times, read from DER and laid out as records.
#include "platform/der/records.h"

#include <algorithm>
#include <chrono>

#include "platform/base/error.h"
#include "platform/base/text.h"

namespace platform {
namespace {

[[noreturn]] void Corrupt() { throw Error(CRYPT_E_ASN1_CORRUPT); }

// The text of a time, taken from the front.
class TimeText {
  public:
    explicit TimeText(ByteView contents)
        : text_(reinterpret_cast<const char*>(contents.data()), contents.size()) {}

    [[nodiscard]] bool AtDigit() const { return !text_.empty() && IsDigit(text_[0]); }
    int Number(int digits) {
        int value = 0;
        for (int i = 0; i < digits; ++i) {
            if (!AtDigit()) Corrupt();
            value = value * 10 + (text_[0] - '0');
            text_.remove_prefix(1);
        }
        return value;
    }
    void SkipFraction() {
        if (text_.empty() || (text_[0] != '.' && text_[0] != ',')) return;
        text_.remove_prefix(1);
        if (!AtDigit()) Corrupt();
        while (AtDigit()) text_.remove_prefix(1);
    }
    // "Z", or the way of the local clock from UTC.
    std::chrono::minutes Zone() {
        if (text_.empty()) Corrupt();
        const char sign = text_[0];
        text_.remove_prefix(1);
        std::chrono::minutes offset{0};
        if (sign == '+' || sign == '-') {
            offset = std::chrono::hours(Number(2));
            offset += std::chrono::minutes(Number(2));
        } else if (sign != 'Z') {
            Corrupt();
        }
        if (!text_.empty()) Corrupt();
        return sign == '-' ? -offset : offset;
    }

  private:
    std::string_view text_;
};

int ReadYear(TimeText& text, bool fourDigits) {
    if (fourDigits) return text.Number(4);
    const int year = text.Number(2);
    return year < 50 ? 2000 + year : 1900 + year;  // RFC 5280 4.1.2.5.1
}

FILETIME ToFileTime(std::chrono::sys_seconds time) {
    const std::chrono::sys_days first =
        std::chrono::year(1601) / std::chrono::January / std::chrono::day(1);
    const auto seconds = std::max<std::int64_t>((time - first).count(), 0);
    const std::uint64_t ticks = static_cast<std::uint64_t>(seconds) * 10'000'000;
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

}  // namespace

AlgorithmView ReadAlgorithm(der::Cursor& cursor) {
    der::Cursor fields(cursor.Expect(der::kSequence).contents);
    AlgorithmView view;
    view.oid = fields.OidText();
    if (!fields.AtEnd()) view.parameters = fields.Next().whole;
    fields.ExpectEnd();
    return view;
}

PublicKeyView ReadPublicKey(der::Cursor& cursor) {
    der::Cursor fields(cursor.Expect(der::kSequence).contents);
    PublicKeyView view;
    view.algorithm = ReadAlgorithm(fields);
    view.key = ReadBits(fields.Expect(der::kBitString).contents);
    fields.ExpectEnd();
    return view;
}

BitsView ReadBits(ByteView contents) {
    if (contents.empty() || contents[0] > 7) Corrupt();
    if (contents.size() == 1 && contents[0] != 0) Corrupt();
    return {contents.subspan(1), contents[0]};
}

void RequireName(ByteView name) {
    der::Cursor sets = der::Inside(name, der::kSequence);
    while (!sets.AtEnd()) {
        der::Cursor attributes(sets.Expect(der::kSet).contents);
        while (!attributes.AtEnd()) {
            der::Cursor attribute(attributes.Expect(der::kSequence).contents);
            attribute.OidText();
            attribute.Next();
            attribute.ExpectEnd();
        }
    }
}

Bytes UsedBits(const BitsView& bits) {
    Bytes octets = Copy(bits.octets);
    if (!octets.empty()) octets.back() &= static_cast<std::uint8_t>(0xFF << bits.unusedBits);
    return octets;
}

RawExtension NextExtension(der::Cursor& list) {
    der::Cursor fields(list.Expect(der::kSequence).contents);
    RawExtension extension;
    extension.oid = fields.Expect(der::kOid).contents;
    if (fields.NextIs(der::kBoolean)) {
        const der::Item critical = fields.Next();
        if (critical.contents.size() != 1) Corrupt();
        extension.critical = critical.contents[0] != 0;
    }
    extension.value = fields.Expect(der::kOctetString).contents;
    fields.ExpectEnd();
    return extension;
}

std::vector<ExtensionView> ReadExtensions(ByteView contents) {
    std::vector<ExtensionView> views;
    der::Cursor list(contents);
    while (!list.AtEnd()) {
        const RawExtension extension = NextExtension(list);
        views.push_back({der::DottedOid(extension.oid), extension.critical, extension.value});
    }
    return views;
}

FILETIME ReadTime(const der::Item& item) {
    const bool general = item.tag == der::kGeneralizedTime;
    if (!general && item.tag != der::kUtcTime) throw Error(CRYPT_E_ASN1_BADTAG);
    TimeText text(item.contents);
    const std::chrono::year year(ReadYear(text, general));
    const std::chrono::month month(static_cast<unsigned>(text.Number(2)));
    const std::chrono::day day(static_cast<unsigned>(text.Number(2)));
    const int hour = text.Number(2);
    const int minute = text.Number(2);
    const int second = text.AtDigit() ? text.Number(2) : 0;
    if (general) text.SkipFraction();
    const std::chrono::year_month_day date(year, month, day);
    if (!date.ok() || hour > 23 || minute > 59 || second > 59) Corrupt();
    return ToFileTime(std::chrono::sys_days(date) + std::chrono::hours(hour) +
                      std::chrono::minutes(minute) + std::chrono::seconds(second) - text.Zone());
}

void Lay(Packer& packer, const AlgorithmView& view, CRYPT_ALGORITHM_IDENTIFIER& record) {
    record.pszObjId = packer.Text(view.oid);
    record.Parameters = packer.Blob(view.parameters);
}

void Lay(Packer& packer, const BitsView& view, CRYPT_BIT_BLOB& record) {
    record.cbData = static_cast<DWORD>(view.octets.size());
    record.pbData = packer.Data(UsedBits(view));
    record.cUnusedBits = view.unusedBits;
}

void Lay(Packer& packer, const PublicKeyView& view, CERT_PUBLIC_KEY_INFO& record) {
    Lay(packer, view.algorithm, record.Algorithm);
    Lay(packer, view.key, record.PublicKey);
}

void Lay(Packer& packer, const std::vector<ExtensionView>& views, DWORD& count,
         CERT_EXTENSION*& extensions) {
    count = static_cast<DWORD>(views.size());
    extensions = packer.Array<CERT_EXTENSION>(views.size());
    for (std::size_t i = 0; i < views.size(); ++i) {
        extensions[i].pszObjId = packer.Text(views[i].oid);
        extensions[i].fCritical = views[i].critical ? TRUE : FALSE;
        extensions[i].Value = packer.Blob(views[i].value);
    }
}

CRYPT_INTEGER_BLOB LayReversed(Packer& packer, ByteView contents) {
    CRYPT_INTEGER_BLOB blob = packer.Blob(contents);
    std::reverse(blob.pbData, blob.pbData + blob.cbData);
    return blob;
}

}  // namespace platform
