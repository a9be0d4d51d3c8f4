// An address asked to its end by libcurl's blocking call.
#include "platform/http/download.h"
#include "platform/http/ground.h"  // before the sockets

#include <linux/tcp.h>
#include <netinet/in.h>
#include <openssl/err.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>

#include "platform/base/error.h"
#include "platform/base/text.h"
#include "platform/http/call_guard.h"
#include "platform/http/curl_library.h"
#include "platform/http/faults.h"
#include "platform/http/proxy.h"
#include "platform/http/trust.h"
#include "platform/http/url.h"
#include "platform/stores/bundle_text.h"

namespace platform {
namespace {

using Clock = std::chrono::steady_clock;

constexpr long kOk = 200;
constexpr long kFirstRedirect = 300;
constexpr long kFirstWithBody = 307;
constexpr std::string_view kLdap = "ldap://";

bool HasScheme(std::string_view address, std::string_view scheme) {
    return SameName(address.substr(0, scheme.size()), scheme);
}

std::string_view AuthorityOf(std::string_view address) {
    const std::size_t begin = address.find("://") + 3;
    return address.substr(begin,
                          std::min(address.find_first_of("/?#", begin), address.size()) - begin);
}

// One request to one address; a redirect is the next one's affair.
class Step {
  public:
    Step(const DownloadRequest& request, Clock::time_point until)
        : request_(request), until_(until), easy_(Curl().curl_easy_init()) {
        if (!easy_) throw Error(ERROR_OUTOFMEMORY);
        LeaveResolverBehind(easy_.get());
        Set(CURLOPT_NOSIGNAL, 1L);
        Set(CURLOPT_ERRORBUFFER, errorText_);
        Set(CURLOPT_FOLLOWLOCATION, 0L);
        Set(CURLOPT_DISALLOW_USERNAME_IN_URL, 1L);
        Set(CURLOPT_WRITEFUNCTION, &OnBody);
        Set(CURLOPT_WRITEDATA, this);
        Set(CURLOPT_PROXY, "");
        Set(CURLOPT_NOPROXY, "");
    }

    void AskHttp(const HttpUrl& url) {
        Set(CURLOPT_PROTOCOLS_STR, "http,https");
        SetProxy(UserProxyRules().For(url), url);
        if (url.secure) SetTls();
        if (!request_.body.empty()) SetBody();
        Perform(url.Text());
        Curl().curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &status_);
    }

    void AskLdap() {
        Set(CURLOPT_PROTOCOLS_STR, "ldap");
        // libldap holds a whole message before any of it is a body.
        Set(CURLOPT_SOCKOPTFUNCTION, &OnSocket);
        Set(CURLOPT_SOCKOPTDATA, this);
        Set(CURLOPT_XFERINFOFUNCTION, &OnProgress);
        Set(CURLOPT_XFERINFODATA, this);
        Set(CURLOPT_NOPROGRESS, 0L);
        Perform(request_.address);
    }

    [[nodiscard]] long Status() const { return status_; }
    [[nodiscard]] Bytes TakeBody() { return std::move(body_); }
    [[nodiscard]] std::string Location() const {
        const char* location = nullptr;
        Curl().curl_easy_getinfo(easy_.get(), CURLINFO_REDIRECT_URL, &location);
        return location == nullptr ? std::string() : location;
    }

  private:
    template <class Value>
    void Set(CURLoption option, Value value) {
        if (Curl().curl_easy_setopt(easy_.get(), option, value) != CURLE_OK) {
            throw Error(ERROR_WINHTTP_INTERNAL_ERROR);
        }
    }

    void SetProxy(const Proxy& proxy, const HttpUrl& url) {
        if (proxy.Direct()) return;
        Set(CURLOPT_PROXY, (proxy.scheme + "://" + proxy.hostAndPort).c_str());
        Set(CURLOPT_HTTPPROXYTUNNEL, url.secure ? 1L : 0L);
        if (proxy.user.empty()) return;
        std::string password(proxy.password.Text());
        Set(CURLOPT_PROXYUSERNAME, proxy.user.c_str());
        Set(CURLOPT_PROXYPASSWORD, password.c_str());
        Set(CURLOPT_PROXYAUTH, static_cast<long>(CURLAUTH_ANY));
        Wipe(password);
    }

    void SetTls() {
        TlsRules rules;
        rules.certificateRefused = true;
        tls_ = std::make_unique<TlsGuard>(std::move(rules));
        Set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
        Set(CURLOPT_CAINFO, static_cast<const char*>(nullptr));
        Set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
        Set(CURLOPT_SSL_CTX_FUNCTION, &OnTls);
        Set(CURLOPT_SSL_CTX_DATA, tls_.get());
    }

