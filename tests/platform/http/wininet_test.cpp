// The older client interface, against the same server as the newer one.
#include "tests/platform/http/servers.h"

namespace platform::testing {
namespace {

class WinInetTest : public HomesTest {};

using Handle = std::unique_ptr<void, Freer<InternetCloseHandle>>;

std::string Here() { return "127.0.0.1:" + std::to_string(Own().clear); }

// A port in the name wins.
struct Form {
    explicit Form(const char* object, const char* referrer = nullptr)
        : internet(InternetOpenA("Tests", INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0)),
          connection(InternetConnectA(internet.get(), Here().c_str(), INTERNET_DEFAULT_HTTP_PORT,
                                      nullptr, nullptr, INTERNET_SERVICE_HTTP, 0, 0)),
          request(HttpOpenRequestA(connection.get(), "POST", object, nullptr, referrer, nullptr, 0,
                                   0)) {}

    DWORD Send(std::string body = {}) const {
        const auto size = static_cast<DWORD>(body.size());
        return HttpSendRequestA(request.get(), nullptr, 0, body.data(), size) ? 0 : GetLastError();
    }

    Handle internet, connection, request;
};

TEST_F(WinInetTest, TheRequestAsTheServerSeesIt) {
    TakeLog();
    const Form doubled("a//b/../c");
    EXPECT_EQ(doubled.Send(), 0U);
    EXPECT_TRUE(TakeLog().starts_with("POST /a//b/../c "));
    const Form form("echo", "*/*");
    EXPECT_NE(HttpAddRequestHeadersA(form.request.get(), "Content-Type: text/x\r\n",
                                     static_cast<DWORD>(-1),
                                     HTTP_ADDREQ_FLAG_ADD | HTTP_ADDREQ_FLAG_REPLACE),
              FALSE);
    EXPECT_EQ(form.Send("a=b"), 0U);
    char answer[1000] = "";
    DWORD read = 0;
    EXPECT_NE(InternetReadFile(form.request.get(), answer, sizeof answer - 1, &read), FALSE);
    EXPECT_EQ(std::string(answer), "POST /echo HTTP/1.1\nHost: " + Here() +
                                       "\nUser-Agent: Tests\nReferer: */*\nContent-Type: "
                                       "text/x\nContent-Length: 3\n\na=b");
}

TEST_F(WinInetTest, ReadsWaitForAllThatIsAskedFor) {
    const struct {
        const char* object;
        DWORD asked;
        DWORD error;
        DWORD first;
        DWORD second;
    } rows[] = {
        {"/chunked", 100, 0, 13, 0},
        {"/chunked", 13, 0, 13, 0},
        {"/chunked", 12, 0, 12, 1},
        {"/big", 102399, 0, 102399, 102399},
        {"/status?code=204", 100, 0, 0, 0},
        {"/status?code=302&to=/", 3, 0, 3, 1},
        {"/cut", 100, ERROR_INTERNET_CONNECTION_ABORTED, 0, 0},
    };
    std::vector<char> buffer(102400);
    for (const auto& row : rows) {
        const Form form(row.object);
        EXPECT_EQ(form.Send(), 0U);
        DWORD counts[2] = {7, 7};
        const BOOL done =
            InternetReadFile(form.request.get(), buffer.data(), row.asked, &counts[0]);
        EXPECT_EQ(done ? 0 : GetLastError(), row.error) << row.object;
        EXPECT_EQ(counts[0], row.first) << row.object;
        if (!done) continue;
        InternetReadFile(form.request.get(), buffer.data(), row.asked, &counts[1]);
        EXPECT_EQ(counts[1], row.second) << row.object;
    }
    EXPECT_EQ(Form("/nothing").Send(), static_cast<DWORD>(ERROR_INTERNET_CONNECTION_ABORTED));
}

// The size before, and the error, size and text after.
TEST_F(WinInetTest, Queries) {
    const Form form("/cookies");
    DWORD size = 4;
    DWORD status = 0;
    EXPECT_EQ(HttpQueryInfoA(form.request.get(), HTTP_QUERY_STATUS_CODE, &status, &size, nullptr),
              FALSE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INTERNET_INCORRECT_HANDLE_STATE));
    EXPECT_EQ(form.Send(), 0U);
    constexpr DWORD kNumber = HTTP_QUERY_STATUS_CODE | HTTP_QUERY_FLAG_NUMBER;
    const struct {
        DWORD query;
        DWORD before;
        DWORD error;
        DWORD after;
        const char* text;
    } rows[] = {
        {HTTP_QUERY_SET_COOKIE, 100, 0, 11, "a=1; path=/"},
        {HTTP_QUERY_SET_COOKIE, 12, 0, 11, "a=1; path=/"},
        {HTTP_QUERY_SET_COOKIE, 11, ERROR_INSUFFICIENT_BUFFER, 12, ""},
        {HTTP_QUERY_STATUS_CODE, 100, 0, 3, "200"},
        {kNumber, 4, 0, 4, "\xC8"},
        {kNumber, 3, ERROR_INSUFFICIENT_BUFFER, 4, ""},
        {22, 100, ERROR_INVALID_PARAMETER, 100, ""},
    };
    for (const auto& row : rows) {
        char buffer[100] = "";
        size = row.before;
        const BOOL done = HttpQueryInfoA(form.request.get(), row.query, buffer, &size, nullptr);
        EXPECT_EQ(done ? 0 : GetLastError(), row.error) << row.query << " " << row.before;
        EXPECT_EQ(size, row.after) << row.query << " " << row.before;
        EXPECT_STREQ(buffer, row.text);
    }
    // One header after the other; and none is sent back.
    DWORD index = 1;
    char second[10] = "";
    size = sizeof second;
    EXPECT_NE(HttpQueryInfoA(form.request.get(), HTTP_QUERY_SET_COOKIE, second, &size, &index), 0);
    EXPECT_STREQ(second, "b=2");
    EXPECT_EQ(HttpQueryInfoA(form.request.get(), HTTP_QUERY_SET_COOKIE, second, &size, &index), 0);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_HTTP_HEADER_NOT_FOUND));
    TakeLog();
    EXPECT_EQ(form.Send(), 0U);
    EXPECT_NE(TakeLog().find(" cookie=- "), std::string::npos);
}

