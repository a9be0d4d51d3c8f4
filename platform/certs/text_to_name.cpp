// Names from text.
#include "platform/certs/names.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/bytes.h"
#include "platform/base/error.h"
#include "platform/base/text.h"
#include "platform/certs/rdn_keys.h"
#include "platform/der/der.h"
#include "platform/der/values.h"

namespace platform {
namespace {

constexpr std::uint8_t kUtf8String = 0x0C;
constexpr std::uint8_t kNumericString = 0x12;
constexpr std::uint8_t kPrintableString = 0x13;
constexpr std::uint8_t kIa5String = 0x16;
constexpr std::string_view kOidPrefix = "OID.";

bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// ---- values --------------------------------------------------------------------

bool IsPrintable(char c) { return IsPrintableOctet(static_cast<std::uint8_t>(c)); }
bool IsNumeric(char c) { return IsDigit(c) || c == ' '; }
bool IsAscii(char c) { return static_cast<unsigned char>(c) < 0x80; }

template <class Test>
bool All(std::string_view text, Test&& test) {
    return std::all_of(text.begin(), text.end(), test);
}

// The string type for a value; none when the attribute's own type cannot hold it.
std::optional<std::uint8_t> TagFor(std::string_view value, RdnValueKind kind) {
    switch (kind) {
        case RdnValueKind::Printable:
            return All(value, IsPrintable) ? std::optional(kPrintableString) : std::nullopt;
        case RdnValueKind::Ia5:
            return All(value, IsAscii) ? std::optional(kIa5String) : std::nullopt;
        case RdnValueKind::Numeric:
            return All(value, IsNumeric) ? std::optional(kNumericString) : std::nullopt;
        default:
            return All(value, IsPrintable) ? kPrintableString : kUtf8String;
    }
}

// Pairs of digits with any blanks between them.
std::optional<Bytes> ReadHex(std::string_view text) {
    Bytes octets;
    bool half = false;
    for (const char c : text) {
        if (IsBlank(c)) continue;
        const int digit = HexValue(c);
        if (digit < 0) return std::nullopt;
        if (half) {
            octets.back() = static_cast<std::uint8_t>(octets.back() << 4 | digit);
        } else {
            octets.push_back(static_cast<std::uint8_t>(digit));
        }
        half = !half;
    }
    if (half) return std::nullopt;
    return octets;
}

// ---- grammar -------------------------------------------------------------------

// attribute = key "=" value; attributes of one relative name are joined by "+", relative
// names by "," or ";", of which the last may end the text.
class NameParser {
  public:
    explicit NameParser(std::string_view text) : text_(text) {}

    // Relative names in the order of the text.
    std::vector<Bytes> Parse() {
        std::vector<Bytes> relativeNames;
        SkipBlanks();
        while (!AtEnd()) {
            relativeNames.push_back(TakeRelativeName());
            if (!AtEnd()) ++at_;
            SkipBlanks();
        }
        return relativeNames;
    }

  private:
    [[nodiscard]] bool AtEnd() const { return at_ == text_.size(); }
    [[nodiscard]] bool At(std::string_view any) const {
        return !AtEnd() && any.find(text_[at_]) != std::string_view::npos;
    }
    void SkipBlanks() {
        while (!AtEnd() && IsBlank(text_[at_])) ++at_;
    }
    [[noreturn]] static void Fail(std::size_t at) { throw BadNameText(at); }

    Bytes TakeRelativeName() {
        std::vector<Bytes> attributes;
        attributes.push_back(TakeAttribute());
        while (At("+")) {
            ++at_;
            attributes.push_back(TakeAttribute());
        }
        return EncodeSetOf(der::kSet, std::move(attributes));
    }

    Bytes TakeAttribute() {
        SkipBlanks();
        const std::size_t keyAt = at_;
        const std::size_t equals = text_.find('=', at_);
        if (equals == std::string_view::npos) Fail(keyAt);
        const auto [oid, kind] = ReadKey(TrimmedEnd(text_.substr(keyAt, equals - keyAt)), keyAt);
        at_ = equals + 1;
        SkipBlanks();
        const std::size_t valueAt = at_;
        return der::Element(der::kSequence, {oid, TakeValue(kind, valueAt)});
    }

    static std::string_view TrimmedEnd(std::string_view text) {
        while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
        return text;
    }

    static std::pair<Bytes, RdnValueKind> ReadKey(std::string_view key, std::size_t at) {
        const RdnKey* row = RdnKeyByName(key);
        if (row != nullptr) return {der::Oid(row->oid), row->kind};
        if (SameName(key.substr(0, kOidPrefix.size()), kOidPrefix)) {
            key.remove_prefix(kOidPrefix.size());
        }
        row = RdnKeyByOid(key);
        try {
            return {der::Oid(key), row == nullptr ? RdnValueKind::Directory : row->kind};
        } catch (const Error&) {
            Fail(at);
        }
    }

    Bytes TakeValue(RdnValueKind kind, std::size_t valueAt) {
        if (At("\"")) return Encode(TakeQuoted(), kind, valueAt);
        const std::size_t end = std::min(text_.find_first_of(",;+\"", at_), text_.size());
        at_ = end;
        if (At("\"")) Fail(at_);
        const std::string_view value = TrimmedEnd(text_.substr(valueAt, end - valueAt));
        if (value.empty()) Fail(valueAt);
        if (value[0] != '#') return Encode(value, kind, valueAt);
        const auto octets = ReadHex(value.substr(1));
        if (!octets) Fail(valueAt);
        // RFC 4514 2.4: the encoding of a value of any type (cert-2).
        return IsOneElement(*octets) ? *octets : der::Element(der::kOctetString, *octets);
    }

    // Within quotes a doubled quote stands for one.
    std::string TakeQuoted() {
        const std::size_t open = at_++;
        std::string value;
        for (;; ++at_) {
            if (AtEnd()) Fail(open);
            if (At("\"")) {
                ++at_;
                if (!At("\"")) break;
            }
            value += text_[at_];
        }
        SkipBlanks();
        if (!AtEnd() && !At(",;+")) Fail(at_);
        return value;
    }

    static Bytes Encode(std::string_view value, RdnValueKind kind, std::size_t at) {
        const auto tag = TagFor(value, kind);
        if (!tag) Fail(at);
        return der::Element(*tag, ViewOf(value));
    }

    std::string_view text_;
    std::size_t at_ = 0;
};

}  // namespace

bool IsPrintableOctet(std::uint8_t octet) {
    const char c = static_cast<char>(octet);
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    return letter || IsDigit(c) ||
           (c != '\0' && std::string_view(" '()+,-./:=?").find(c) != std::string_view::npos);
}

bool IsOneElement(ByteView octets) {
    constexpr std::uint8_t kEndOfContents = 0x00;
    if (octets.empty() || octets[0] == kEndOfContents) return false;
    try {
        return der::Cursor(octets).Next().whole.size() == octets.size();
    } catch (const Error&) {
        return false;
    }
}

Bytes TextToName(std::string_view text, DWORD type) {
    Widen(text);  // only well-formed text goes into a certificate
    std::vector<Bytes> relativeNames = NameParser(text).Parse();
    if ((type & CERT_NAME_STR_REVERSE_FLAG) != 0) {
        std::reverse(relativeNames.begin(), relativeNames.end());
    }
    Bytes contents;
    for (const Bytes& name : relativeNames) der::Append(contents, name);
    return der::Element(der::kSequence, contents);
}

}  // namespace platform
