// Addresses taken apart, proxies chosen, and the module that all this hides behind.
#include <gtest/gtest.h>

#include "platform/base/error.h"
#include "platform/base/text.h"
#include "platform/http/proxy.h"
#include "platform/registry/registry.h"
#include "tests/platform/http/servers.h"

namespace platform::testing {
namespace {

class AddressTest : public HomesTest {
  protected:
    AddressTest() {
        for (const char* name : {"http_proxy", "https_proxy", "all_proxy", "no_proxy", "HTTP_PROXY",
                                 "HTTPS_PROXY", "ALL_PROXY", "NO_PROXY", "REQUEST_METHOD"}) {
            unsetenv(name);
        }
    }
};

std::wstring Text(LPCWSTR text, DWORD length) {
    return text == nullptr ? std::wstring(L"-") : std::wstring(text, length);
}

TEST_F(AddressTest, AddressesComeApart) {
    const struct {
        const wchar_t* url;
        DWORD error;
        std::wstring pieces;  // scheme host port user password path extra
    } rows[] = {
        {L"HTTPS://tsa.example/", 0, L"2 tsa.example 443 - - / "},
        {L"http://a:8080/b/c?d=/e#f", 0, L"1 a 8080 - - /b/c ?d=/e#f"},
        {L"http://a?d", 0, L"1 a 80 - -  ?d"},
        {L"https://ann:p@ss:w@h:1/x", 0, L"2 h 1 ann p@ss:w /x "},
        {L"http://ann@h", 0, L"1 h 80 ann -  "},
        {L"http://[::1]:99/", 0, L"1 [::1] 99 - - / "},
        {L"http://h:65535/", 0, L"1 h 65535 - - / "},
        {L"http://\u043f\u0440\u0438\u043c\u0435\u0440/", 0,
         L"1 \u043f\u0440\u0438\u043c\u0435\u0440 80 - - / "},
        {L"ftp://h/", 12006, L""},
        {L"", 12005, L""},
        {L"://h/", 12006, L""},
        {L"http://", 12005, L""},
        {L"http://:80/", 12005, L""},
        {L"http://h:0/", 12005, L""},
        {L"http://h:65536/", 12005, L""},
        {L"http://h:8a/", 12005, L""},
        {L"http://h/a b", 12005, L""},
        {L"http://good\\bad/", 12005, L""},
        {L"http://DOM\\ann:x@h/", 0, L"1 h 80 DOM\\ann x / "},
        {L"http://::1/", 12005, L""},
    };
    for (const auto& row : rows) {
        URL_COMPONENTS parts{};
        parts.dwStructSize = sizeof parts;
        parts.dwHostNameLength = parts.dwUserNameLength = parts.dwPasswordLength = 1;
        parts.dwUrlPathLength = parts.dwExtraInfoLength = 1;
        SetLastError(0);
        WinHttpCrackUrl(row.url, 0, 0, &parts);
        EXPECT_EQ(GetLastError(), row.error) << Narrow(row.url);
        if (row.error != 0) continue;
        const std::wstring pieces = std::to_wstring(parts.nScheme) + L" " +
                                    Text(parts.lpszHostName, parts.dwHostNameLength) + L" " +
                                    std::to_wstring(parts.nPort) + L" " +
                                    Text(parts.lpszUserName, parts.dwUserNameLength) + L" " +
                                    Text(parts.lpszPassword, parts.dwPasswordLength) + L" " +
                                    Text(parts.lpszUrlPath, parts.dwUrlPathLength) + L" " +
                                    Text(parts.lpszExtraInfo, parts.dwExtraInfoLength);
        EXPECT_EQ(Narrow(pieces), Narrow(row.pieces)) << Narrow(row.url);
        EXPECT_EQ(parts.lpszScheme, nullptr);
    }
}

// Without the extra part asked for, the path has it; what is pointed out lies in the address.
TEST_F(AddressTest, ComponentsArePointedOutOrCopied) {
    const wchar_t url[] = L"https://h/p?q";
    URL_COMPONENTS parts{};
    parts.dwStructSize = sizeof parts;
    parts.dwUrlPathLength = 1;
    ASSERT_TRUE(WinHttpCrackUrl(url, 0, 0, &parts));
    EXPECT_EQ(parts.lpszUrlPath, url + 9);
    EXPECT_EQ(parts.dwUrlPathLength, 4U);
    EXPECT_EQ(parts.lpszHostName, nullptr);
    for (const DWORD capacity : {4U, 5U, 6U}) {
        wchar_t buffer[6] = L"?????";
        parts.lpszScheme = buffer;
        parts.dwSchemeLength = capacity;
        EXPECT_FALSE(WinHttpCrackUrl(L"httpX://h", 0, 0, &parts));
        parts.dwSchemeLength = capacity;
        const BOOL done = WinHttpCrackUrl(url, 10, 0, &parts);
        EXPECT_EQ(done, capacity > 5 ? TRUE : FALSE) << capacity;
        if (done == FALSE) {
            EXPECT_EQ(GetLastError(), Code(ERROR_INSUFFICIENT_BUFFER));
            EXPECT_EQ(parts.dwSchemeLength, 6U);
        } else {
            EXPECT_EQ(std::wstring(buffer), L"https");
            EXPECT_EQ(parts.dwUrlPathLength, 1U);
        }
    }
    parts.dwStructSize = 1;
    EXPECT_EQ(Outcome(WinHttpCrackUrl(url, 0, 0, &parts)), Code(ERROR_INVALID_PARAMETER));
}

TEST_F(AddressTest, ServerNames) {
    const InternetHolder session = OpenSession();
    const struct {
        const wchar_t* server;
        INTERNET_PORT port;
        DWORD error;  // of a request that goes there
    } rows[] = {
        {L"127.0.0.1", Own().clear, 0},
        {L"127.0.0.1:1", Own().clear, ERROR_WINHTTP_CANNOT_CONNECT},
        {L"http://127.0.0.1", 0, ERROR_WINHTTP_INVALID_URL},
        {L"127.0.0.1/x", 0, ERROR_WINHTTP_INVALID_URL},
        {L"ann@127.0.0.1", 0, ERROR_WINHTTP_INVALID_URL},
        {nullptr, 0, ERROR_INVALID_PARAMETER},
    };
    for (const auto& row : rows) {
        SetLastError(0);
        const InternetHolder connection(WinHttpConnect(session.get(), row.server, row.port, 0));
        if (connection) {
            const InternetHolder request(
                WinHttpOpenRequest(connection.get(), nullptr, L"/", nullptr, nullptr, nullptr, 0));
            WinHttpSendRequest(request.get(), nullptr, 0, nullptr, 0, 0, 0);
        }
        EXPECT_EQ(GetLastError(), row.error) << (row.server ? Narrow(row.server) : "null");
    }
}

// ---- proxies ---------------------------------------------------------------------------

TEST_F(AddressTest, ListsOfProxies) {
    const struct {
        const char* proxies;
        const char* bypass;
        const char* url;
        const char* expected;  // empty: direct; a number: the error
    } rows[] = {
        {"p", "", "http://h", "http p:80"},
        {"p:3128", "", "https://h", "http p:3128"},
        {"http=a:1;https=b:2", "", "http://h", "http a:1"},
        {"http=a:1 HTTPS=b:2", "", "https://h", "http b:2"},
        {"http=a:1;c", "", "https://h", "http c:80"},
        {"socks=s", "", "http://h", "socks4 s:1080"},
        {"socks5h://s:9", "", "http://h", "socks5h s:9"},
        {"[::1]:8", "", "http://h", "http [::1]:8"},
        {"https://p", "", "http://h", "12006"},
        {"p:x", "", "http://h", "12005"},
        {"p", "h", "http://h", ""},
        {"p", "h", "http://hh", "http p:80"},
        {"p", "*.example", "http://a.b.example", ""},
        {"p", "*.example", "http://example", "http p:80"},
        {"p", "a*c", "http://abcd", "http p:80"},
        {"p", "h:8080", "http://h:8080", ""},
        {"p", "h:8080", "http://h", "http p:80"},
        {"p", "https://h", "https://h", ""},
        {"p", "https://h", "http://h", "http p:80"},
        {"p", "<local>", "http://h", ""},
        {"p", "<local>", "http://h.example", "http p:80"},
        {"p", "x; y\th", "http://h", ""},
        {"", "", "http://h", ""},
    };
    for (const auto& row : rows) {
        const std::wstring text = Widen(row.url);  // the pieces point into it
        const UrlPieces pieces = CrackUrl(text);
        const HttpUrl url{pieces.secure, Narrow(pieces.host), pieces.port, "/"};
        std::string got;
        const DWORD error = CodeOf([&] {
            const Proxy proxy = ProxyRules(row.proxies, row.bypass).For(url);
            if (!proxy.Direct()) got = proxy.scheme + " " + proxy.hostAndPort;
        });
        EXPECT_EQ(error != 0 ? std::to_string(error) : got, row.expected)
            << row.proxies << " " << row.bypass << " " << row.url;
        const std::string detail = DetailOf([&] { ProxyRules(row.proxies, row.bypass); });
        EXPECT_EQ(detail, error != 0 ? "the address of the proxy" : "");
    }
}

std::string Freed(LPWSTR text) {
    const std::string copy = text == nullptr ? "-" : Narrow(text);
    GlobalFree(text);
    return copy;
}

// "detect script proxies bypass", or the error.
std::string UserSettings() {
    WINHTTP_CURRENT_USER_IE_PROXY_CONFIG config{};
    config.fAutoDetect = TRUE;
    if (WinHttpGetIEProxyConfigForCurrentUser(&config) == FALSE) {
        return std::to_string(GetLastError());
    }
    const std::string script = Freed(config.lpszAutoConfigUrl);
    const std::string proxy = Freed(config.lpszProxy);
    return std::to_string(config.fAutoDetect) + " " + script + " " + proxy + " " +
           Freed(config.lpszProxyBypass);
}

TEST_F(AddressTest, TheEnvironmentTellsProxies) {
    const struct {
        std::vector<std::pair<const char*, const char*>> variables;
        const char* expected;
    } rows[] = {
        {{}, "2"},
        {{{"http_proxy", ""}}, "2"},
        {{{"http_proxy", "a:1"}, {"https_proxy", "b:2"}}, "0 - http=a:1;https=b:2 -"},
        {{{"http_proxy", "a:1"}, {"all_proxy", "c:3"}}, "0 - http=a:1;https=c:3 -"},
        {{{"ALL_PROXY", "c:3"}}, "0 - c:3 -"},
        {{{"HTTPS_PROXY", "b:2"}, {"https_proxy", "lower:1"}}, "0 - https=lower:1 -"},
        {{{"HTTP_PROXY", "a:1"}}, "0 - http=a:1 -"},
        {{{"HTTP_PROXY", "a:1"}, {"REQUEST_METHOD", "GET"}}, "2"},
        {{{"http_proxy", "a:1"}, {"REQUEST_METHOD", "GET"}}, "0 - http=a:1 -"},
        {{{"all_proxy", "c"}, {"no_proxy", "localhost, .lan,*"}},
         "0 - c localhost;*.localhost;lan;*.lan;*"},
        {{{"all_proxy", "http://ann:a=b;c@p:1"}}, "0 - http://ann:a%3Db%3Bc@p:1 -"},
        {{{"all_proxy", "c"}, {"no_proxy", "::1,[::2]"}}, "0 - c [::1];*.[::1];[::2];*.[::2]"},
    };
    for (const auto& row : rows) {
        for (const auto& [name, value] : row.variables) setenv(name, value, 1);
        EXPECT_EQ(UserSettings(), row.expected);
        for (const auto& [name, value] : row.variables) unsetenv(name);
    }
}

TEST_F(AddressTest, TheRegistryTellsProxies) {
    const auto set = [](Side side, DWORD enabled, const char* server, const char* script) {
        const std::string key = std::string(side == Side::User ? kUserRoot : kMachineRoot) +
                                "\\Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";
        ChangeOwnDocument(side, [&](RegistryDocument& document) {
            document.Set(key, NumberValue("ProxyEnable", enabled));
            document.Set(key, TextValue("ProxyServer", server));
            document.Set(key, TextValue("ProxyOverride", "<local>"));
            document.Set(key, TextValue("AutoConfigURL", script));
        });
        ForgetRegistry();
    };
    set(Side::Machine, 1, "m:1", "");
    EXPECT_EQ(UserSettings(), "0 - m:1 <local>");
    // A key of the user's that says nothing of proxies takes nothing away.
    ChangeOwnDocument(Side::User, [](RegistryDocument& document) {
        document.Set(
            "HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\"
            "Internet Settings",
            NumberValue("Other", 1));
    });
    EXPECT_EQ(UserSettings(), "0 - m:1 <local>");
    set(Side::User, 0, "u:1", "http://pac");
    EXPECT_EQ(UserSettings(), "0 http://pac - -");
    set(Side::User, 1, "u:1", "");
    EXPECT_EQ(UserSettings(), "0 - u:1 <local>");
    setenv("http_proxy", "e:1", 1);
    EXPECT_EQ(UserSettings(), "0 - http=e:1 -");
    unsetenv("http_proxy");
    Clear();
    ForgetRegistry();
}

TEST_F(AddressTest, NoScriptIsRun) {
    const InternetHolder session = OpenSession();
    WINHTTP_AUTOPROXY_OPTIONS options{};
    options.dwFlags = WINHTTP_AUTOPROXY_AUTO_DETECT;
    WINHTTP_PROXY_INFO info{};
    EXPECT_EQ(Outcome(WinHttpGetProxyForUrl(session.get(), L"http://h/", &options, &info)),
              Code(ERROR_WINHTTP_AUTODETECTION_FAILED));
    EXPECT_EQ(Outcome(WinHttpGetProxyForUrl(session.get(), nullptr, &options, &info)),
              Code(ERROR_INVALID_PARAMETER));
}

// ---- the module --------------------------------------------------------------------------

TEST_F(AddressTest, ModulesAreFoundByName) {
    const struct {
        const char* name;
        DWORD error;
    } rows[] = {{"winhttp.dll", 0},
                {"WinHTTP", 0},
                {"", ERROR_MOD_NOT_FOUND},
                {nullptr, ERROR_INVALID_PARAMETER}};
    for (const auto& row : rows) {
        SetLastError(0);
        HMODULE module = LoadLibraryA(row.name);
        EXPECT_EQ(GetLastError(), row.error);
        if (module == nullptr) continue;
        EXPECT_EQ(GetModuleHandleA("winhttp.dll"), module);
        EXPECT_EQ(reinterpret_cast<void*>(GetProcAddress(module, "WinHttpOpen")),
                  reinterpret_cast<void*>(&WinHttpOpen));
        EXPECT_EQ(GetProcAddress(module, "WinHttpopen"), nullptr);
        EXPECT_EQ(GetLastError(), Code(ERROR_PROC_NOT_FOUND));
        EXPECT_TRUE(FreeLibrary(module));
        EXPECT_FALSE(FreeLibrary(module));
        EXPECT_EQ(GetModuleHandleA("winhttp.dll"), nullptr);
    }
    HMODULE linked = GetModuleHandleA("wininet.dll");
    EXPECT_EQ(reinterpret_cast<void*>(GetProcAddress(linked, "InternetOpenA")),
              reinterpret_cast<void*>(&InternetOpenA));
    EXPECT_TRUE(FreeLibrary(linked));
    EXPECT_EQ(GetModuleHandleA("wininet.dll"), linked);
}

// Run as a process of its own by the test below, with a library path that hides libcurl.
TEST_F(AddressTest, DISABLED_WithoutTheLibrary) {
    const auto expect = [](const void* handle) {
        EXPECT_EQ(handle, nullptr);
        EXPECT_EQ(GetLastError(), Code(ERROR_DLL_NOT_FOUND));
        EXPECT_EQ(LastErrorDetail(ERROR_DLL_NOT_FOUND), "libcurl4");
    };
    for (int times = 0; times < 2; ++times) expect(LoadLibraryA("winhttp.dll"));
    expect(OpenSession().get());
    expect(InternetOpenA("x", INTERNET_OPEN_TYPE_DIRECT, nullptr, nullptr, 0));
}

TEST_F(AddressTest, AMissingLibraryIsNamed) {
    WriteFile("libcurl.so.4", {});
    const std::string command =
        "LD_LIBRARY_PATH='" + Folder().string() + "' '" +
        std::filesystem::read_symlink("/proc/self/exe").string() +
        "' --gtest_also_run_disabled_tests --gtest_filter='*DISABLED_WithoutTheLibrary' >/dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0);
}

}  // namespace
}  // namespace platform::testing
