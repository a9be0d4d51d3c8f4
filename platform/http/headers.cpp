// Header lines: parsed, found, replaced.
#include "platform/http/headers.h"

#include <algorithm>
#include <iterator>

#include "platform/base/error.h"
#include "platform/base/text.h"

namespace platform {
namespace {

constexpr std::size_t kMostHeadBytes = 256 * 1024;  // libcurl itself ends at 300 KiB
constexpr std::string_view kBlanks = " \t";

std::string_view Trimmed(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(kBlanks);
    if (begin == text.npos) return {};
    return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

// RFC 9110 5.6.2
bool IsToken(std::string_view text) {
    const auto good = [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
               std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
    };
    return !text.empty() && std::all_of(text.begin(), text.end(), good);
}

Header ParseHeader(std::string_view line) {
    const std::size_t colon = line.find(':');
    const auto control = [](char c) { return (c >= 0 && c < ' ' && c != '\t') || c == 0x7F; };
    if (colon == line.npos || !IsToken(line.substr(0, colon)) ||
        std::any_of(line.begin(), line.end(), control)) {
        throw Error(ERROR_INVALID_PARAMETER);
    }
    return {std::string(line.substr(0, colon)), std::string(Trimmed(line.substr(colon + 1)))};
}

std::string_view TakeLine(std::string_view& lines) {
    constexpr std::string_view kEnd = "\r\n";
    const std::size_t end = lines.find(kEnd);
    const std::string_view line = lines.substr(0, end);
    lines.remove_prefix(end == lines.npos ? lines.size() : end + kEnd.size());
    return line;
}

// ---- challenges ------------------------------------------------------------------

constexpr struct {
    std::string_view name;
    DWORD bit;
} kSchemes[] = {
    {"Basic", WINHTTP_AUTH_SCHEME_BASIC},
    {"NTLM", WINHTTP_AUTH_SCHEME_NTLM},
    {"Digest", WINHTTP_AUTH_SCHEME_DIGEST},
    {"Negotiate", WINHTTP_AUTH_SCHEME_NEGOTIATE},
};

// The pieces of a list, parted by commas outside of quoted strings (RFC 9110 5.6.4).
std::vector<std::string_view> ListItems(std::string_view value) {
    std::vector<std::string_view> items;
    bool quoted = false;
    std::size_t begin = 0;
    for (std::size_t at = 0; at < value.size(); ++at) {
        if (quoted && value[at] == '\\') {
            ++at;
        } else if (value[at] == '"') {
            quoted = !quoted;
        } else if (value[at] == ',' && !quoted) {
            items.push_back(Trimmed(value.substr(begin, at - begin)));
            begin = at + 1;
        }
    }
    items.push_back(Trimmed(value.substr(std::min(begin, value.size()))));
    return items;
}

// An item begins a challenge when its first word is a known scheme and no parameter's name.
DWORD SchemeOf(std::string_view item) {
    const std::size_t end = std::min(item.find_first_of(kBlanks), item.size());
    if (Trimmed(item.substr(end)).starts_with('=')) return 0;
    for (const auto& scheme : kSchemes) {
        if (SameName(item.substr(0, end), scheme.name)) return scheme.bit;
    }
    return 0;
}

}  // namespace

void RequestHeaders::Add(std::string_view lines, DWORD modifiers) {
    RequestHeaders changed = *this;
    while (!lines.empty()) {
        const std::string_view line = TakeLine(lines);
        if (!line.empty()) changed.Apply(ParseHeader(line), modifiers);
    }
    *this = std::move(changed);
}

void RequestHeaders::Set(std::string name, std::string value) {
    Apply({std::move(name), std::move(value)},
          WINHTTP_ADDREQ_FLAG_ADD | WINHTTP_ADDREQ_FLAG_REPLACE);
}

void RequestHeaders::Apply(Header header, DWORD modifiers) {
    const bool present = std::any_of(headers_.begin(), headers_.end(), [&](const Header& other) {
        return SameName(other.name, header.name);
    });
    if ((modifiers & WINHTTP_ADDREQ_FLAG_ADD_IF_NEW) != 0 && present) {
        throw Error(ERROR_WINHTTP_HEADER_ALREADY_EXISTS, header.name);
    }
    if ((modifiers & WINHTTP_ADDREQ_FLAG_REPLACE) != 0) {
        if (!present && (modifiers & WINHTTP_ADDREQ_FLAG_ADD) == 0) {
            throw Error(ERROR_WINHTTP_HEADER_NOT_FOUND, header.name);
        }
        Remove(header.name);
        if (header.value.empty()) return;
    }
    headers_.push_back(std::move(header));
}

void RequestHeaders::Remove(std::string_view name) {
    std::erase_if(headers_, [&](const Header& header) { return SameName(header.name, name); });
}

void ResponseHead::AddLine(std::string_view line) {
    if (line.starts_with("HTTP/")) *this = ResponseHead();
    if (raw_.size() + line.size() > kMostHeadBytes) {
        throw Error(ERROR_WINHTTP_INVALID_SERVER_RESPONSE);
    }
    while (line.ends_with('\n') || line.ends_with('\r')) line.remove_suffix(1);
    raw_.append(line).append("\r\n");
    if (line.empty()) {
        complete_ = true;
    } else if (status_ == 0) {
        StartWith(line);
    } else if (const std::size_t colon = line.find(':'); colon != line.npos) {
        headers_.push_back({std::string(Trimmed(line.substr(0, colon))),
                            std::string(Trimmed(line.substr(colon + 1)))});
    }
}

// "HTTP/1.1 404 Not Found"; libcurl has seen to its form.
void ResponseHead::StartWith(std::string_view statusLine) {
    const auto word = [&statusLine] {
        const std::size_t end = std::min(statusLine.find(' '), statusLine.size());
        const std::string_view taken = statusLine.substr(0, end);
        statusLine = Trimmed(statusLine.substr(end));
        return std::string(taken);
    };
    version_ = word();
    statusText_ = word();
    reason_ = statusLine;
    for (const char digit : statusText_.substr(0, 3)) {
        if (digit >= '0' && digit <= '9') status_ = status_ * 10 + static_cast<DWORD>(digit - '0');
    }
}

std::vector<std::string> ResponseHead::Values(std::string_view name) const {
    std::vector<std::string> values;
    for (const Header& header : headers_) {
        if (SameName(header.name, name)) values.push_back(header.value);
    }
    return values;
}

std::optional<Challenge> ChallengeOf(const ResponseHead& head) {
    constexpr DWORD kServer = 401;
    constexpr DWORD kProxy = 407;
    Challenge challenge;
    if (head.Status() != kServer && head.Status() != kProxy) return std::nullopt;
    const bool proxy = head.Status() == kProxy;
    challenge.target = proxy ? WINHTTP_AUTH_TARGET_PROXY : WINHTTP_AUTH_TARGET_SERVER;
    for (const std::string& value :
         head.Values(proxy ? "Proxy-Authenticate" : "WWW-Authenticate")) {
        for (const std::string_view item : ListItems(value)) {
            const DWORD scheme = SchemeOf(item);
            if (challenge.first == 0) challenge.first = scheme;
            challenge.supported |= scheme;
        }
    }
    if (challenge.supported == 0) return std::nullopt;
    return challenge;
}

}  // namespace platform
