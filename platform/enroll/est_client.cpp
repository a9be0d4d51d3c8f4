// EST on the HTTP floor.
#include "platform/enroll/est_client.h"

#include <algorithm>
#include <array>

#include "platform/base/error.h"
#include "platform/base/text.h"
#include "platform/enroll/request.h"
#include "platform/http/session.h"

namespace platform {
namespace {

constexpr DWORD kOk = 200;
constexpr DWORD kAccepted = 202;
constexpr DWORD kUnauthorized = 401;
// With these the authority speaks of the request; others are about the way to it.
constexpr DWORD kRefusals[] = {400, 403, 409, 422};

constexpr std::size_t kMostOctets = std::size_t{16} << 20;
constexpr std::size_t kMostCharacters = 200;
constexpr std::chrono::minutes kLongestAnswer{5};

[[noreturn]] void ThrowUnreadable(std::string detail) {
    throw Error(ERROR_WINHTTP_INVALID_SERVER_RESPONSE, std::move(detail));
}

Connection ConnectionTo(const EstAddress& address) {
    auto session = std::make_shared<Session>("Kestrel");
    session->proxies = UserProxyRules();
    return {std::move(session), address.host, address.port};
}

// One question and its whole answer.
class Question {
  public:
    Question(const EstAddress& address, const char* verb, const char* operation)
        : request_(ConnectionTo(address), verb, address.path + "/" + operation, true, false) {
        request_.headers.Set("Accept", "application/pkcs7-mime");
        request_.SetClientCertificate(nullptr);
        if (address.user.empty()) return;
        request_.SetCredentials(WINHTTP_AUTH_TARGET_SERVER,
                                WINHTTP_AUTH_SCHEME_BASIC | WINHTTP_AUTH_SCHEME_DIGEST,
                                address.user, address.password);
    }

    void Ask(std::string_view body = {}) {
        if (!body.empty()) {
            request_.headers.Set("Content-Type", "application/pkcs10");
            request_.headers.Set("Content-Transfer-Encoding", "base64");
        }
        request_.Send(ViewOf(body), body.size());
        request_.Receive();
        ReadBody();
        if (Status() == kUnauthorized) throw Error(ERROR_WINHTTP_LOGIN_FAILURE);
    }

    [[nodiscard]] DWORD Status() const { return request_.Head().Status(); }
    [[nodiscard]] const std::string& Body() const { return body_; }
    [[nodiscard]] std::string Header(const char* name) const {
        const auto values = request_.Head().Values(name);
        return values.empty() ? std::string() : values.front();
    }

  private:
    void ReadBody() {
        const auto until = std::chrono::steady_clock::now() + kLongestAnswer;
        while (const std::size_t size = request_.Await()) {
            if (size > kMostOctets - body_.size()) throw Error(ERROR_FILE_TOO_LARGE);
            if (std::chrono::steady_clock::now() > until) throw Error(ERROR_WINHTTP_TIMEOUT);
            const std::size_t before = body_.size();
            body_.resize(before + size);
            body_.resize(before + request_.Read(body_.data() + before, size));
        }
    }

    Request request_;
    std::string body_;
};

// The first line of what an authority says, cut and made fit to be shown.
std::string Shown(std::string_view text) {
    std::string shown;
    text = text.substr(0, text.find_first_of("\r\n"));
    for (std::size_t count = 0; !text.empty() && count < kMostCharacters; ++count) {
        const wchar_t character = TakeCharacter(text);
        AppendUtf8(shown, IsHidden(character) ? L'?' : character);
    }
    return shown;
}

// RFC 7030, 4.2.3: a refusal may come with a reason in plain text.
std::string RefusalText(const Question& question) {
    std::string text = "The authority denied the request";
    const bool plain = SameName(question.Header("Content-Type").substr(0, 10), "text/plain");
    const std::string reason = plain ? Shown(question.Body()) : std::string();
    return text + (reason.empty() ? "." : ": " + reason);
}

std::string WaitingText(const Question& question) {
    const std::string after = question.Header("Retry-After");
    const bool seconds = !after.empty() && std::ranges::all_of(after, IsDigit);
    return "The authority has not decided on the request yet." +
           (seconds ? " It asks to wait " + Shown(after) + " seconds." : std::string());
}

CertificateBundle CertificatesOf(const Question& question) {
    CertificateBundle bundle;
    try {
        bundle = ReadBundle(ViewOf(question.Body()));
    } catch (const Error&) {
        ThrowUnreadable("the answer holds no PKCS #7 message");
    }
    if (bundle.certificates.empty()) ThrowUnreadable("the answer holds no certificate");
    return bundle;
}

}  // namespace

EstAnswer SendEstRequest(const EstAddress& address, ByteView request) {
    Question question(address, "POST", "simpleenroll");
    question.Ask(Base64Lines(request));
    const DWORD status = question.Status();
    if (status == kAccepted) return {EstVerdict::Waits, WaitingText(question), {}};
    if (std::ranges::find(kRefusals, status) != std::end(kRefusals)) {
        return {EstVerdict::Denied, RefusalText(question), {}};
    }
    if (status != kOk) ThrowUnreadable(std::to_string(status));
    return {EstVerdict::Issued, "The certificate was issued.", CertificatesOf(question)};
}

CertificateBundle AskEstIssuers(const EstAddress& address) {
    Question question(address, "GET", "cacerts");
    question.Ask();
    if (question.Status() != kOk) ThrowUnreadable(std::to_string(question.Status()));
    return CertificatesOf(question);
}

}  // namespace platform
