// Whole answers from addresses that certificates name: which are asked, and what is taken.
#include "platform/http/download.h"

#include <cstdlib>

#include "platform/stores/store.h"
#include "tests/platform/http/servers.h"

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
        {"ldaps://a/", false},
        {"file:///etc/a", false},
        {"ftp://a/", false},
        {"a", false},
        {"", false},
        {"http:/a", false},
        {"http://", false},
        {"http:///a", false},
        {"ldap:///CN=a", false},
        {"http://a b/", false},
        {"http://a/\n", false},
        {"http://a/\xD0\xB1", false},
        {"http://ann@a/", false},
        {"http://ann:x@a/", false},
        {"https://ann@a?b", false},
    };
    for (const auto& row : rows) EXPECT_EQ(IsDownloadable(row.address), row.asked) << row.address;
}

struct Outcome {
    DWORD code = 0;
    std::string body;
};

Outcome Fetched(const std::string& address, const Bytes& body = {}) {
    Outcome outcome;
    try {
        const Bytes answer =
            Download({address, body, "text/x", std::chrono::milliseconds(3000), 1024 * 1024});
        outcome.body.assign(answer.begin(), answer.end());
    } catch (const Error& error) {
        outcome.code = error.Code();
    }
    return outcome;
}

TEST_F(HomesTest, WhatDownloadsTake) {
    MakeAuthority();
    OpenSystemStore(Side::User, "Root", OpenMode::OpenOrCreate)
        ->Add(*ReadBundle(ReadFile("root.pem")).certificates.front(), CERT_STORE_ADD_NEW);
    const auto at = [](const char* scheme, WORD port, const std::string& object) {
        return std::string(scheme) + "://127.0.0.1:" + std::to_string(port) + object;
    };
    const std::string clear = at("http", Own().clear, "/echo");
    const std::string secure = at("https", Own().good, "/");
    const auto to = [](const std::string& code, const std::string& where) {
        return "/status?code=" + code + "&to=" + where;
    };
    const struct {
        const char* name;
        DWORD code;
        std::string address;
        Bytes body = {};
    } rows[] = {
        {"in clear", 0, clear},
        {"secure", 0, secure},
        {"a server that nobody trusts", ERROR_WINHTTP_SECURE_FAILURE,
         at("https", Own().strange, "/")},
        {"a server of another name", ERROR_WINHTTP_SECURE_FAILURE,
         at("https", Own().otherHost, "/")},
        {"from clear to secure", 0, at("http", Own().clear, to("302", secure))},
        {"from secure to clear", ERROR_WINHTTP_INVALID_SERVER_RESPONSE,
         at("https", Own().good, to("302", clear))},
        {"to another scheme", ERROR_WINHTTP_INVALID_SERVER_RESPONSE,
         at("http", Own().clear, to("302", "ldap://127.0.0.1/"))},
        {"ten steps", 0, at("http", Own().clear, "/steps?left=9")},
        {"eleven steps", ERROR_WINHTTP_REDIRECT_FAILED, at("http", Own().clear, "/steps?left=10")},
        {"a body", 0, clear, {1}},
        {"a body that goes on", 0, at("http", Own().clear, to("307", clear)), {1}},
        {"a body that would be lost",
         ERROR_WINHTTP_INVALID_SERVER_RESPONSE,
         at("http", Own().clear, to("302", clear)),
         {1}},
        {"another status", ERROR_WINHTTP_INVALID_SERVER_RESPONSE,
         at("http", Own().clear, "/status?code=299")},
        {"a server that wants a login", ERROR_WINHTTP_INVALID_SERVER_RESPONSE,
         at("http", Own().clear, "/challenge?offer=Basic%20realm=x")},
        {"10 MiB where 1 may come", ERROR_FILE_TOO_LARGE, at("http", Own().clear, "/big")},
        {"cut", ERROR_WINHTTP_CONNECTION_ERROR, at("http", Own().clear, "/cut")},
        {"silence", ERROR_WINHTTP_TIMEOUT, at("http", Own().clear, "/hang")},
        {"silence in the middle", ERROR_WINHTTP_TIMEOUT, at("http", Own().clear, "/hang-in-body")},
    };
    for (const auto& row : rows) {
        const Outcome outcome = Fetched(row.address, row.body);
        EXPECT_EQ(outcome.code, row.code) << row.name;
        EXPECT_EQ(outcome.body.empty(), row.code != 0) << row.name;
    }
    TakeLog();
    Fetched(clear);
    EXPECT_EQ(TakeLog(), "GET /echo auth=- proxy=- cookie=- body=0\n");
    setenv("http_proxy", ("http://127.0.0.1:" + std::to_string(Own().clear)).c_str(), 1);
    EXPECT_EQ(Fetched("http://nowhere.example/").code, ERROR_WINHTTP_INVALID_SERVER_RESPONSE);
    EXPECT_EQ(TakeLog(), "GET http://nowhere.example/ auth=- proxy=- cookie=- body=0\n");
    unsetenv("http_proxy");
}

}  // namespace
}  // namespace platform::testing
