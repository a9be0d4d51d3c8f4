// Whole answers from addresses that certificates name: which are asked, and what is taken.
#include "platform/http/download.h"

#include <cstdlib>

#include "tests/platform/http/servers.h"
#include "tests/support/certificates.h"

namespace platform::testing {
namespace {

TEST(Download, WhichAddressesAreAsked) {
    const struct {
        const char* address;
        bool asked;
    } rows[] = {
        {"http://a/b", true},
        {"HTTPS://a", true},
        {"ldap://a/CN=b?c?base", true},
        {"http://[::1]:80/", true},
        {"http://a/b@c", true},
        {"http://a/?b@c", true},
        {"file:///etc/a", false},
        {"", false},
        {"http://", false},
        {"ldap:///CN=a", false},
        {"http://a b/", false},
        {"http://a/\n", false},
        {"http://a/\xD0\xB1", false},
        {"http://ann:x@a/", false},
        {"https://ann@a?b", false},
    };
    for (const auto& row : rows) EXPECT_EQ(IsDownloadable(row.address), row.asked) << row.address;
}

// The code that it ends with: an answer comes with 0 alone.
DWORD Fetched(const std::string& address, const Bytes& body = {}) {
    Bytes answer;
    const DWORD code = CodeOf([&] {
        answer = Download({address, body, "text/x", std::chrono::milliseconds(3000), 1024 * 1024});
    });
    EXPECT_EQ(answer.empty(), code != 0) << address;
    return code;
}

TEST_F(HomesTest, WhatDownloadsTake) {
    MakeAuthority();
    Trust("root.pem");
    const auto http = [](const std::string& object) {
        return "http://127.0.0.1:" + std::to_string(Own().clear) + object;
    };
    const auto https = [](WORD port, const std::string& object = "/") {
        return "https://127.0.0.1:" + std::to_string(port) + object;
    };
    const std::string clear = http("/echo");
    const std::string secure = https(Own().good);
    const auto to = [](const std::string& code, const std::string& where) {
        return "/status?code=" + code + "&to=" + where;
    };
    const DWORD invalid = ERROR_WINHTTP_INVALID_SERVER_RESPONSE;
    const DWORD insecure = ERROR_WINHTTP_SECURE_FAILURE;
    const struct {
        const char* name;
        DWORD code;
        std::string address;
        Bytes body = {};
    } rows[] = {
        {"in clear", 0, clear},
        {"secure", 0, secure},
        {"a server that nobody trusts", insecure, https(Own().strange)},
        {"a server of another name", insecure, https(Own().otherHost)},
        {"from clear to secure", 0, http(to("302", secure))},
        {"from secure to clear", invalid, https(Own().good, to("302", clear))},
        {"to another scheme", invalid, http(to("302", "ldap://127.0.0.1/"))},
        {"ten steps", 0, http("/steps?left=9")},
        {"eleven steps", ERROR_WINHTTP_REDIRECT_FAILED, http("/steps?left=10")},
        {"a body", 0, clear, {1}},
        {"a body that goes on", 0, http(to("307", clear)), {1}},
        {"a body that would be lost", invalid, http(to("302", clear)), {1}},
        {"another status", invalid, http("/status?code=299")},
        {"a server that wants a login", invalid, http("/challenge?offer=Basic%20realm=x")},
        {"10 MiB where 1 may come", ERROR_FILE_TOO_LARGE, http("/big")},
        {"cut", ERROR_WINHTTP_CONNECTION_ERROR, http("/cut")},
        {"silence in the middle", ERROR_WINHTTP_TIMEOUT, http("/hang-in-body")},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Fetched(row.address, row.body), row.code) << row.name;
    }
    TakeLog();
    Fetched(clear);
    EXPECT_EQ(TakeLog(), "GET /echo auth=- proxy=- cookie=- body=0\n");
    setenv("http_proxy", http("").c_str(), 1);
    EXPECT_EQ(Fetched("http://nowhere.example/"), invalid);
    EXPECT_EQ(TakeLog(), "GET http://nowhere.example/ auth=- proxy=- cookie=- body=0\n");
    unsetenv("http_proxy");
}

}  // namespace
}  // namespace platform::testing