TEST_F(WinInetTest, ArgumentsAreChecked) {
    const Form form("/");
    const auto connect = [&](HINTERNET parent, const char* server, const char* user,
                             DWORD service) {
        const Handle made(InternetConnectA(parent, server, 80, user, nullptr, service, 0, 0));
        return made ? 0 : GetLastError();
    };
    EXPECT_EQ(connect(form.internet.get(), "x", nullptr, 1), 87U);
    EXPECT_EQ(connect(form.internet.get(), "x", "ann", INTERNET_SERVICE_HTTP), 87U);
    EXPECT_EQ(connect(form.internet.get(), nullptr, nullptr, INTERNET_SERVICE_HTTP), 87U);
    EXPECT_EQ(connect(form.internet.get(), "a b", nullptr, INTERNET_SERVICE_HTTP),
              static_cast<DWORD>(ERROR_INTERNET_INVALID_URL));
    EXPECT_EQ(connect(form.request.get(), "x", nullptr, INTERNET_SERVICE_HTTP),
              static_cast<DWORD>(ERROR_INTERNET_INCORRECT_HANDLE_TYPE));
    EXPECT_EQ(InternetCloseHandle(nullptr), FALSE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    EXPECT_EQ(InternetOpenA("x", 2, nullptr, nullptr, 0), nullptr);
    EXPECT_EQ(GetLastError(), 87U);
    EXPECT_EQ(HttpSendRequestA(form.request.get(), nullptr, 0, nullptr, 1), FALSE);
    EXPECT_EQ(GetLastError(), 87U);
}

}  // namespace
}  // namespace platform::testing
