// One request to one address and its answer, on libcurl, driven by the calls that send and
// read: nothing happens between them, and no more of an answer is held than was asked for
// and one buffer.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/bytes.h"
#include "platform/base/error.h"
#include "platform/http/curl_library.h"
#include "platform/http/headers.h"
#include "platform/http/proxy.h"
#include "platform/http/trust.h"
#include "platform/http/url.h"

namespace platform {

// Milliseconds; 0: none.
struct Timeouts {
    int resolve = 0;
    int connect = 60'000;
    int send = 30'000;
    int receive = 30'000;
};

// Nothing goes out before a challenge, unless one was seen before.
struct Login {
    DWORD schemes = 0;  // WINHTTP_AUTH_SCHEME_*; 0: none
    bool challenged = false;
    std::string user;  // empty with Negotiate: the user's ticket
    Secret password;
};

struct TransferRequest {
    HttpUrl url;
    std::string verb;
    std::string agent;
    bool version10 = false;
    std::vector<Header> headers;
    Timeouts timeouts;
    Proxy proxy;
    TlsRules tls;
    Login server;
    Login proxyLogin;
    Bytes body;
    std::uint64_t bodySize = 0;  // more than `body`: the rest comes by Write
};

class Transfer {
  public:
    Transfer() = default;
    ~Transfer();
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    // Ends what ran before, connects and sends what there is of the request. All calls
    // throw the faults of faults.h, ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED, and
    // ERROR_WINHTTP_TIMEOUT.
    void Start(TransferRequest request);
    // More of the body. Throws ERROR_INVALID_PARAMETER past the size that was told.
    void Write(ByteView piece);
    // Waits for the head of the answer. Throws ERROR_WINHTTP_INCORRECT_HANDLE_STATE while a
    // part of the body is missing.
    const ResponseHead& Receive();
    // Waits for some of the answer's body: the count that is there, 0 at its end.
    std::size_t Await();
    std::size_t Read(void* buffer, std::size_t size);

    // What there is of the head, whatever became of the answer.
    [[nodiscard]] const ResponseHead& Head() const { return head_; }
    [[nodiscard]] const TransferRequest& Request() const { return request_; }
    // The body that was sent, for a resend; no value when not all of it was kept.
    [[nodiscard]] std::optional<Bytes> TakeBody();

  private:
    using Clock = std::chrono::steady_clock;

    void Stop();
    void PrepareTls();
    void SetOptions();
    void SetRequestOptions();
    void SetHeaders();
    void SetProxy();
    void SetLogin(const Login& login, CURLoption schemes, CURLoption user, CURLoption password);
    void SetTls();
    template <class Value>
    void Set(CURLoption option, Value value);

    template <class Until>
    void Drive(Until until);
    void Step();
    void CheckStall();
    void Finish(CURLcode outcome);
    [[nodiscard]] Error FaultFrom(CURLcode outcome) const;
    [[nodiscard]] bool TunnelRefused(CURLcode outcome) const;
    [[nodiscard]] std::size_t Unsent() const { return request_.body.size() - bodyAt_; }
    [[nodiscard]] bool BodyTold() const { return handedOut_ + Unsent() == request_.bodySize; }
    [[nodiscard]] bool HeadFinal() const;
    void Resume();

    // Called by libcurl.
    static std::size_t OnHeader(char* data, std::size_t, std::size_t size, void* self);
    static std::size_t OnBody(char* data, std::size_t, std::size_t size, void* self);
    static std::size_t OnSend(char* buffer, std::size_t, std::size_t size, void* self);
    static int OnRewind(void* self, curl_off_t offset, int origin);
    static int OnConnected(void* self, char*, char*, int, int);
    static CURLcode OnTls(CURL*, void* context, void* self);

    TransferRequest request_;
    std::unique_ptr<TlsGuard> tls_;
    std::unique_ptr<CURLM, CurlFreer<&CurlLibrary::curl_multi_cleanup>> multi_;
    std::unique_ptr<CURL, CurlFreer<&CurlLibrary::curl_easy_cleanup>> easy_;
    std::unique_ptr<curl_slist, CurlFreer<&CurlLibrary::curl_slist_free_all>> headerLines_;
    char errorText_[CURL_ERROR_SIZE] = "";

    std::size_t bodyAt_ = 0;       // of request_.body, in what libcurl took
    std::uint64_t handedOut_ = 0;  // of the whole body
    bool sendPaused_ = false;

    ResponseHead head_;
    Bytes received_;
    std::size_t receivedAt_ = 0;
    bool bodyBegun_ = false;
    bool receivePaused_ = false;

    bool connected_ = false;
    bool finished_ = false;
    std::optional<Error> fault_;          // of the finished transfer
    std::optional<Error> callbackFault_;  // why a callback ended it
    Clock::time_point progress_;
};

}  // namespace platform
