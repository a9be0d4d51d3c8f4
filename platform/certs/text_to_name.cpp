// CertStrToName: names from text.
#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/error.h"
#include "platform/base/output.h"
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

// A failure with its place in the text.
struct BadName {
    DWORD code;
    std::size_t at;
};

bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// ---- values --------------------------------------------------------------------

// X.680 41.4
bool IsPrintable(char c) {
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    return letter || IsDigit(c) ||
           (c != '\0' && std::string_view(" '()+,-./:=?").find(c) != std::string_view::npos);
}
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

int HexDigit(char c) {
    if (IsDigit(c)) return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// Pairs of digits with any blanks between them.
std::optional<Bytes> ReadHex(std::string_view text) {
    Bytes octets;
    bool half = false;
    for (const char c : text) {
        if (IsBlank(c)) continue;
        const int digit = HexDigit(c);
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
    [[noreturn]] static void Fail(std::size_t at) {
        throw BadName{static_cast<DWORD>(CRYPT_E_INVALID_X500_STRING), at};
    }

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
        return der::Element(der::kOctetString, *octets);
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

Bytes EncodeName(std::string_view text, DWORD type) {
    std::vector<Bytes> relativeNames = NameParser(text).Parse();
    if ((type & CERT_NAME_STR_REVERSE_FLAG) != 0) {
        std::reverse(relativeNames.begin(), relativeNames.end());
    }
    Bytes contents;
    for (const Bytes& name : relativeNames) der::Append(contents, name);
    return der::Element(der::kSequence, contents);
}

// Runs the conversion; `placeError` gets the place of a failure in the narrow text.
template <class Place>
void Convert(std::string_view text, DWORD type, BYTE* encoded, DWORD* size, Place&& placeError) {
    Bytes name;
    try {
        name = EncodeName(text, type);
    } catch (const BadName& bad) {
        placeError(bad.at);
        throw Error(bad.code);
    }
    CopyOut(name, encoded, size);
}

std::size_t CharactersIn(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    }));
}

}  // namespace
}  // namespace platform

using namespace platform;

BOOL WINAPI CertStrToNameA(DWORD, LPCSTR text, DWORD type, void*, BYTE* encoded, DWORD* size,
                           LPCSTR* errorAt) {
    return GuardedBool([&] {
        if (text == nullptr) throw Error(E_INVALIDARG);
        if (errorAt != nullptr) *errorAt = nullptr;
        Widen(text);  // only well-formed text goes into a certificate
        Convert(text, type, encoded, size, [&](std::size_t at) {
            if (errorAt != nullptr) *errorAt = text + at;
        });
    });
}

BOOL WINAPI CertStrToNameW(DWORD, LPCWSTR text, DWORD type, void*, BYTE* encoded, DWORD* size,
                           LPCWSTR* errorAt) {
    return GuardedBool([&] {
        if (text == nullptr) throw Error(E_INVALIDARG);
        if (errorAt != nullptr) *errorAt = nullptr;
        const std::string narrow = Narrow(text);
        Convert(narrow, type, encoded, size, [&](std::size_t at) {
            if (errorAt != nullptr) {
                *errorAt = text + CharactersIn(std::string_view(narrow).substr(0, at));
            }
        });
    });
}
