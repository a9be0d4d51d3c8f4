// The header lines of requests and answers (RFC 9110 5, 6; RFC 9112 4).
#pragma once

#include "platform/http/ground.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

struct Header {
    std::string name;
    std::string value;
};

// What the caller adds to a request.
class RequestHeaders {
  public:
    // Lines parted by CR LF, each under the WINHTTP_ADDREQ_FLAG_* of `modifiers`. Throws
    // ERROR_INVALID_PARAMETER for text that is no header line, and what the flags tell.
    void Add(std::string_view lines, DWORD modifiers);
    void Set(std::string name, std::string value);
    [[nodiscard]] const std::vector<Header>& All() const { return headers_; }

  private:
    void Apply(Header header, DWORD modifiers);
    void Remove(std::string_view name);
    std::vector<Header> headers_;
};

// Status line and headers of an answer, taken line by line. Another status line begins
// another answer.
class ResponseHead {
  public:
    // Throws ERROR_WINHTTP_INVALID_SERVER_RESPONSE when it grows past 256 KiB.
    void AddLine(std::string_view line);

    [[nodiscard]] bool Complete() const { return complete_; }
    [[nodiscard]] DWORD Status() const { return status_; }
    [[nodiscard]] const std::string& StatusText() const { return statusText_; }
    [[nodiscard]] const std::string& Reason() const { return reason_; }
    [[nodiscard]] const std::string& Version() const { return version_; }
    // Every line with its CR LF, the empty one included.
    [[nodiscard]] const std::string& Raw() const { return raw_; }
    [[nodiscard]] std::vector<std::string> Values(std::string_view name) const;

  private:
    void StartWith(std::string_view statusLine);
    bool complete_ = false;
    DWORD status_ = 0;
    std::string version_;
    std::string statusText_;
    std::string reason_;
    std::string raw_;
    std::vector<Header> headers_;
};

// WINHTTP_AUTH_SCHEME_* of a challenge (RFC 9110 11.6.1).
struct Challenge {
    DWORD supported = 0;
    DWORD first = 0;
    DWORD target = WINHTTP_AUTH_TARGET_SERVER;
};
// No value when the answer is none, or names no scheme that is known.
std::optional<Challenge> ChallengeOf(const ResponseHead& head);

}  // namespace platform
