// The two pages of a standard authority: what a request's answer holds, and what a pending one's.
#include "enroll/web_road.h"

#include <charconv>
#include <cstdlib>
#include <ctime>
#include <string>

#include "enroll/ca_page.h"
#include "enroll/request_id.h"
#include "front/core/catalogue.h"

namespace kestrel {

namespace {

// What a page's script puts together line by line. A page has room for no more than fits.
class CertificateText {
  public:
    void Append(std::string_view line) {
        length_ += line.copy(text_ + length_, kPageRoom - 2 - length_);
        text_[length_++] = '\n';
        text_[length_] = '\0';
    }
    [[nodiscard]] const char* Get() const { return text_; }

  private:
    char text_[kPageRoom] = "";
    std::size_t length_ = 0;
};

// The program's name and 20 letters, by which the request is known among the others of a cookie.
// There is never a Z (enroll-43).
std::string DrawFriendlyName() {
    constexpr int kLetters = 20;
    constexpr int kAlphabet = 25;
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    std::string name = "Kestrel%3A";
    for (int drawn = 0; drawn < kLetters; ++drawn) {
        name += static_cast<char>('A' + std::rand() % kAlphabet);
    }
    return name;
}

// "...%5B<number>%2C...<name>...". 0 when the name or a number before it is missing.
int IdInCookie(std::string_view cookie, std::string_view name) {
    constexpr std::string_view kBracket = "%5B";
    const std::size_t named = cookie.find(name);
    if (named == cookie.npos || named == 0) return 0;
    const std::size_t bracket = cookie.rfind(kBracket, named);
    if (bracket == cookie.npos || bracket == 0) return 0;
    const std::string_view digits = cookie.substr(bracket + kBracket.size());
    if (digits.starts_with('-')) return 0;
    int id = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), id);
    return id;
}

Reported KeepByCookie(CaPage& page, std::string_view friendlyName, const char* idFile) {
    PrintMessage(say::kRequestPending, 1);
    char room[kPageRoom];
    std::string_view cookie;
    if (const Reported failure = page.ReadCookie(room, cookie)) return failure;
    const int id = IdInCookie(cookie, friendlyName);
    if (id == 0) return ReportError(kBadCookie);
    return TellRequestId(idFile, id);
}

// The lines: sPKCS7=sPKCS7 & "text".
Reported InstallIssued(const EnrollOptions& options, std::string_view answer) {
    constexpr std::string_view kBegin = "sPKCS7=\"\"";
    constexpr std::string_view kLine = "=sPKCS7";
    if (answer.find(kBegin) == answer.npos) return ReportError(kNoCertificateInResponse);
    PrintMessage(say::kInstalling, 1);
    CertificateText text;
    for (std::size_t at = 1; (at = answer.find(kLine, at)) != answer.npos;) {
        std::string_view line;
        if (!TakeQuoted(answer, at, line)) return ReportError(kNoCertificateInResponse);
        text.Append(line);
    }
    return InstallIssuedCertificate(options, text.Get());
}

// The lines: "text" & vbNewLine. Behind the first of these words begins what stands between the
// armour; the line that closes it ends the search.
Reported InstallFetched(const EnrollOptions& options, std::string_view answer) {
    constexpr std::string_view kBegin = "-BEGIN ";
    constexpr std::string_view kLineEnd = "vbNewLine";
    if (answer.find(kBegin) == answer.npos) return ReportError(kNoCertificateInResponse);
    PrintMessage(say::kInstalling, 1);
    CertificateText text;
    for (std::size_t at = 1; (at = answer.find(kLineEnd, at)) != answer.npos;) {
        const std::size_t opening = answer.find('"', at);
        if (opening == answer.npos) break;
        if (answer.substr(opening + 1).starts_with('-')) {
            return InstallIssuedCertificate(options, text.Get());
        }
        std::string_view line;
        if (!TakeQuoted(answer, at, line)) break;
        text.Append(line);
    }
    return ReportError(kNoCertificateInResponse);
}

}  // namespace

Reported CreateOverWeb(const EnrollOptions& options, std::string_view address,
                       const ComText& request, const char* idFile) {
    std::string text;
    if (!Narrow(request, text)) return ReportError(kLastError);
    CaPage page;
    if (const Reported failure = page.Open(address)) return failure;
    const std::string friendlyName = DrawFriendlyName();
    if (!page.Send(NewRequestForm(text, friendlyName))) {
        return ReportError(GetLastError() == 0 ? kBadServerResponse : kLastError);
    }
    PrintMessage(say::kGettingResponse, 1);
    char room[kPageRoom];
    std::string_view answer;
    if (const Reported failure = page.Read(room, answer)) return failure;
    const Verdict verdict = VerdictOf(answer);
    if (verdict == Verdict::None) return InstallIssued(options, answer);
    if (verdict == Verdict::Pending) return KeepByCookie(page, friendlyName, idFile);
    return ReportRejection(verdict);
}

Reported FetchOverWeb(const EnrollOptions& options, std::string_view address, int id) {
    CaPage page;
    if (const Reported failure = page.Open(address)) return failure;
    // An authority that is not reached has nothing yet (enroll-44).
    if (!page.Send(PendingForm(id))) return 0;
    char room[kPageRoom];
    std::string_view answer;
    if (const Reported failure = page.Read(room, answer)) return failure;
    const Verdict verdict = VerdictOf(answer);
    if (verdict == Verdict::None) return InstallFetched(options, answer);
    if (verdict != Verdict::Pending) return ReportRejection(verdict);
    PrintMessage(say::kRequestPending, 1);
    return 0;
}

}  // namespace kestrel
