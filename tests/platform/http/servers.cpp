// Servers as children of the test.
#include "tests/platform/http/servers.h"

#include "platform/base/text.h"
#include "tests/support/server_child.h"

namespace platform::testing {
namespace {

namespace fs = std::filesystem;

fs::path Support(const char* name) { return fs::path(TEST_SUPPORT) / name; }

std::string Quoted(const fs::path& path) { return "'" + path.string() + "'"; }

std::string InFolder(const std::string& name) { return (Folder() / name).string(); }

void Issue(const std::string& name, const std::string& subject, const std::string& extensions,
           const std::string& dates) {
    WriteFile(name + ".ext", ViewOf(extensions));
    OpenSsl("req -newkey rsa:2048 -nodes -keyout " + name + ".key -out " + name + ".csr -subj '" +
            subject + "'");
    OpenSsl("x509 -req -in " + name + ".csr -CA root.pem -CAkey root.key -CAcreateserial " + dates +
            " -extfile " + name + ".ext -out " + name + ".pem");
}

}  // namespace

void MakeAuthority() {
    static bool made = false;
    if (std::exchange(made, true)) return;
    const std::string here = "subjectAltName=DNS:localhost,IP:127.0.0.1\n";
    const std::string there = "subjectAltName=DNS:elsewhere.example\n";
    const std::string server = "extendedKeyUsage=serverAuth\n";
    const std::string client = "extendedKeyUsage=clientAuth\n";
    const std::string now = "-days 30";
    const std::string past = "-days -1";
    OpenSsl(
        "req -x509 -newkey rsa:2048 -nodes -keyout root.key -out root.pem -days 60 "
        "-subj '/CN=Test web authority' -addext basicConstraints=critical,CA:TRUE");
    Issue("good", "/CN=localhost", here + server, now);
    Issue("other-host", "/CN=elsewhere.example", there + server, now);
    Issue("expired", "/CN=localhost", here + server, past);
    Issue("wrong-usage", "/CN=localhost", here + client, now);
    Issue("client", "/CN=Ann", client, now);
    OpenSsl(
        "req -x509 -newkey rsa:2048 -nodes -keyout strange.key -out strange.pem -days 30 "
        "-subj /CN=localhost -addext subjectAltName=DNS:localhost,IP:127.0.0.1");
}

const OwnServer& Own() {
    MakeAuthority();
    const auto tls = [](const std::string& name, const std::string& more = {}) {
        return " '" + InFolder(name + ".pem") + ":" + InFolder(name + ".key") + more + "'";
    };
    static const ServerChild child(
        "python3 " + Quoted(Support("web_server.py")) + " " + Quoted(Folder() / "asked.log") +
        tls("good") + tls("other-host") + tls("expired") + tls("wrong-usage") + tls("strange") +
        tls("good", ":" + InFolder("root.pem")) +
        tls("good", ":" + InFolder("root.pem") + ":optional") + tls("good", ":tls1.1") +
        tls("good", ":" + InFolder("root.pem") + ":late"));
    static const OwnServer server{child[0], child[1], child[2], child[3], child[4],
                                  child[5], child[6], child[7], child[8], child[9]};
    return server;
}

std::string TakeLog() {
    std::string text = ReadText("asked.log");
    fs::remove(Folder() / "asked.log");
    return text;
}

const RealServers& Real() {
    MakeAuthority();
    static const ServerChild child(
        "PATH=$PATH:/usr/sbin python3 " + Quoted(Support("real_servers.py")) + " " +
        Quoted(Folder() / "real") + " " + Quoted(Folder() / "good.pem") + " " +
        Quoted(Folder() / "good.key") + " " + Quoted(Folder() / "root.pem"));
    static const RealServers servers{child[0], child[1], child[2], child[3]};
    return servers;
}

InternetHolder OpenSession(const std::string& proxy, const std::string& bypass) {
    if (proxy.empty()) {
        return InternetHolder(
            WinHttpOpen(L"Tests", WINHTTP_ACCESS_TYPE_NO_PROXY, nullptr, nullptr, 0));
    }
    return InternetHolder(WinHttpOpen(L"Tests", WINHTTP_ACCESS_TYPE_NAMED_PROXY,
                                      Widen(proxy).c_str(), Widen(bypass).c_str(), 0));
}

Exchange::Exchange(WORD port, const std::string& object, bool secure, const std::string& verb,
                   const std::string& proxy, const std::string& host)
    : session_(OpenSession(proxy)),
      connection_(WinHttpConnect(session_.get(), Widen(host).c_str(), port, 0)),
      request_(WinHttpOpenRequest(connection_.get(), Widen(verb).c_str(), Widen(object).c_str(),
                                  nullptr, nullptr, nullptr, secure ? WINHTTP_FLAG_SECURE : 0)) {
    EXPECT_NE(request_, nullptr) << GetLastError();
}

DWORD Exchange::Send(const std::string& body) const {
    const auto size = static_cast<DWORD>(body.size());
    return Outcome(
        WinHttpSendRequest(Get(), nullptr, 0, const_cast<char*>(body.data()), size, size, 0));
}

DWORD Exchange::Receive() const { return Outcome(WinHttpReceiveResponse(Get(), nullptr)); }

DWORD Exchange::ReadAll() {
    body_.clear();
    std::vector<char> buffer(65536);
    DWORD count = 0;
    do {
        if (WinHttpReadData(Get(), buffer.data(), 65536, &count) == FALSE) return GetLastError();
        body_.append(buffer.data(), count);
    } while (count > 0);
    return 0;
}

DWORD Exchange::Run(const std::string& body) {
    if (const DWORD error = Send(body)) return error;
    if (const DWORD error = Receive()) return error;
    return ReadAll();
}

DWORD Exchange::Flags(DWORD flags) const {
    return Outcome(WinHttpSetOption(Get(), WINHTTP_OPTION_SECURITY_FLAGS, &flags, sizeof flags));
}

DWORD Exchange::Login(DWORD target, DWORD scheme, const std::wstring& user,
                      const std::wstring& password) const {
    return Outcome(WinHttpSetCredentials(Get(), target, scheme, user.c_str(),
                                         password.empty() ? nullptr : password.c_str(), nullptr));
}

DWORD Exchange::Autologon(DWORD level) const {
    return Outcome(WinHttpSetOption(Get(), WINHTTP_OPTION_AUTOLOGON_POLICY, &level, sizeof level));
}

DWORD Exchange::Status() const {
    DWORD status = 0;
    DWORD size = sizeof status;
    WinHttpQueryHeaders(Get(), WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER, nullptr,
                        &status, &size, nullptr);
    return status;
}

}  // namespace platform::testing
