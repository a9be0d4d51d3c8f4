// The page of a standard authority that takes a request or tells of one, asked as a browser asks.
#pragma once

#include <windows.h>
#include <wininet.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "front/core/holders.h"
#include "front/core/result.h"

namespace kestrel {

inline constexpr std::string_view kHttpScheme = "http://";

// Room for a page, a cookie and the text of a certificate; with all of it full a page is none.
inline constexpr std::size_t kPageRoom = 102400;

inline void CloseInternetHandle(HINTERNET handle) { InternetCloseHandle(handle); }
using InternetHolder = std::unique_ptr<void, Releaser<CloseInternetHandle>>;

// One form on its way to the page, and the answer.
class CaPage {
  public:
    // `address` begins with kHttpScheme. 0 or the platform's last error, reported.
    Reported Open(std::string_view address);
    // Waits for the head of the answer. False with the last error set, 0 for none.
    bool Send(const std::string& form);
    // The answer up to its first zero byte, in `room`. 0, kBadServerResponse for anything but a
    // whole page with status 200, or the platform's last error, reported.
    Reported Read(char (&room)[kPageRoom], std::string_view& answer);
    // The first cookie of the answer likewise.
    Reported ReadCookie(char (&room)[kPageRoom], std::string_view& cookie);

  private:
    InternetHolder internet_;
    InternetHolder connection_;
    InternetHolder request_;
};

// What a page says of a request, by words in its script.
enum class Verdict { None, Pending, Denied, IssuedAndRevoked, Failed };
Verdict VerdictOf(std::string_view answer);
// For the last three of them: tells, and is kRequestRejected, reported.
Reported ReportRejection(Verdict verdict);

// The forms. A request is text in BASE64, with or without armour.
std::string NewRequestForm(std::string_view request, std::string_view friendlyName);
std::string PendingForm(int id);

// A text after the next double quote behind `at` and up to the one that follows; `at` moves behind
// that. False when either is missing.
bool TakeQuoted(std::string_view answer, std::size_t& at, std::string_view& text);

}  // namespace kestrel
