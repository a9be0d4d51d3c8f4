// Asking the page, and the words by which it answers.
#include "enroll/ca_page.h"

#include <cstdio>

#include "front/core/catalogue.h"

namespace kestrel {

namespace {

constexpr char kPageName[] = "/certfnsh.asp";
constexpr char kFormHeader[] = "Content-Type: application/x-www-form-urlencoded\r\n";
constexpr char kAnyType[] = "*/*";
constexpr DWORD kUpToZero = static_cast<DWORD>(-1);
constexpr DWORD kOk = 200;
constexpr DWORD kMostAnswer = kPageRoom - 1;

// The pages want a browser that they know.
std::string AgentName() {
    constexpr std::size_t kMost = 69;
    return (std::string(Banner().english) + " {Mozilla MSIE 6 Win 2000}").substr(0, kMost);
}

struct Place {
    std::string host;  // with its port
    std::string object;
};

// An address that ends in a slash gets a second one (enroll-40).
Place PlaceOf(std::string_view address) {
    address.remove_prefix(kHttpScheme.size());
    const std::size_t slash = address.find('/');
    const std::string_view rest =
        slash == address.npos ? std::string_view() : address.substr(slash + 1);
    return {std::string(address.substr(0, slash)), std::string(rest) + kPageName};
}

}  // namespace

Reported CaPage::Open(std::string_view address) {
    const Place place = PlaceOf(address);
    internet_.reset(
        InternetOpenA(AgentName().c_str(), INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0));
    if (!internet_) return ReportError(kLastError);
    connection_.reset(InternetConnectA(internet_.get(), place.host.c_str(),
                                       INTERNET_DEFAULT_HTTP_PORT, nullptr, nullptr,
                                       INTERNET_SERVICE_HTTP, 0, 0));
    if (!connection_) return ReportError(kLastError);
    // The type stands in the referrer's place (enroll-41).
    request_.reset(HttpOpenRequestA(connection_.get(), "POST", place.object.c_str(), nullptr,
                                    kAnyType, nullptr, 0, 0));
    const bool ready =
        request_ && HttpAddRequestHeadersA(request_.get(), kFormHeader, kUpToZero,
                                           HTTP_ADDREQ_FLAG_ADD | HTTP_ADDREQ_FLAG_REPLACE);
    return ready ? Reported() : ReportError(kLastError);
}

bool CaPage::Send(const std::string& form) {
    SetLastError(0);
    return HttpSendRequestA(request_.get(), nullptr, 0, const_cast<char*>(form.data()),
                            static_cast<DWORD>(form.size())) != FALSE;
}

Reported CaPage::Read(char (&room)[kPageRoom], std::string_view& answer) {
    DWORD status = 0;
    DWORD size = sizeof status;
    if (!HttpQueryInfoA(request_.get(), HTTP_QUERY_STATUS_CODE | HTTP_QUERY_FLAG_NUMBER, &status,
                        &size, nullptr)) {
        return ReportError(kLastError);
    }
    DWORD count = 0;
    const BOOL read = InternetReadFile(request_.get(), room, kMostAnswer, &count);
    if (!read || status != kOk || count >= kMostAnswer) return ReportError(kBadServerResponse);
    room[count] = '\0';
    answer = room;
    return 0;
}

Reported CaPage::ReadCookie(char (&room)[kPageRoom], std::string_view& cookie) {
    DWORD size = kPageRoom;
    if (!HttpQueryInfoA(request_.get(), HTTP_QUERY_SET_COOKIE, room, &size, nullptr)) {
        return ReportError(kLastError);
    }
    cookie = room;
    return 0;
}

Verdict VerdictOf(std::string_view answer) {
    constexpr struct {
        std::string_view marker;
        Verdict verdict;
    } kMarkers[] = {
        {"locTimeoutWarning", Verdict::Pending},
        {"locDenied", Verdict::Denied},
        {"locIssRev", Verdict::IssuedAndRevoked},
        {"locReqFailed", Verdict::Failed},
    };
    for (const auto& row : kMarkers) {
        if (answer.find(row.marker) != answer.npos) return row.verdict;
    }
    return Verdict::None;
}

Reported ReportRejection(Verdict verdict) {
    PrintMessage(verdict == Verdict::Denied             ? say::kRequestDenied
                 : verdict == Verdict::IssuedAndRevoked ? say::kIssuedAndRevoked
                                                        : say::kRequestFailed,
                 1);
    return ReportError(kRequestRejected);
}

// Letters and digits are escaped, too, and a byte below 16 has one digit (enroll-42).
std::string NewRequestForm(std::string_view request, std::string_view friendlyName) {
    std::string form = "CertRequest=";
    for (const char character : request) {
        if (character == '\r' || character == '\n') continue;
        char escaped[4];
        std::snprintf(escaped, sizeof escaped, "%%%X",
                      static_cast<unsigned>(static_cast<unsigned char>(character)));
        form += escaped;
    }
    return form.append("&Mode=newreq&TargetStoreFlags=0&SaveCert=no&FriendlyType=")
        .append(friendlyName);
}

std::string PendingForm(int id) {
    return "Mode=chkpnd&TargetStoreFlags=0&SaveCert=no&ReqID=" + std::to_string(id);
}

bool TakeQuoted(std::string_view answer, std::size_t& at, std::string_view& text) {
    const std::size_t opening = answer.find('"', at);
    if (opening == answer.npos) return false;
    const std::size_t closing = answer.find('"', opening + 1);
    if (closing == answer.npos) return false;
    text = answer.substr(opening + 1, closing - opening - 1);
    at = closing + 1;
    return true;
}

}  // namespace kestrel
