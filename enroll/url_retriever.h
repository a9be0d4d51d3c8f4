// One GET or POST to an authority that is played by its pages. The whole answer is held in
// memory. Nothing of the system outlives Fetch.
#pragma once

#include <windows.h>

#include <winhttp.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "enroll/wiped_text.h"

namespace kestrel {

// Pairs of hexadecimal digits of either case, of 40 characters at most, as many as `out` takes.
// `size` brings its capacity and takes what was written. False for any other character.
bool ParseThumbprint(const char* text, std::size_t length, BYTE* out, DWORD& size);

// Drops "http://" and then "https://" and parts the rest at its first slash. A port stays with
// the host; a slash at the very start parts nothing.
void SplitUrl(std::string_view url, std::string& host, std::string& path);

class UrlRetriever {
  public:
    static constexpr DWORD kOk = 200;
    static constexpr DWORD kMoved = 301;
    // An answer larger than this is an error; what is held while it grows is no more.
    static constexpr std::size_t kMostBody = std::size_t{256} << 20;

    // The chain of the server's certificate, and its name, are not looked at.
    void DisableAuthorityCheck() { verifyAuthority_ = false; }
    // By its thumbprint in the user's "MY"; null for none.
    void SetClientCertificate(const char* thumbprint);
    // Makes the request a POST. A last byte of 0 is not sent.
    void SetPostData(std::string_view bytes);
    // In milliseconds, for each of the four limits of the HTTP client; 0 leaves them as they are.
    void SetTimeout(DWORD timeout) { timeout_ = timeout; }
    // Further lines of the request's head; borrowed.
    void SetExtraHeaders(const std::vector<std::string>* headers) { extraHeaders_ = headers; }

    // True for an answer of status 200 or 301.
    bool Fetch(const std::string& url);

    [[nodiscard]] std::string_view Body() const { return body_; }
    std::string TakeBody() { return std::move(body_); }
    [[nodiscard]] DWORD Status() const { return status_; }
    [[nodiscard]] bool Succeeded() const { return succeeded_; }
    [[nodiscard]] DWORD LastError() const { return lastError_; }
    // What a Fetch ended with: the platform's error, or one of its own for a status.
    [[nodiscard]] DWORD FetchErrorCode() const;

  private:
    bool Exchange(const std::string& url);
    bool Prepare(HINTERNET request) const;
    bool PresentCertificate(HINTERNET request) const;
    bool AddHeaders(HINTERNET request) const;
    bool Send(HINTERNET request) const;
    bool ReadStatus(HINTERNET request);
    bool ReadBody(HINTERNET request);
    void MakeRoom(std::size_t more);

    std::string body_;
    std::string thumbprint_;
    DWORD timeout_ = 0;
    bool succeeded_ = false;
    bool verifyAuthority_ = true;
    bool useClientCertificate_ = false;
    DWORD lastError_ = 0;
    const std::vector<std::string>* extraHeaders_ = nullptr;
    DWORD status_ = 0;
    WipedText postData_;
};

}  // namespace kestrel
