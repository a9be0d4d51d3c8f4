// A transfer's request as libcurl wants it told.
#include <algorithm>
#include <limits>

#include "platform/base/text.h"
#include "platform/http/transfer.h"

namespace platform {
namespace {

long Milliseconds(const Timeouts& timeouts) {
    // libcurl has one limit for name and connection, and a default of its own for 0.
    if (timeouts.connect == 0) return std::numeric_limits<int>::max();
    return static_cast<long>(timeouts.connect) + timeouts.resolve;
}

long CurlSchemes(DWORD schemes) {
    constexpr struct {
        DWORD scheme;
        unsigned long bit;
    } kBits[] = {
        {WINHTTP_AUTH_SCHEME_BASIC, CURLAUTH_BASIC},
        {WINHTTP_AUTH_SCHEME_NTLM, CURLAUTH_NTLM},
        {WINHTTP_AUTH_SCHEME_DIGEST, CURLAUTH_DIGEST},
        {WINHTTP_AUTH_SCHEME_NEGOTIATE, CURLAUTH_NEGOTIATE},
    };
    unsigned long bits = 0;
    for (const auto& row : kBits) bits |= (schemes & row.scheme) != 0 ? row.bit : 0;
    return static_cast<long>(bits);
}

}  // namespace

template <class Value>
void Transfer::Set(CURLoption option, Value value) {
    if (Curl().curl_easy_setopt(easy_.get(), option, value) != CURLE_OK) {
        throw Error(ERROR_WINHTTP_INTERNAL_ERROR);
    }
}

void Transfer::SetOptions() {
    LeaveResolverBehind(easy_.get());
    Set(CURLOPT_ERRORBUFFER, errorText_);
    Set(CURLOPT_URL, request_.url.Text().c_str());
    Set(CURLOPT_PROTOCOLS_STR, "http,https");
    Set(CURLOPT_PATH_AS_IS, 1L);
    Set(CURLOPT_FOLLOWLOCATION, 0L);
    Set(CURLOPT_HTTP_VERSION,
        static_cast<long>(request_.version10 ? CURL_HTTP_VERSION_1_0 : CURL_HTTP_VERSION_1_1));
    Set(CURLOPT_CONNECTTIMEOUT_MS, Milliseconds(request_.timeouts));
    Set(CURLOPT_HEADERFUNCTION, &OnHeader);
    Set(CURLOPT_HEADERDATA, this);
    Set(CURLOPT_WRITEFUNCTION, &OnBody);
    Set(CURLOPT_WRITEDATA, this);
    Set(CURLOPT_PREREQFUNCTION, &OnConnected);
    Set(CURLOPT_PREREQDATA, this);
    SetRequestOptions();
    SetHeaders();
    SetProxy();
    if (request_.url.secure) SetTls();
    SetLogin(request_.server, CURLOPT_HTTPAUTH, CURLOPT_USERNAME, CURLOPT_PASSWORD);
}

void Transfer::SetRequestOptions() {
    const bool post = request_.verb == "POST";
    if (post || request_.bodySize > 0) {
        Set(CURLOPT_POST, 1L);
        Set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request_.bodySize));
        Set(CURLOPT_READFUNCTION, &OnSend);
        Set(CURLOPT_READDATA, this);
        Set(CURLOPT_SEEKFUNCTION, &OnRewind);
        Set(CURLOPT_SEEKDATA, this);
    } else if (request_.verb == "HEAD") {
        Set(CURLOPT_NOBODY, 1L);
    }
    if (!post && request_.verb != "HEAD" && request_.verb != "GET") {
        Set(CURLOPT_CUSTOMREQUEST, request_.verb.c_str());
    } else if (!post && request_.bodySize > 0) {
        Set(CURLOPT_CUSTOMREQUEST, request_.verb.c_str());
    }
}

void Transfer::SetHeaders() {
    const auto add = [this](const std::string& line) {
        curl_slist* longer = Curl().curl_slist_append(headerLines_.get(), line.c_str());
        if (longer == nullptr) throw Error(ERROR_OUTOFMEMORY);
        static_cast<void>(headerLines_.release());
        headerLines_.reset(longer);
    };
    const auto told = [this](const char* name) {
        return std::any_of(request_.headers.begin(), request_.headers.end(),
                           [&](const Header& header) { return SameName(header.name, name); });
    };
    // What libcurl would add by itself; "Expect" costs a second where the server is silent.
    for (const char* name : {"Accept", "Content-Type", "Expect"}) {
        if (!told(name)) add(std::string(name) + ":");
    }
    for (const Header& header : request_.headers) {
        add(header.value.empty() ? header.name + ";" : header.name + ": " + header.value);
    }
    Set(CURLOPT_HTTPHEADER, headerLines_.get());
    if (!request_.agent.empty()) Set(CURLOPT_USERAGENT, request_.agent.c_str());
}

void Transfer::SetProxy() {
    const Proxy& proxy = request_.proxy;
    // Said also when there is none: libcurl would look into the environment by itself.
    Set(CURLOPT_NOPROXY, "");
    Set(CURLOPT_PROXY, proxy.Direct() ? "" : (proxy.scheme + "://" + proxy.hostAndPort).c_str());
    if (proxy.Direct()) return;
    Set(CURLOPT_HTTPPROXYTUNNEL, request_.url.secure ? 1L : 0L);
    SetLogin(request_.proxyLogin, CURLOPT_PROXYAUTH, CURLOPT_PROXYUSERNAME, CURLOPT_PROXYPASSWORD);
}

void Transfer::SetLogin(const Login& login, CURLoption schemes, CURLoption user,
                        CURLoption password) {
    if (login.schemes == 0) return;
    long bits = CurlSchemes(login.schemes);
    // One scheme alone goes out at once. Digest needs a fresh nonce first, for which libcurl
    // would send the request without its body: only a body that comes but once needs that.
    const bool kept = request_.body.size() == request_.bodySize;
    const bool wait = !login.challenged || (kept && login.schemes == WINHTTP_AUTH_SCHEME_DIGEST);
    if (wait) bits = static_cast<long>(static_cast<unsigned long>(bits) | CURLAUTH_ONLY);
    Set(schemes, bits);
    Set(user, login.user.c_str());
    std::string secret(login.password.Text());
    Set(password, secret.c_str());
    Wipe(secret);
}

void Transfer::SetTls() {
    Set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    Set(CURLOPT_SSL_VERIFYPEER, 1L);
    const bool anyName = (request_.tls.ignored & SECURITY_FLAG_IGNORE_CERT_CN_INVALID) != 0;
    Set(CURLOPT_SSL_VERIFYHOST, anyName ? 0L : 2L);
    // Whom to trust is the guard's: libcurl would read the system's bundle for each connection.
    Set(CURLOPT_CAINFO, static_cast<const char*>(nullptr));
    Set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
    Set(CURLOPT_SSL_CTX_FUNCTION, &OnTls);
    Set(CURLOPT_SSL_CTX_DATA, this);
}

}  // namespace platform