    void SetBody() {
        for (const std::string& line :
             {"Content-Type: " + request_.contentType, std::string("Expect:")}) {
            curl_slist* longer = Curl().curl_slist_append(headers_.get(), line.c_str());
            if (longer == nullptr) throw Error(ERROR_OUTOFMEMORY);
            static_cast<void>(headers_.release());
            headers_.reset(longer);
        }
        Set(CURLOPT_HTTPHEADER, headers_.get());
        Set(CURLOPT_POST, 1L);
        Set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request_.body.size()));
        Set(CURLOPT_POSTFIELDS, reinterpret_cast<const char*>(request_.body.data()));
    }

    void Perform(const std::string& address) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(until_ - Clock::now()).count();
        if (left <= 0) throw Error(ERROR_WINHTTP_TIMEOUT);
        Set(CURLOPT_URL, address.c_str());
        Set(CURLOPT_TIMEOUT_MS, static_cast<long>(left));
        const CURLcode outcome = Curl().curl_easy_perform(easy_.get());
        ERR_clear_error();
        if (tooLarge_) throw Error(ERROR_FILE_TOO_LARGE);
        if (outcome != CURLE_OK) throw Error(FaultOf(outcome), errorText_);
    }

    static std::size_t OnBody(char* data, std::size_t, std::size_t size, void* self) {
        Step& step = *static_cast<Step*>(self);
        step.tooLarge_ = size > step.request_.most - step.body_.size();
        if (step.tooLarge_) return 0;
        step.body_.insert(step.body_.end(), data, data + size);
        return size;
    }

    static int OnSocket(void* self, curl_socket_t socket, curlsocktype) {
        static_cast<Step*>(self)->socket_ = socket;
        return CURL_SOCKOPT_OK;
    }

    // By what the kernel counts. The answer comes in BASE64 later, and with a frame.
    static int OnProgress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
        Step& step = *static_cast<Step*>(self);
        tcp_info info{};
        socklen_t size = sizeof info;
        const bool told = step.socket_ != CURL_SOCKET_BAD &&
                          getsockopt(step.socket_, IPPROTO_TCP, TCP_INFO, &info, &size) == 0;
        step.tooLarge_ = told && info.tcpi_bytes_received > step.request_.most;
        return step.tooLarge_ ? 1 : 0;
    }

    static CURLcode OnTls(CURL*, void* context, void* guard) {
        try {
            static_cast<TlsGuard*>(guard)->Apply(static_cast<SSL_CTX*>(context));
            return CURLE_OK;
        } catch (...) {
            return CURLE_OUT_OF_MEMORY;  // there is no client's certificate to be refused
        }
    }

    const DownloadRequest& request_;
    const Clock::time_point until_;
    std::unique_ptr<TlsGuard> tls_;  // goes after the connection
    std::unique_ptr<curl_slist, CurlFreer<&CurlLibrary::curl_slist_free_all>> headers_;
    char errorText_[CURL_ERROR_SIZE] = "";
    Bytes body_;
    bool tooLarge_ = false;
    curl_socket_t socket_ = CURL_SOCKET_BAD;
    long status_ = 0;
    std::unique_ptr<CURL, CurlFreer<&CurlLibrary::curl_easy_cleanup>> easy_;
};

HttpUrl Next(const HttpUrl& url, const Step& step, bool hasBody) {
    const auto next = ResolveLocation(url, step.Location());
    const bool dropsBody = hasBody && step.Status() < kFirstWithBody;
    if (step.Location().empty() || !next || (url.secure && !next->secure) || dropsBody) {
        throw Error(ERROR_WINHTTP_INVALID_SERVER_RESPONSE, std::to_string(step.Status()));
    }
    return *next;
}

Bytes DownloadHttp(const DownloadRequest& request, Clock::time_point until) {
    HttpUrl base;
    base.host = "localhost";
    auto url = ResolveLocation(base, request.address);
    if (!url) throw Error(ERROR_WINHTTP_INVALID_URL);
    for (int redirects = 0; redirects <= kMostRedirects; ++redirects) {
        Step step(request, until);
        step.AskHttp(*url);
        if (step.Status() == kOk) return step.TakeBody();
        if (step.Status() < kFirstRedirect || step.Status() >= kFirstRedirect + 100) {
            throw Error(ERROR_WINHTTP_INVALID_SERVER_RESPONSE, std::to_string(step.Status()));
        }
        url = Next(*url, step, !request.body.empty());
    }
    throw Error(ERROR_WINHTTP_REDIRECT_FAILED);
}

// libcurl writes an entry as lines "attribute: text" and "attribute:: BASE64".
Bytes FirstBinaryValue(const Bytes& entry) {
    constexpr std::string_view kMark = ":: ";
    const std::string_view text(reinterpret_cast<const char*>(entry.data()), entry.size());
    const std::size_t mark = text.find(kMark);
    if (mark == text.npos) throw Error(ERROR_WINHTTP_INVALID_SERVER_RESPONSE);
    const std::size_t begin = mark + kMark.size();
    return DecodeBase64(ViewOf(text.substr(begin, text.find('\n', begin) - begin)));
}

}  // namespace

bool IsDownloadable(std::string_view address) {
    constexpr std::array<std::string_view, 3> kSchemes = {"http://", "https://", kLdap};
    const bool known = std::any_of(kSchemes.begin(), kSchemes.end(),
                                   [&](auto scheme) { return HasScheme(address, scheme); });
    const bool plain =
        std::all_of(address.begin(), address.end(), [](char c) { return c > ' ' && c < 0x7F; });
    if (!known || !plain) return false;
    const std::string_view authority = AuthorityOf(address);
    return !authority.empty() && authority.find('@') == authority.npos;
}

bool TakesRequests(std::string_view address) {
    return IsDownloadable(address) && !HasScheme(address, kLdap);
}

Bytes Download(const DownloadRequest& request) {
    if (!IsDownloadable(request.address)) throw Error(ERROR_WINHTTP_UNRECOGNIZED_SCHEME);
    const CallGuard guard;
    const auto until = Clock::now() + request.limit;
    if (!HasScheme(request.address, kLdap)) return DownloadHttp(request, until);
    Step step(request, until);
    step.AskLdap();
    return FirstBinaryValue(step.TakeBody());
}

}  // namespace platform
