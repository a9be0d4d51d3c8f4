// The three levels of handles: a session holds what its connections have in common, a
// connection names a server, a request is sent and answered there.
#pragma once

#include "platform/http/ground.h"

#include <memory>
#include <optional>
#include <string>

#include "platform/base/handle.h"
#include "platform/http/headers.h"
#include "platform/http/proxy.h"
#include "platform/http/transfer.h"

namespace platform {

// One kind for all levels: they are closed by one call, and a handle of another level has an
// error of its own.
class InternetObject : public Object {
  public:
    static constexpr Kind kKind = Kind::Internet;
    InternetObject() : Object(kKind) {}
};

class Session : public InternetObject {
  public:
    explicit Session(std::string userAgent) : agent(std::move(userAgent)) {}

    const std::string agent;
    ProxyRules proxies;
    Timeouts timeouts;
};

class Connection : public InternetObject {
  public:
    // `port` INTERNET_DEFAULT_PORT: the scheme's own. Throws ERROR_WINHTTP_INVALID_URL.
    Connection(std::shared_ptr<Session> session, std::string_view server, WORD port);

    [[nodiscard]] const std::shared_ptr<Session>& Parent() const { return session_; }
    [[nodiscard]] HttpUrl UrlOf(bool secure, std::string_view object) const;

  private:
    std::shared_ptr<Session> session_;
    std::string host_;
    std::optional<WORD> port_;
};

class Request : public InternetObject {
  public:
    // Proxies and time-outs are the session's as they are now.
    Request(const Connection& connection, std::string verb, std::string_view object, bool secure,
            bool version10);

    ProxyRules proxies;
    Timeouts timeouts;
    RequestHeaders headers;
    DWORD ignoredFaults = 0;
    DWORD autologon = WINHTTP_AUTOLOGON_SECURITY_LEVEL_DEFAULT;

    // Null: the client has none.
    void SetClientCertificate(std::shared_ptr<Certificate> certificate);
    void SetCredentials(DWORD target, DWORD scheme, std::string user, Secret password);

    // `total` counts `body` and what Write brings. Throws what a transfer throws.
    void Send(ByteView body, std::uint64_t total);
    void Write(ByteView piece);
    // Follows redirects. Throws ERROR_WINHTTP_REDIRECT_FAILED when there are too many,
    // ERROR_WINHTTP_RESEND_REQUEST when a challenge needs a body that was not kept.
    void Receive();

    // The three throw ERROR_WINHTTP_INCORRECT_HANDLE_STATE before an answer.
    [[nodiscard]] const ResponseHead& Head() const;
    std::size_t Await();
    std::size_t Read(void* buffer, std::size_t size);

  private:
    enum class State { Open, Sent, Answered };

    void Start(HttpUrl url, std::string verb, Bytes body, std::uint64_t total);
    void ReceiveHead();
    void NoteChallenge(const ResponseHead& head);
    bool FollowRedirect();
    [[nodiscard]] Login LoginFor(DWORD target, const HttpUrl& url) const;
    [[nodiscard]] TlsRules TlsRulesFor(const HttpUrl& url);
    [[nodiscard]] std::vector<Header> HeadersFor(const HttpUrl& url, bool withBody) const;
    void Require(State state) const;

    std::string agent_;
    HttpUrl url_;
    std::string verb_;
    bool version10_;

    struct Credentials {
        DWORD scheme = 0;
        std::string user;
        Secret password;
        DWORD challenged = 0;  // schemes that were offered
    };
    Credentials credentials_[2];  // by WINHTTP_AUTH_TARGET_*
    bool certificateTold_ = false;
    std::shared_ptr<Certificate> certificate_;
    std::shared_ptr<const ClientIdentity> identity_;

    State state_ = State::Open;
    ResponseHead head_;
    Transfer transfer_;
};

}  // namespace platform
