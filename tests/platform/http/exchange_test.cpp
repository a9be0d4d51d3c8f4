// Requests and answers in clear, against a server that misbehaves on request.
#include <chrono>

#include "platform/base/text.h"
#include "tests/platform/http/servers.h"

namespace platform::testing {
namespace {

using namespace std::chrono_literals;

class ExchangeTest : public HomesTest {};

TEST_F(ExchangeTest, AnswersComeAsTheyAre) {
    const struct {
        const char* name;
        const char* verb;
        std::string object;
        std::string sent;
        DWORD error;
        DWORD status;
        std::string body;
    } rows[] = {
        {"object without its slash", "GET", "status?code=299", "", 0, 299, "told"},
        {"failure", "POST", "/status?code=500&body=why", "abc", 0, 500, "why"},
        {"no content", "GET", "/status?code=204", "", 0, 204, ""},
        {"chunks and a trailer", "GET", "/chunked", "", 0, 200, "one two three"},
        {"no Location", "GET", "/status?code=302", "", 0, 302, "told"},
        {"file", "GET", "/status?code=301&to=file:///etc/passwd", "", 0, 301, "told"},
        {"not followed", "GET", "/status?code=304&to=/", "", 0, 304, ""},
        {"ten steps", "GET", "/steps?left=9", "", 0, 200, ""},
        {"eleven steps", "GET", "/steps?left=10", "", ERROR_WINHTTP_REDIRECT_FAILED, 0, ""},
        {"far away", "GET", "/far?size=60000", "", 0, 404, "nothing here"},
        {"too far", "GET", "/far?size=80000", "", ERROR_WINHTTP_REDIRECT_FAILED, 0, ""},
        {"a line too long", "GET", "/far?size=200000", "", ERROR_WINHTTP_INVALID_SERVER_RESPONSE, 0,
         ""},
        {"too long", "GET", "/" + std::string(65536, 'x'), "", ERROR_WINHTTP_INVALID_URL, 0, ""},
        {"cut short", "GET", "/cut", "", ERROR_WINHTTP_CONNECTION_ERROR, 200, "half"},
        {"no answer", "GET", "/nothing", "", ERROR_WINHTTP_CONNECTION_ERROR, 0, ""},
        {"garbage", "GET", "/garbage", "", ERROR_WINHTTP_INVALID_SERVER_RESPONSE, 0, ""},
    };
    for (const auto& row : rows) {
        Exchange exchange(Own().clear, row.object, false, row.verb);
        EXPECT_EQ(exchange.Run(row.sent), row.error) << row.name;
        EXPECT_EQ(exchange.Status(), row.status) << row.name;
        if (!row.body.empty()) {
            EXPECT_EQ(exchange.Body(), row.body) << row.name;
        }
    }
}

TEST_F(ExchangeTest, HeadsHaveABound) {
    Exchange exchange(Own().clear, "/endless-head");
    EXPECT_EQ(exchange.Run(), Code(ERROR_WINHTTP_INVALID_SERVER_RESPONSE));
}

// What a POST goes on as.
TEST_F(ExchangeTest, RedirectsKeepOrDropTheBody) {
    const struct {
        int code;
        const char* verb;
        const char* asked;
    } rows[] = {
        {301, "POST", "GET /echo body=0"},  {302, "POST", "GET /echo body=0"},
        {303, "POST", "GET /echo body=0"},  {303, "PUT", "GET /echo body=0"},
        {302, "PUT", "PUT /echo body=5"},   {307, "POST", "POST /echo body=5"},
        {308, "POST", "POST /echo body=5"},
    };
    for (const auto& row : rows) {
        TakeLog();
        Exchange exchange(Own().clear, "/status?to=/echo&code=" + std::to_string(row.code), false,
                          row.verb);
        WinHttpAddRequestHeaders(exchange.Get(), L"Content-Type: text/x", static_cast<DWORD>(-1),
                                 WINHTTP_ADDREQ_FLAG_ADD);
        EXPECT_EQ(exchange.Run("12345"), 0U) << row.code << row.verb;
        std::string asked = TakeLog();
        asked = asked.substr(asked.find('\n') + 1);
        asked.erase(asked.find("auth="), asked.find("body=") - asked.find("auth="));
        EXPECT_EQ(asked, row.asked + std::string("\n")) << row.code << row.verb;
        const bool kept = exchange.Body().find("text/x") != std::string::npos;
        EXPECT_EQ(kept, asked.find("body=5") != std::string::npos) << row.code << row.verb;
    }
}

TEST_F(ExchangeTest, TheRequestAsTheServerSeesIt) {
    Exchange exchange(Own().clear, "a/../echo?x=1 2", false, "POST");
    Exchange plain(Own().clear, "echo?q=\u00e9#part", false, "POST");
    ASSERT_TRUE(WinHttpSendRequest(plain.Get(), L"Content-type: application/timestamp-query",
                                   static_cast<DWORD>(-1), const_cast<char*>("body"), 4, 4, 0));
    EXPECT_EQ(plain.Receive(), 0U);
    EXPECT_EQ(plain.ReadAll(), 0U);
    EXPECT_EQ(plain.Body(),
              "POST /echo?q=%C3%A9 HTTP/1.1\nHost: 127.0.0.1:" + std::to_string(Own().clear) +
                  "\nUser-Agent: Tests\nContent-type: application/timestamp-query\n"
                  "Content-Length: 4\n\nbody");
    TakeLog();
    EXPECT_EQ(exchange.Run(), 0U);
    EXPECT_TRUE(TakeLog().starts_with("POST /a/../echo?x=1%202 "));
}

TEST_F(ExchangeTest, HeadersAreAddedUnderTheirFlags) {
    Exchange exchange(Own().clear, "/echo");
    const struct {
        const wchar_t* lines;
        DWORD modifiers;
        DWORD error;
    } rows[] = {
        {L"A: 1\r\nB: 2", WINHTTP_ADDREQ_FLAG_ADD, 0},
        {L"A: 3", WINHTTP_ADDREQ_FLAG_ADD_IF_NEW, ERROR_WINHTTP_HEADER_ALREADY_EXISTS},
        {L"C: 4", WINHTTP_ADDREQ_FLAG_ADD_IF_NEW, 0},
        {L"D: 5", WINHTTP_ADDREQ_FLAG_REPLACE, ERROR_WINHTTP_HEADER_NOT_FOUND},
        {L"b: 6", WINHTTP_ADDREQ_FLAG_REPLACE, 0},
        {L"E: 7", WINHTTP_ADDREQ_FLAG_ADD | WINHTTP_ADDREQ_FLAG_REPLACE, 0},
        {L"c:", WINHTTP_ADDREQ_FLAG_REPLACE, 0},
        {L"no colon", WINHTTP_ADDREQ_FLAG_ADD, ERROR_INVALID_PARAMETER},
        {L"F: 1\nG: 2", WINHTTP_ADDREQ_FLAG_ADD, ERROR_INVALID_PARAMETER},
        {L"H: 8", 0x40000000, ERROR_INVALID_PARAMETER},
    };
    for (const auto& row : rows) {
        SetLastError(0);
        WinHttpAddRequestHeaders(exchange.Get(), row.lines, static_cast<DWORD>(-1), row.modifiers);
        EXPECT_EQ(GetLastError(), row.error) << Narrow(row.lines);
    }
    EXPECT_EQ(exchange.Run(), 0U);
    EXPECT_NE(exchange.Body().find("Tests\nA: 1\nb: 6\nE: 7\n\n"), std::string::npos)
        << exchange.Body();
}

TEST_F(ExchangeTest, TimeOuts) {
    const struct {
        const char* object;
        DWORD bytes;
    } rows[] = {{"/hang", 0}, {"/hang-in-head", 0}, {"/hang-in-body", 5}};
    for (const auto& row : rows) {
        Exchange exchange(Own().clear, row.object);
        EXPECT_TRUE(WinHttpSetTimeouts(exchange.Get(), 0, 5000, 5000, 300));
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(exchange.Run(), Code(ERROR_WINHTTP_TIMEOUT)) << row.object;
        EXPECT_EQ(exchange.Body().size(), row.bytes) << row.object;
        const auto took = std::chrono::steady_clock::now() - begin;
        EXPECT_GT(took, 250ms) << row.object;
        EXPECT_LT(took, 5s) << row.object;
    }
    Exchange exchange(Own().clear, "/");
    EXPECT_FALSE(WinHttpSetTimeouts(exchange.Get(), 0, -2, 0, 0));
    EXPECT_TRUE(WinHttpSetTimeouts(exchange.Get(), 0, -1, 0, -1));
    EXPECT_EQ(exchange.Run(), 0U);
}

TEST_F(ExchangeTest, ConnectionsThatCannotBeMade) {
    const struct {
        const char* host;
        const char* proxy;
        DWORD error;
        std::string detail;
    } rows[] = {
        {"127.0.0.1", "", ERROR_WINHTTP_CANNOT_CONNECT, "127.0.0.1:1"},
        {"no-such-host.invalid", "", ERROR_WINHTTP_NAME_NOT_RESOLVED, "no-such-host.invalid:1"},
        {"\u043d\u0435\u0442.invalid", "", ERROR_WINHTTP_NAME_NOT_RESOLVED,
         "\u043d\u0435\u0442.invalid:1"},
        {"127.0.0.1", "no-such-proxy.invalid", ERROR_WINHTTP_NAME_NOT_RESOLVED,
         "no-such-proxy.invalid:80"},
    };
    for (const auto& row : rows) {
        const Exchange exchange(1, "/", false, "GET", row.proxy, row.host);
        EXPECT_EQ(exchange.Send(), row.error) << row.host;
        EXPECT_EQ(LastErrorDetail(row.error), row.detail);
    }
}

// A fast server has to wait for a slow reader.
TEST_F(ExchangeTest, MemoryIsBoundedByWhatIsRead) {
    constexpr std::size_t kSize = 10 * 1024 * 1024;
    Exchange exchange(Own().clear, "/big");
    ASSERT_EQ(exchange.Send(), 0U);
    ASSERT_EQ(exchange.Receive(), 0U);
    std::size_t total = 0;
    DWORD most = 0;
    std::string last;
    while (true) {
        DWORD available = 0;
        ASSERT_TRUE(WinHttpQueryDataAvailable(exchange.Get(), &available));
        most = std::max(most, available);
        if (available == 0) break;
        std::vector<char> buffer(available);
        DWORD read = 0;
        ASSERT_TRUE(WinHttpReadData(exchange.Get(), buffer.data(), available, &read));
        ASSERT_EQ(read, available);
        total += read;
        last.assign(buffer.data() + read - 8, 8);
    }
    EXPECT_EQ(total, kSize);
    EXPECT_EQ(last, "0002559\n");
    EXPECT_LE(most, 512U * 1024);
}

TEST_F(ExchangeTest, AnAnswerIsHandedOnAsItArrives) {
    Exchange exchange(Own().clear, "/two-halves");
    ASSERT_EQ(exchange.Send(), 0U);
    ASSERT_EQ(exchange.Receive(), 0U);
    char buffer[64];
    DWORD read = 0;
    ASSERT_TRUE(WinHttpReadData(exchange.Get(), buffer, sizeof buffer, &read));
    EXPECT_EQ(std::string(buffer, read), "first");
    EXPECT_EQ(Exchange(Own().clear, "/release").Run(), 0U);
    EXPECT_EQ(exchange.ReadAll(), 0U);
    EXPECT_EQ(exchange.Body(), "later");
}

TEST_F(ExchangeTest, BodiesInPieces) {
    Exchange exchange(Own().clear, "/echo", false, "POST");
    char first[] = "ab";
    ASSERT_TRUE(WinHttpSendRequest(exchange.Get(), nullptr, 0, first, 2, 300'005, 0));
    EXPECT_EQ(exchange.Receive(), Code(ERROR_WINHTTP_INCORRECT_HANDLE_STATE));
    const std::string large(300'000, 'x');
    for (const std::string& piece : {large, std::string(), std::string("cde")}) {
        DWORD written = 99;
        ASSERT_TRUE(WinHttpWriteData(exchange.Get(), piece.data(), static_cast<DWORD>(piece.size()),
                                     &written));
        EXPECT_EQ(written, piece.size());
    }
    EXPECT_FALSE(WinHttpWriteData(exchange.Get(), "f", 1, nullptr));
    EXPECT_EQ(exchange.Receive(), 0U);
    EXPECT_EQ(exchange.ReadAll(), 0U);
    EXPECT_TRUE(exchange.Body().ends_with("\n\nab" + large + "cde"));
    // What was not kept cannot follow a redirect.
    Exchange moved(Own().clear, "/status?code=307&to=/echo", false, "POST");
    ASSERT_TRUE(WinHttpSendRequest(moved.Get(), nullptr, 0, first, 2, 4, 0));
    ASSERT_TRUE(WinHttpWriteData(moved.Get(), "cd", 2, nullptr));
    EXPECT_EQ(moved.Receive(), 0U);
    EXPECT_EQ(moved.Status(), 307U);
}

// ---- header queries ----------------------------------------------------------------

TEST_F(ExchangeTest, QueriesTellTheirNeed) {
    Exchange exchange(Own().clear, "/status?code=299&to=x");
    ASSERT_EQ(exchange.Run(), 0U);
    const struct {
        DWORD query;
        const wchar_t* name;
        std::wstring text;
    } rows[] = {
        {WINHTTP_QUERY_STATUS_CODE, nullptr, L"299"},
        {WINHTTP_QUERY_CONTENT_LENGTH, nullptr, L"4"},
        {WINHTTP_QUERY_CUSTOM, L"LOCATION", L"x"},
        {WINHTTP_QUERY_RAW_HEADERS_CRLF, nullptr,
         L"HTTP/1.1 299 As Asked\r\nLocation: x\r\nContent-Length: 4\r\n\r\n"},
    };
    for (const auto& row : rows) {
        const auto need = static_cast<DWORD>((row.text.size() + 1) * sizeof(wchar_t));
        const struct {
            const char* name;
            bool buffer;
            DWORD capacity;
            DWORD error;
        } sizes[] = {{"null", false, need, ERROR_INSUFFICIENT_BUFFER},
                     {"short", true, need - 1, ERROR_INSUFFICIENT_BUFFER},
                     {"exact", true, need, 0}};
        for (const auto& size : sizes) {
            std::vector<wchar_t> buffer(row.text.size() + 2, L'?');
            DWORD count = size.capacity;
            SetLastError(0);
            WinHttpQueryHeaders(exchange.Get(), row.query, row.name,
                                size.buffer ? buffer.data() : nullptr, &count, nullptr);
            EXPECT_EQ(GetLastError(), size.error) << row.query << size.name;
            EXPECT_EQ(count, size.error == 0 ? need - sizeof(wchar_t) : need) << size.name;
            if (size.error == 0) {
                EXPECT_EQ(std::wstring(buffer.data()), row.text);
            }
        }
    }
}

TEST_F(ExchangeTest, QueriesOfNumbersAndOfOneNameTwice) {
    Exchange exchange(Own().clear, "/echo");
    ASSERT_EQ(exchange.Run(), 0U);
    const auto query = [&](DWORD what, const wchar_t* name, DWORD* index, DWORD capacity) {
        wchar_t buffer[64] = {};
        SetLastError(0);
        WinHttpQueryHeaders(exchange.Get(), what, name, buffer, &capacity, index);
        return GetLastError() == 0 ? std::wstring(buffer) : std::to_wstring(GetLastError());
    };
    DWORD index = 0;
    EXPECT_EQ(query(WINHTTP_QUERY_CUSTOM, L"x-twice", &index, 64), L"one");
    EXPECT_EQ(query(WINHTTP_QUERY_CUSTOM, L"x-twice", &index, 64), L"two");
    EXPECT_EQ(query(WINHTTP_QUERY_CUSTOM, L"x-twice", &index, 64), L"12150");
    EXPECT_EQ(query(WINHTTP_QUERY_RETRY_AFTER, nullptr, nullptr, 64), L"12150");
    constexpr DWORD kNumber = WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER;
    EXPECT_EQ(query(kNumber, nullptr, nullptr, 3), std::to_wstring(ERROR_INSUFFICIENT_BUFFER));
    EXPECT_EQ(query(kNumber, nullptr, nullptr, 4), std::wstring(1, L'\xC8'));
    EXPECT_EQ(query(WINHTTP_QUERY_VERSION | WINHTTP_QUERY_FLAG_NUMBER, nullptr, nullptr, 4),
              std::to_wstring(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(query(77, nullptr, nullptr, 64), std::to_wstring(ERROR_INVALID_PARAMETER));
}

// ---- handles -------------------------------------------------------------------------

TEST_F(ExchangeTest, HandlesKnowTheirLevelAndState) {
    InternetHolder session = OpenSession();
    InternetHolder connection(WinHttpConnect(session.get(), L"127.0.0.1", Own().clear, 0));
    InternetHolder request(
        WinHttpOpenRequest(connection.get(), nullptr, L"/", nullptr, nullptr, nullptr, 0));
    DWORD value = 0;
    DWORD size = sizeof value;
    const auto receive = [&](HINTERNET handle) {
        return Outcome(WinHttpReceiveResponse(handle, nullptr));
    };
    EXPECT_EQ(receive(request.get()), 12019U);
    EXPECT_EQ(Outcome(WinHttpReadData(request.get(), &value, 4, &size)), 12019U);
    EXPECT_EQ(Outcome(WinHttpQueryDataAvailable(request.get(), &size)), 12019U);
    EXPECT_EQ(Outcome(WinHttpWriteData(request.get(), "a", 1, &size)), 12019U);
    EXPECT_EQ(Outcome(WinHttpQueryHeaders(request.get(), 19, nullptr, &value, &size, nullptr)),
              12019U);
    EXPECT_EQ(receive(session.get()), 12018U);
    EXPECT_EQ(WinHttpConnect(connection.get(), L"x", 0, 0), nullptr);
    EXPECT_EQ(GetLastError(), 12018U);
    for (HINTERNET bad : {HINTERNET(nullptr), HINTERNET(&value)}) {
        EXPECT_EQ(receive(bad), Code(ERROR_INVALID_HANDLE));
    }
    const struct {
        HINTERNET handle;
        DWORD option;
        DWORD size;
        DWORD error;
    } options[] = {
        {request.get(), WINHTTP_OPTION_AUTOLOGON_POLICY, 4, 0},
        {request.get(), WINHTTP_OPTION_AUTOLOGON_POLICY, 8, ERROR_INVALID_PARAMETER},
        {session.get(), WINHTTP_OPTION_AUTOLOGON_POLICY, 4, ERROR_WINHTTP_INCORRECT_HANDLE_TYPE},
        {connection.get(), WINHTTP_OPTION_SECURITY_FLAGS, 4, ERROR_WINHTTP_INCORRECT_HANDLE_TYPE},
        {request.get(), 9999, 4, ERROR_WINHTTP_INVALID_OPTION},
        {request.get(), WINHTTP_OPTION_CLIENT_CERT_CONTEXT, 40, ERROR_INVALID_PARAMETER},
    };
    for (const auto& row : options) {
        EXPECT_EQ(Outcome(WinHttpSetOption(row.handle, row.option, &value, row.size)), row.error)
            << row.option;
    }
    // Those below outlive the handles above them.
    session.reset();
    connection.reset();
    EXPECT_EQ(Outcome(WinHttpSendRequest(request.get(), nullptr, 0, nullptr, 0, 0, 0)), 0U);
    EXPECT_EQ(receive(request.get()), 0U);
    EXPECT_EQ(receive(request.get()), 12019U);
    HINTERNET closed = request.release();
    EXPECT_EQ(Outcome(WinHttpCloseHandle(closed)), 0U);
    EXPECT_EQ(Outcome(WinHttpCloseHandle(closed)), Code(ERROR_INVALID_HANDLE));
    EXPECT_EQ(receive(closed), Code(ERROR_INVALID_HANDLE));
}

TEST_F(ExchangeTest, ClosedOrSentAgainInTheMiddle) {
    for (const char* object : {"/big", "/hang-in-body", "/two-halves"}) {
        Exchange exchange(Own().clear, object);
        ASSERT_EQ(exchange.Send(), 0U);
        ASSERT_EQ(exchange.Receive(), 0U);
    }
    Exchange exchange(Own().clear, "/big");
    for (int times = 0; times < 2; ++times) {
        ASSERT_EQ(exchange.Send(), 0U);
        ASSERT_EQ(exchange.Receive(), 0U);
    }
    EXPECT_EQ(exchange.ReadAll(), 0U);
    EXPECT_EQ(exchange.Body().size(), 10U * 1024 * 1024);
}

}  // namespace
}  // namespace platform::testing
