// Lines into fields, fields into values.
#include "kestrelctl/message/mail_header.h"

#include <algorithm>

#include "kestrelctl/message/multipart.h"
#include "platform/base/error.h"

namespace kestrelctl::message {
namespace {

constexpr std::string_view kHeaderBlanks = " \t\n";
constexpr std::string_view kInToken = "!#$%&'*+-.^_`{|}~";  // RFC 2045 5.1
constexpr std::string_view kInBoundary = "'()+_,-./:=? ";   // RFC 2046 5.1.1
constexpr std::size_t kLongestBoundary = 70;

[[noreturn]] void Unclear() { throw platform::Error(CRYPT_E_BAD_ENCODE, kUnclearHeader.english); }

bool IsAlphanumeric(char one) {
    return (one >= '0' && one <= '9') || (one >= 'A' && one <= 'Z') || (one >= 'a' && one <= 'z');
}

bool IsOf(std::string_view text, std::string_view others) {
    return std::ranges::all_of(
        text, [&](char one) { return IsAlphanumeric(one) || others.find(one) != others.npos; });
}

std::string Small(std::string_view text) {
    std::string small(text);
    for (char& one : small) {
        if (one >= 'A' && one <= 'Z') one = static_cast<char>(one - 'A' + 'a');
    }
    return small;
}

// RFC 2045 5.1 without comments, of which readers make different things.
class FieldValue {
  public:
    explicit FieldValue(std::string_view text) : rest_(text) {}

    bool AtEnd() {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(kHeaderBlanks), rest_.size()));
        return rest_.empty();
    }
    bool Skip(char wanted) {
        if (!rest_.starts_with(wanted)) return false;
        rest_.remove_prefix(1);
        return true;
    }
    void Expect(char wanted) {
        if (!Skip(wanted)) Unclear();
    }
    std::string_view Token() {
        std::size_t size = 0;
        while (size < rest_.size() && IsOf(rest_.substr(size, 1), kInToken)) ++size;
        if (size == 0) Unclear();
        return Take(size);
    }
    // What stands between the marks, escapes and all.
    std::string_view TokenOrQuoted() {
        if (!Skip('"')) return Token();
        std::size_t size = 0;
        while (size < rest_.size() && rest_[size] != '"') size += rest_[size] == '\\' ? 2 : 1;
        if (size >= rest_.size()) Unclear();
        const std::string_view inside = Take(size);
        Expect('"');
        return inside;
    }

  private:
    std::string_view Take(std::size_t size) {
        const std::string_view taken = rest_.substr(0, size);
        rest_.remove_prefix(size);
        return taken;
    }

    std::string_view rest_;
};

void CheckBoundary(std::string_view boundary) {
    const bool sized = !boundary.empty() && boundary.size() <= kLongestBoundary;
    if (!sized || boundary.ends_with(' ') || !IsOf(boundary, kInBoundary)) Unclear();
}

// A boundary in pieces or with a character set (RFC 2231) counts with some readers alone.
void ReadContentType(std::string_view text, MailHeader& header) {
    FieldValue value(text);
    if (value.AtEnd()) Unclear();
    header.type = Small(value.Token());
    value.Expect('/');
    header.type += "/" + Small(value.Token());
    while (!value.AtEnd()) {
        value.Expect(';');
        if (value.AtEnd()) return;
        const std::string name = Small(value.Token());
        value.Expect('=');
        const std::string_view told = value.TokenOrQuoted();
        if (name.starts_with("boundary*")) Unclear();
        if (name != "boundary") continue;
        if (!header.boundary.empty()) Unclear();
        CheckBoundary(told);
        header.boundary = told;
    }
}

void ReadEncoding(std::string_view text, MailHeader& header) {
    FieldValue value(text);
    if (value.AtEnd()) Unclear();
    header.encoding = Small(value.Token());
    if (!value.AtEnd()) Unclear();
}

void ReadField(std::string_view field, MailHeader& header) {
    const std::size_t colon = field.find(':');
    const std::string_view name = field.substr(0, colon);
    // RFC 5322 2.2: what can be seen, but for the colon.
    const auto seen = [](char one) { return one > ' ' && one < '\x7F'; };
    if (colon == field.npos || name.empty() || !std::ranges::all_of(name, seen)) Unclear();
    const bool type = Small(name) == "content-type";
    const bool encoding = Small(name) == "content-transfer-encoding";
    if ((type && !header.type.empty()) || (encoding && !header.encoding.empty())) Unclear();
    if (type) ReadContentType(field.substr(colon + 1), header);
    if (encoding) ReadEncoding(field.substr(colon + 1), header);
}

}  // namespace

std::size_t HeaderSize(std::string_view text, std::size_t from) {
    for (std::size_t line = from;;) {
        const std::string_view rest = text.substr(line);
        if (rest.starts_with('\n')) return line + 1;
        if (rest.starts_with("\r\n")) return line + 2;
        const std::size_t end = rest.find('\n');
        if (end == rest.npos) return rest.npos;
        line += end + 1;
    }
}

MailHeader ReadMailHeader(std::string_view lines) {
    MailHeader header;
    std::string field;
    while (!lines.empty()) {
        const std::size_t end = lines.find('\n');
        std::string_view line = lines.substr(0, end);
        lines.remove_prefix(end == lines.npos ? lines.size() : end + 1);
        if (line.ends_with('\r')) line.remove_suffix(1);
        // Some readers end a line at it, or a text.
        if (line.find_first_of(std::string_view("\r\0", 2)) != line.npos) Unclear();
        const bool goesOn = line.starts_with(' ') || line.starts_with('\t');
        if (goesOn && field.empty()) Unclear();
        if (goesOn) {
            field.append("\n").append(line);
            continue;
        }
        if (!field.empty()) ReadField(field, header);
        field = line;
    }
    if (!field.empty()) ReadField(field, header);
    return header;
}

}  // namespace kestrelctl::message
