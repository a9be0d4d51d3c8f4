// Sessions, connections and requests, redirects and challenges.
#include "platform/http/session.h"

#include <algorithm>
#include <array>

#include "platform/base/error.h"
#include "platform/base/text.h"

namespace platform {
namespace {

// Longer ones no server takes, and libcurl calls them a lack of memory.
constexpr std::size_t kMostObject = 64 * 1024;

bool Redirects(DWORD status) {
    constexpr DWORD kStatuses[] = {301, 302, 303, 307, 308};
    return std::find(std::begin(kStatuses), std::end(kStatuses), status) != std::end(kStatuses);
}

// RFC 9110 15.4: what a request goes on as. 307 and 308 keep it.
bool GoesOnAsGet(DWORD status, const std::string& verb) {
    if (status == 303) return verb != "HEAD";
    return (status == 301 || status == 302) && verb == "POST";
}

bool IsOneOf(std::string_view name, std::initializer_list<std::string_view> names) {
    return std::any_of(names.begin(), names.end(),
                       [name](std::string_view other) { return SameName(name, other); });
}

}  // namespace

Connection::Connection(std::shared_ptr<Session> session, std::string_view server, WORD port)
    : session_(std::move(session)) {
    ServerName name = ParseServerName(server);
    host_ = std::move(name.host);
    port_ = name.port;
    if (!port_ && port != INTERNET_DEFAULT_PORT) port_ = port;
}

HttpUrl Connection::UrlOf(bool secure, std::string_view object) const {
    return {secure, host_, port_.value_or(DefaultPort(secure)), TargetOf(object)};
}

Request::Request(const Connection& connection, std::string verb, std::string_view object,
                 bool secure, bool version10)
    : proxies(connection.Parent()->proxies),
      timeouts(connection.Parent()->timeouts),
      agent_(connection.Parent()->agent),
      url_(connection.UrlOf(secure, object)),
      verb_(std::move(verb)),
      version10_(version10) {}

void Request::SetClientCertificate(std::shared_ptr<Certificate> certificate) {
    certificateTold_ = true;
    certificate_ = std::move(certificate);
    identity_.reset();
}

void Request::SetCredentials(DWORD target, DWORD scheme, std::string user, Secret password) {
    Credentials& credentials = credentials_[target];
    credentials.scheme = scheme;
    credentials.user = std::move(user);
    credentials.password = std::move(password);
}

void Request::Require(State state) const {
    if (state_ < state) throw Error(ERROR_WINHTTP_INCORRECT_HANDLE_STATE);
}

void Request::Send(ByteView body, std::uint64_t total) {
    state_ = State::Open;
    head_ = ResponseHead();
    Start(url_, verb_, Copy(body), total);
    state_ = State::Sent;
}

void Request::Write(ByteView piece) {
    Require(State::Sent);
    transfer_.Write(piece);
}

const ResponseHead& Request::Head() const {
    Require(State::Answered);
    return head_;
}

std::size_t Request::Await() {
    Require(State::Answered);
    return transfer_.Await();
}

std::size_t Request::Read(void* buffer, std::size_t size) {
    Require(State::Answered);
    return transfer_.Read(buffer, size);
}

void Request::Receive() {
    Require(State::Sent);
    if (state_ == State::Answered) throw Error(ERROR_WINHTTP_INCORRECT_HANDLE_STATE);
    ReceiveHead();
    for (int count = 0; FollowRedirect(); ++count) {
        if (count == kMostRedirects) throw Error(ERROR_WINHTTP_REDIRECT_FAILED);
        ReceiveHead();
    }
    state_ = State::Answered;
}

void Request::ReceiveHead() {
    try {
        head_ = transfer_.Receive();
    } catch (const Error& error) {
        // Sent once more, the request must not meet the same challenge unprepared.
        if (error.Code() == ERROR_WINHTTP_RESEND_REQUEST) NoteChallenge(transfer_.Head());
        throw;
    }
    NoteChallenge(head_);
}

void Request::NoteChallenge(const ResponseHead& head) {
    const auto challenge = ChallengeOf(head);
    if (!challenge) return;
    // Another server's challenge is none of the first one's.
    const bool proxys = challenge->target == WINHTTP_AUTH_TARGET_PROXY;
    if (!proxys && !transfer_.Request().url.SameOrigin(url_)) return;
    credentials_[challenge->target].challenged |= challenge->supported;
}

// Starts the next request when the answer leads on. An answer that leads nowhere, to another
// protocol or out of a secure connection is the caller's to look at, and one that needs a body
// that was not kept.
bool Request::FollowRedirect() {
    const std::vector<std::string> locations = head_.Values("Location");
    if (!Redirects(head_.Status()) || locations.empty()) return false;
    const HttpUrl& from = transfer_.Request().url;
    auto to = ResolveLocation(from, locations.front());
    if (!to || (from.secure && !to->secure)) return false;
    if (to->object.size() > kMostObject) throw Error(ERROR_WINHTTP_REDIRECT_FAILED);
    std::string verb = transfer_.Request().verb;
    if (GoesOnAsGet(head_.Status(), verb)) {
        Start(*std::move(to), "GET", {}, 0);
        return true;
    }
    const std::uint64_t size = transfer_.Request().bodySize;
    auto body = transfer_.TakeBody();
    if (!body) return false;
    Start(*std::move(to), std::move(verb), *std::move(body), size);
    return true;
}

void Request::Start(HttpUrl url, std::string verb, Bytes body, std::uint64_t total) {
    if (url.object.size() > kMostObject) throw Error(ERROR_WINHTTP_INVALID_URL);
    TransferRequest request;
    request.agent = agent_;
    request.version10 = version10_;
    request.timeouts = timeouts;
    request.headers = HeadersFor(url, total > 0 || verb == verb_);
    request.proxy = proxies.For(url);
    request.server = LoginFor(WINHTTP_AUTH_TARGET_SERVER, url);
    request.proxyLogin = LoginFor(WINHTTP_AUTH_TARGET_PROXY, url);
    // What the proxy's address says of its user comes before the ticket of ours.
    if (credentials_[WINHTTP_AUTH_TARGET_PROXY].scheme == 0 && !request.proxy.user.empty()) {
        constexpr DWORD kWithPassword =
            WINHTTP_AUTH_SCHEME_BASIC | WINHTTP_AUTH_SCHEME_DIGEST | WINHTTP_AUTH_SCHEME_NTLM;
        request.proxyLogin = {kWithPassword, false, request.proxy.user, request.proxy.password};
    }
    if (url.secure) request.tls = TlsRulesFor(url);
    request.url = std::move(url);
    request.verb = std::move(verb);
    request.body = std::move(body);
    request.bodySize = total;
    transfer_.Start(std::move(request));
}

// What was set for the server is for that server alone.
Login Request::LoginFor(DWORD target, const HttpUrl& url) const {
    const Credentials& credentials = credentials_[target];
    Login login;
    if (target == WINHTTP_AUTH_TARGET_SERVER && !url.SameOrigin(url_)) return login;
    login.schemes = credentials.scheme;
    login.user = credentials.user;
    login.password = credentials.password;
    // Without a name there is only the user's ticket, and it needs leave.
    if (login.schemes == 0 && autologon == WINHTTP_AUTOLOGON_SECURITY_LEVEL_LOW) {
        login.schemes = WINHTTP_AUTH_SCHEME_NEGOTIATE;
    }
    login.challenged = (credentials.challenged & login.schemes) != 0;
    return login;
}

TlsRules Request::TlsRulesFor(const HttpUrl& url) {
    TlsRules rules;
    rules.ignored = ignoredFaults;
    const bool own = url.SameOrigin(url_);
    rules.certificateRefused = own && certificateTold_ && certificate_ == nullptr;
    if (!own || certificate_ == nullptr) return rules;
    if (!identity_) identity_ = OpenClientIdentity(certificate_);
    rules.identity = identity_;
    return rules;
}

std::vector<Header> Request::HeadersFor(const HttpUrl& url, bool withBody) const {
    std::vector<Header> chosen = headers.All();
    if (!withBody) {
        std::erase_if(chosen, [](const Header& header) {
            return FoldCase(Widen(header.name)).starts_with(L"content-");
        });
    }
    if (!url.SameOrigin(url_)) {
        std::erase_if(chosen, [](const Header& header) {
            return IsOneOf(header.name, {"Authorization", "Cookie", "Host"});
        });
    }
    return chosen;
}

}  // namespace platform
