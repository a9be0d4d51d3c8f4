// Servers for the tests, started when first asked for and ended with the process, however it
// ends; and one way to send a request and see what came of it.
#pragma once

#include "platform/http/ground.h"

#include <memory>
#include <string>
#include <vector>

#include "tests/support/workshop.h"

namespace platform::testing {

// A test authority "root.pem" (not in any store yet) and, in Folder(), what it issued:
// NAME.pem and NAME.key of good, other-host, expired, wrong-usage, client, strange (of its
// own making) and both of these together: expired-other.
void MakeAuthority();

// Ports of tests/support/web_server.py, one for each way of its TLS.
struct OwnServer {
    WORD clear, good, otherHost, expired, wrongUsage, strange, wantsClient, mayHaveClient, oldTls,
        late;
};
const OwnServer& Own();
// What it was asked since the last call: "METHOD PATH auth=.. proxy=.. cookie=.. body=SIZE".
std::string TakeLog();

// Ports of tests/support/real_servers.py.
struct RealServers {
    WORD clear, tls, client, proxy;
};
const RealServers& Real();

using InternetHolder = std::unique_ptr<void, Freer<WinHttpCloseHandle>>;

InternetHolder OpenSession(const std::string& proxy = {}, const std::string& bypass = {});

// A request that is ready to be sent.
class Exchange {
  public:
    Exchange(WORD port, const std::string& object, bool secure = false,
             const std::string& verb = "GET", const std::string& proxy = {},
             const std::string& host = "127.0.0.1");

    // Sends, receives and reads all. 0 or the last error of what failed.
    DWORD Run(const std::string& body = {});
    [[nodiscard]] DWORD Send(const std::string& body = {}) const;
    [[nodiscard]] DWORD Receive() const;
    DWORD ReadAll();
    // Errors as above.
    [[nodiscard]] DWORD Flags(DWORD flags) const;
    [[nodiscard]] DWORD Login(DWORD target, DWORD scheme, const std::wstring& user,
                              const std::wstring& password) const;
    [[nodiscard]] DWORD Autologon(DWORD level) const;

    [[nodiscard]] HINTERNET Get() const { return request_.get(); }
    [[nodiscard]] DWORD Status() const;
    [[nodiscard]] const std::string& Body() const { return body_; }

  private:
    InternetHolder session_, connection_, request_;
    std::string body_;
};

}  // namespace platform::testing
