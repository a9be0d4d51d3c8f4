// The older client interface, against the same server as the newer one.
#include "tests/platform/http/servers.h"

namespace platform::testing {
namespace {

class WinInetTest : public HomesTest {};

using Handle = std::unique_ptr<void, Freer<InternetCloseHandle>>;

std::string Here() { return "127.0.0.1:" + std::to_string(Own().clear); }

// A port in the name wins.
struct Form {
    explicit Form(const char* object)
        : internet(InternetOpenA("Tests", INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0)),
          connection(InternetConnectA(internet.get(), Here().c_str(), INTERNET_DEFAULT_HTTP_PORT,
                                      nullptr, nullptr, INTERNET_SERVICE_HTTP, 0, 0)),
          request(HttpOpenRequestA(connection.get(), "POST", object, nullptr, nullptr, nullptr, 0,
                                   0)) {}

    DWORD Send(std::string body = {}) const {
        const auto size = static_cast<DWORD>(body.size());
        return Outcome(HttpSendRequestA(request.get(), nullptr, 0, body.data(), size));
    }
    DWORD Read(char* buffer, DWORD size, DWORD& read) const {
        return Outcome(InternetReadFile(request.get(), buffer, size, &read));
    }
    DWORD Query(DWORD query, char* buffer, DWORD& size, DWORD* index = nullptr) const {
        return Outcome(HttpQueryInfoA(request.get(), query, buffer, &size, index));
    }

    Handle internet, connection, request;
};

TEST_F(WinInetTest, ReadsWaitForAllThatIsAskedFor) {
    const struct {
        const char* object;
        DWORD asked;
        DWORD error;
        DWORD first;
        DWORD second;
    } rows[] = {
        {"/chunked", 100, 0, 13, 0},
        {"/chunked", 12, 0, 12, 1},
        {"/big", 102399, 0, 102399, 102399},
        {"/status?code=302&to=/", 3, 0, 3, 1},
        {"/cut", 100, ERROR_INTERNET_CONNECTION_ABORTED, 0, 0},
    };
    std::vector<char> buffer(102400);
    for (const auto& row : rows) {
        const Form form(row.object);
        EXPECT_EQ(form.Send(), 0U);
        DWORD first = 7;
        DWORD second = 0;
        EXPECT_EQ(form.Read(buffer.data(), row.asked, first), row.error) << row.object;
        EXPECT_EQ(form.Read(buffer.data(), row.asked, second), row.error) << row.object;
        EXPECT_EQ(first, row.first) << row.object;
        EXPECT_EQ(second, row.second) << row.object;
    }
    EXPECT_EQ(Form("/nothing").Send(), Code(ERROR_INTERNET_CONNECTION_ABORTED));
}

TEST_F(WinInetTest, Queries) {
    const Form form("/cookies");
    char buffer[100] = "";
    DWORD size = sizeof buffer;
    EXPECT_EQ(form.Query(HTTP_QUERY_STATUS_CODE, buffer, size),
              Code(ERROR_INTERNET_INCORRECT_HANDLE_STATE));
    EXPECT_EQ(form.Send(), 0U);
    constexpr DWORD kNumber = HTTP_QUERY_STATUS_CODE | HTTP_QUERY_FLAG_NUMBER;
    const struct {
        DWORD query, index, before, error, after;
        const char* text;
    } rows[] = {
        {HTTP_QUERY_SET_COOKIE, 0, 12, 0, 11, "a=1; path=/"},
        {HTTP_QUERY_SET_COOKIE, 0, 11, ERROR_INSUFFICIENT_BUFFER, 12, ""},
        {HTTP_QUERY_SET_COOKIE, 1, 100, 0, 3, "b=2"},
        {HTTP_QUERY_SET_COOKIE, 2, 100, ERROR_HTTP_HEADER_NOT_FOUND, 100, ""},
        {HTTP_QUERY_STATUS_CODE, 0, 100, 0, 3, "200"},
        {kNumber, 0, 4, 0, 4, "\xC8"},
        {kNumber, 0, 3, ERROR_INSUFFICIENT_BUFFER, 4, ""},
        {22, 0, 100, ERROR_INVALID_PARAMETER, 100, ""},
    };
    for (const auto& row : rows) {
        std::fill(std::begin(buffer), std::end(buffer), '\0');
        size = row.before;
        DWORD index = row.index;
        EXPECT_EQ(form.Query(row.query, buffer, size, &index), row.error) << row.query << row.index;
        EXPECT_EQ(size, row.after) << row.query << " " << row.before;
        EXPECT_STREQ(buffer, row.text);
    }
    TakeLog();
    EXPECT_EQ(form.Send(), 0U);  // no cookie is sent back
    EXPECT_NE(TakeLog().find(" cookie=- "), std::string::npos);
}

TEST_F(WinInetTest, ArgumentsAreChecked) {
    const Form form("/");
    const struct {
        HINTERNET parent;
        const char* server;
        const char* user;
        DWORD service, error;
    } rows[] = {
        {form.internet.get(), "x", nullptr, 1, ERROR_INVALID_PARAMETER},
        {form.internet.get(), "x", "ann", 3, ERROR_INVALID_PARAMETER},
        {form.internet.get(), nullptr, nullptr, 3, ERROR_INVALID_PARAMETER},
        {form.internet.get(), "a b", nullptr, 3, ERROR_INTERNET_INVALID_URL},
        {form.request.get(), "x", nullptr, 3, ERROR_INTERNET_INCORRECT_HANDLE_TYPE},
        {nullptr, "x", nullptr, 3, ERROR_INVALID_HANDLE},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(
            InternetConnectA(row.parent, row.server, 80, row.user, nullptr, row.service, 0, 0),
            nullptr);
        EXPECT_EQ(GetLastError(), row.error);
    }
    EXPECT_EQ(Outcome(HttpSendRequestA(form.request.get(), nullptr, 0, nullptr, 1)),
              Code(ERROR_INVALID_PARAMETER));
}

}  // namespace
}  // namespace platform::testing
