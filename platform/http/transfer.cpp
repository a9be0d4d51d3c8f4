// One transfer, driven by the calls that wait for it.
#include "platform/http/transfer.h"

#include <openssl/err.h>

#include <algorithm>
#include <cstring>

#include "platform/http/call_guard.h"
#include "platform/http/faults.h"

namespace platform {
namespace {

// So much of an answer lies here before the server has to wait.
constexpr std::size_t kMostReceived = 256 * 1024;
constexpr int kPollMilliseconds = 1000;
constexpr DWORD kFirstFinalStatus = 200;
constexpr DWORD kUnauthorized = 401;
constexpr DWORD kProxyUnauthorized = 407;

}  // namespace

Transfer::~Transfer() {
    const CallGuard guard;
    Stop();
    multi_.reset();
}

void Transfer::Stop() {
    if (easy_) Curl().curl_multi_remove_handle(multi_.get(), easy_.get());
    easy_.reset();
    headerLines_.reset();
}

// Connections with TLS are kept for the next request, unless they were made under other rules:
// libcurl would not notice.
void Transfer::PrepareTls() {
    const bool same = tls_ && tls_->Rules() == request_.tls && !tls_->CertificateMissed();
    if (!same) {
        multi_.reset();
        tls_.reset();
        if (request_.url.secure) tls_ = std::make_unique<TlsGuard>(request_.tls);
    }
    if (!multi_) multi_.reset(Curl().curl_multi_init());
}

void Transfer::Start(TransferRequest request) {
    const CallGuard guard;
    Stop();
    request_ = std::move(request);
    PrepareTls();
    easy_.reset(Curl().curl_easy_init());
    if (!multi_ || !easy_) throw Error(ERROR_OUTOFMEMORY);
    bodyAt_ = 0;
    handedOut_ = 0;
    head_ = ResponseHead();
    received_.clear();
    receivedAt_ = 0;
    sendPaused_ = bodyBegun_ = receivePaused_ = connected_ = finished_ = false;
    fault_.reset();
    callbackFault_.reset();
    SetOptions();
    Curl().curl_multi_add_handle(multi_.get(), easy_.get());
    Drive([this] { return connected_ && Unsent() == 0; });
    // A quick answer that was cut short is still one to be looked at.
    if (fault_ && !HeadFinal()) throw Error(*fault_);
}

void Transfer::Write(ByteView piece) {
    if (piece.size() > request_.bodySize - handedOut_ - Unsent()) {
        throw Error(ERROR_INVALID_PARAMETER);
    }
    if (piece.empty()) return;
    request_.body.erase(request_.body.begin(),
                        request_.body.begin() + static_cast<std::ptrdiff_t>(bodyAt_));
    bodyAt_ = 0;
    request_.body.insert(request_.body.end(), piece.begin(), piece.end());
    Resume();
    // An answer may come before the whole request was sent; it is the caller's to look at.
    Drive([this] { return Unsent() == 0 || HeadFinal(); });
    if (fault_ && !HeadFinal()) throw Error(*fault_);
}

std::optional<Bytes> Transfer::TakeBody() {
    if (request_.body.size() != request_.bodySize) return std::nullopt;
    return std::move(request_.body);
}

const ResponseHead& Transfer::Receive() {
    // The server would wait for the rest, and the caller for the server.
    if (!BodyTold() && !HeadFinal()) throw Error(ERROR_WINHTTP_INCORRECT_HANDLE_STATE);
    Drive([this] { return HeadFinal(); });
    if (fault_ && !HeadFinal()) throw Error(*fault_);
    return head_;
}

std::size_t Transfer::Await() {
    if (receivedAt_ == received_.size()) {
        received_.clear();
        receivedAt_ = 0;
        Resume();
        Drive([this] { return !received_.empty(); });
        if (received_.empty() && fault_) throw Error(*fault_);
    }
    return received_.size() - receivedAt_;
}

std::size_t Transfer::Read(void* buffer, std::size_t size) {
    const std::size_t count = std::min(Await(), size);
    if (count > 0) std::memcpy(buffer, received_.data() + receivedAt_, count);
    receivedAt_ += count;
    return count;
}

// A head is final when nothing can follow but its body. What libcurl answers to a challenge
// by itself shows only later: it passes over that answer's body.
bool Transfer::HeadFinal() const {
    if (!head_.Complete()) return false;
    if (bodyBegun_ || (finished_ && !fault_)) return true;
    if (!connected_ || head_.Status() < kFirstFinalStatus) return false;
    const bool challenge =
        (head_.Status() == kUnauthorized && request_.server.schemes != 0) ||
        (head_.Status() == kProxyUnauthorized && request_.proxyLogin.schemes != 0);
    return !challenge;
}

// ---- driving -----------------------------------------------------------------------

template <class Until>
void Transfer::Drive(Until until) {
    const CallGuard guard;
    progress_ = Clock::now();
    while (!finished_ && !until()) {
        Step();
        if (finished_ || until()) break;
        CheckStall();
        if (finished_) break;
        Curl().curl_multi_poll(multi_.get(), nullptr, 0, kPollMilliseconds, nullptr);
    }
    // The TLS library leaves its own account of a fault behind.
    ERR_clear_error();
}

void Transfer::Step() {
    int running = 0;
    if (Curl().curl_multi_perform(multi_.get(), &running) != CURLM_OK) {
        return Finish(CURLE_FAILED_INIT);
    }
    int left = 0;
    while (const CURLMsg* message = Curl().curl_multi_info_read(multi_.get(), &left)) {
        if (message->msg == CURLMSG_DONE) return Finish(message->data.result);
    }
}

// Until the connection stands libcurl watches the time itself.
void Transfer::CheckStall() {
    if (!connected_) return;
    const bool sending = handedOut_ < request_.bodySize && !head_.Complete();
    const int limit = sending ? request_.timeouts.send : request_.timeouts.receive;
    if (limit == 0 || Clock::now() - progress_ < std::chrono::milliseconds(limit)) return;
    Finish(CURLE_OPERATION_TIMEDOUT);
}

void Transfer::Finish(CURLcode outcome) {
    finished_ = true;
    // The proxy's own answer is what the caller has to see.
    if (outcome != CURLE_OK && !TunnelRefused(outcome)) fault_ = FaultFrom(outcome);
    Curl().curl_multi_remove_handle(multi_.get(), easy_.get());
}

bool Transfer::TunnelRefused(CURLcode outcome) const {
    long status = 0;
    Curl().curl_easy_getinfo(easy_.get(), CURLINFO_HTTP_CONNECTCODE, &status);
    return outcome == CURLE_RECV_ERROR && !connected_ && head_.Complete() &&
           static_cast<DWORD>(status) == kProxyUnauthorized;
}

Error Transfer::FaultFrom(CURLcode outcome) const {
    if (callbackFault_) return *callbackFault_;
    DWORD fault = FaultOf(outcome);
    const bool answered = connected_ && head_.Complete();
    // A header line past libcurl's bound of 100 KiB looks to it like a lack of memory.
    if (outcome == CURLE_OUT_OF_MEMORY && connected_ && !answered) {
        fault = ERROR_WINHTTP_INVALID_SERVER_RESPONSE;
    }
    const bool closed = fault == ERROR_WINHTTP_CONNECTION_ERROR;
    if (tls_ && tls_->CertificateMissed() && !answered &&
        (closed || fault == ERROR_WINHTTP_SECURE_FAILURE)) {
        return Error(ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED, request_.url.HostAndPort());
    }
    // A proxy that makes no way to the server.
    const bool noWay = closed && !connected_ && !request_.proxy.Direct();
    if (noWay) fault = ERROR_WINHTTP_CANNOT_CONNECT;
    const bool proxysFault =
        noWay || outcome == CURLE_COULDNT_RESOLVE_PROXY || outcome == CURLE_PROXY;
    const std::string peer = proxysFault ? request_.proxy.hostAndPort : request_.url.HostAndPort();
    switch (fault) {
        case ERROR_WINHTTP_NAME_NOT_RESOLVED:
        case ERROR_WINHTTP_CANNOT_CONNECT:
        case ERROR_WINHTTP_TIMEOUT:
        case ERROR_WINHTTP_CONNECTION_ERROR:
            return Error(fault, peer);
        default:
            return Error(fault, errorText_);
    }
}

void Transfer::Resume() {
    if (finished_ || (!sendPaused_ && !receivePaused_)) return;
    const CallGuard guard;
    sendPaused_ = receivePaused_ = false;
    Curl().curl_easy_pause(easy_.get(), CURLPAUSE_CONT);
}

// ---- what libcurl calls --------------------------------------------------------------

std::size_t Transfer::OnHeader(char* data, std::size_t, std::size_t size, void* self) {
    // No progress: a server could go on line by line for days.
    auto& transfer = *static_cast<Transfer*>(self);
    // Behind the body there can be trailers, which nobody asks for.
    if (transfer.bodyBegun_) return size;
    try {
        transfer.head_.AddLine({data, size});
        return size;
    } catch (const Error& error) {
        transfer.callbackFault_ = error;
    } catch (...) {
        transfer.callbackFault_ = Error(ERROR_OUTOFMEMORY);
    }
    return 0;
}

std::size_t Transfer::OnBody(char* data, std::size_t, std::size_t size, void* self) {
    auto& transfer = *static_cast<Transfer*>(self);
    transfer.progress_ = Clock::now();
    transfer.bodyBegun_ = true;
    Bytes& received = transfer.received_;
    if (!received.empty() && received.size() + size > kMostReceived) {
        transfer.receivePaused_ = true;
        return CURL_WRITEFUNC_PAUSE;
    }
    try {
        received.insert(received.end(), data, data + size);
        return size;
    } catch (...) {
        transfer.callbackFault_ = Error(ERROR_OUTOFMEMORY);
        return 0;
    }
}

std::size_t Transfer::OnSend(char* buffer, std::size_t, std::size_t size, void* self) {
    auto& transfer = *static_cast<Transfer*>(self);
    transfer.progress_ = Clock::now();
    const std::size_t count = std::min(size, transfer.Unsent());
    if (count == 0) {
        if (transfer.handedOut_ == transfer.request_.bodySize) return 0;
        transfer.sendPaused_ = true;
        return CURL_READFUNC_PAUSE;
    }
    std::memcpy(buffer, transfer.request_.body.data() + transfer.bodyAt_, count);
    transfer.bodyAt_ += count;
    transfer.handedOut_ += count;
    return count;
}

int Transfer::OnRewind(void* self, curl_off_t offset, int origin) {
    auto& transfer = *static_cast<Transfer*>(self);
    const bool kept = transfer.handedOut_ == transfer.bodyAt_;
    if (!kept || origin != SEEK_SET || offset != 0) return CURL_SEEKFUNC_FAIL;
    transfer.bodyAt_ = 0;
    transfer.handedOut_ = 0;
    return CURL_SEEKFUNC_OK;
}

int Transfer::OnConnected(void* self, char*, char*, int, int) {
    auto& transfer = *static_cast<Transfer*>(self);
    transfer.connected_ = true;
    // What was answered so far came from the proxy on the way, or asked for a login.
    transfer.head_ = ResponseHead();
    transfer.progress_ = Clock::now();
    return CURL_PREREQFUNC_OK;
}

CURLcode Transfer::OnTls(CURL*, void* context, void* self) {
    auto& transfer = *static_cast<Transfer*>(self);
    try {
        transfer.tls_->Apply(static_cast<SSL_CTX*>(context));
        return CURLE_OK;
    } catch (const Error& error) {
        transfer.callbackFault_ = error;
    } catch (...) {
        transfer.callbackFault_ = Error(ERROR_OUTOFMEMORY);
    }
    return CURLE_SSL_CERTPROBLEM;
}

}  // namespace platform
