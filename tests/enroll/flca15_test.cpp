// The client of the authority's pages, against pages that stand still in a folder.
#include "enroll/flca15_request.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <thread>

#include "enroll/request_text.h"
#include "tests/support/folder.h"

namespace kestrel {
namespace {

constexpr char kToken[] = "TokenID=t&Password=p=&";

std::string TokenRow(const char* number, const char* status, const std::string& request) {
    const std::string cell = "<TD class=\"View\">";
    return "<TR>" + cell + number + "</TD>" + cell + "</TD>" + cell + "</TD>" + cell + "</TD>" +
           cell + status + "</TD><INPUT TYPE=\"HIDDEN\" NAME=\"PKCS10\" VALUE=\"" + request + "\">";
}

class FlcaTest : public test_support::InFolderTest {
  protected:
    void SetUp() override {
        InFolderTest::SetUp();
        std::filesystem::create_directory("log.pages");
        server_ = popen("python3 " TEST_SUPPORT "/web_server.py log >port", "w");
        while (!Read("port").ends_with('\n')) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        url_ = ComText(L"http://127.0.0.1:" + std::to_wstring(std::stoi(Read("port"))) + L"/");
        Page("Register_RegTemporaryUser.asp",
             "tblCertRequests<TR>" + TokenRow("7", "\xCE\xF2\xEE\xE7\xE2\xE0\xED", "M0") +
                 TokenRow("8", "\xC7\xE0\xE2\xE5\xF0\xF8\xE5\xED", "M1\r\n") + "</TABLE>");
        Page("Register_RegInstallCert.asp",
             "<INPUT TYPE=\"hidden\" NAME=\"PKCS\" VALUE=\"MIIC\r\n\">");
        Page("Register_RegViewCert.asp", "odd");
        Page("Register_RegViewRequest.asp", "even");
    }
    void TearDown() override {
        pclose(server_);  // ends with its input
        InFolderTest::TearDown();
    }

    static void Page(const std::string& name, const std::string& text) {
        Write("log.pages/" + name, text);
    }
    static std::string Posted(const std::string& name) {
        return Read("log.pages/" + name + ".posted");
    }
    DWORD Submit() {
        const ComText request(L"M1\r\n");
        return static_cast<DWORD>(
            client_.Submit(255, request.Get(), nullptr, url_.Get(), &disposition_));
    }
    void LogIn() { ASSERT_EQ(client_.SetAuth(nullptr, 4, 1, "t", "p=&"), S_OK); }

    FLCA15Request client_;
    ComText url_;
    LONG disposition_ = -1;
    std::FILE* server_ = nullptr;
};

TEST_F(FlcaTest, PagesAndTheirErrors) {
    std::string base;
    ASSERT_TRUE(Narrow(url_, base));
    const std::string unknown(40, 'A');
    const struct {
        const char* name;
        std::string path;
        std::string thumbprint;
        bool fetched;
        DWORD status;
        DWORD code;
        const char* body;
    } rows[] = {{"good", "status?code=200", unknown, true, 200, 0, "told"},
                {"moved", "status?code=301", "", true, 301, 0, "told"},
                {"found", "status?code=302", "", false, 302, 12030, ""},
                {"failed", "status?code=500", "", false, 500, 12030, ""},
                {"cut in the middle", "cut", "", false, 200, 12030, "half"},
                {"no HTTP", "garbage", "", false, 0, 12152, ""},
                {"hangs in the body", "hang-in-body", "", false, 200, 12002, "12345"},
                {"no digits", "status?code=200", std::string(40, 'g'), false, 0, 87, ""}};
    for (const auto& row : rows) {
        UrlRetriever retriever;
        retriever.SetTimeout(500);
        retriever.SetClientCertificate(row.thumbprint.empty() ? nullptr : row.thumbprint.c_str());
        EXPECT_EQ(retriever.Fetch(base + row.path), row.fetched) << row.name;
        EXPECT_EQ(retriever.Status(), row.status) << row.name;
        EXPECT_EQ(retriever.FetchErrorCode(), row.code) << row.name;
        EXPECT_EQ(retriever.Body(), row.body) << row.name;
        EXPECT_EQ(retriever.Succeeded(), row.status == 200) << row.name;
    }
    UrlRetriever poster;
    const std::vector<std::string> headers = {"X-More: 1"};
    poster.SetExtraHeaders(&headers);
    poster.SetPostData({"a=b\0", 4});
    ASSERT_TRUE(poster.Fetch(base + "echo"));
    const std::string echo(poster.Body());
    EXPECT_TRUE(echo.starts_with("POST /echo ") && echo.ends_with("\n\na=b")) << echo;
    for (const char* line : {"User-Agent: UrlRetriever {Mozilla MSIE 6 Win 2000}\n",
                             "Content-Type: application/x-www-form-urlencoded\n", "X-More: 1\n"}) {
        EXPECT_NE(echo.find(line), std::string::npos) << echo;
    }
}

std::wstring Certificate(UnixRequest& client, LONG flags) {
    ComText text;
    const HRESULT result = client.GetCertificate(flags, text.Fill());
    return result == S_OK ? std::wstring(text.View()) : std::to_wstring(static_cast<DWORD>(result));
}

TEST_F(FlcaTest, NobodyMayOnlyAskForTheChain) {
    Page("certnew.asp", "x-----BEGIN CERTIFICATE-----\r\nMII\r\n-----END CERTIFICATE-----\r\n");
    ComText text;
    ASSERT_EQ(client_.SetAuth(nullptr, 1, 5, nullptr, nullptr), S_OK);
    ASSERT_EQ(client_.GetCACertificate(0, url_.Get(), 0, text.Fill()), S_OK);
    EXPECT_TRUE(text.View().starts_with(L"x-----BEGIN"));
    ASSERT_EQ(client_.GetCACertificate(0, url_.Get(), 1, text.Fill()), S_OK);
    EXPECT_EQ(text.View(), L"MII\r\n");
    EXPECT_EQ(client_.GetCACertificate(0, url_.Get(), 2, text.Fill()), E_NOTIMPL);
    Page("certnew.asp", "x");
    EXPECT_EQ(static_cast<DWORD>(client_.GetCACertificate(0, url_.Get(), 1, text.Fill())),
              0x80094005U);
    LONG id = 0;
    EXPECT_EQ(Submit(), 0x80090010U);
    EXPECT_EQ(client_.RetrievePending(7, url_.Get(), &id), NTE_PERM);
    EXPECT_EQ(client_.GetRequestId(&id), NTE_PERM);
    EXPECT_EQ(client_.CheckRegistration(url_.Get(), &id, &id), NTE_PERM);
    EXPECT_EQ(Certificate(client_, 0), std::to_wstring(0x80090010U));
}

TEST_F(FlcaTest, AnIssuedRequest) {
    LogIn();
    EXPECT_EQ(Certificate(client_, 0), std::to_wstring(0x8000FFFFU));
    Page("Register_RegSubmitCertRequest.asp", "<a ConfirmReq_8=>");
    ASSERT_EQ(Submit(), 0U);
    EXPECT_EQ(disposition_, 3);
    EXPECT_EQ(Posted("Register_RegSubmitCertRequest.asp"),
              "PKCS10=%2D%2D%2D%2D%2DBEGIN+NEW+CERTIFICATE+REQUEST%2D%2D%2D%2D%2D%0D%0AM1%0D%0A"
              "%2D%2D%2D%2D%2DEND+NEW+CERTIFICATE+REQUEST%2D%2D%2D%2D%2D%0D%0A&UserInfo=&" +
                  std::string(kToken));
    EXPECT_EQ(Posted("Register_RegInstallCert.asp"), "ConfirmReq_8=NoText&" + std::string(kToken));
    EXPECT_EQ(Posted("Register_RegViewRequest.asp"), std::string(kToken) + "&PKCS10=M1");
    EXPECT_EQ(Posted("Register_RegViewCert.asp"), std::string(kToken) + "&PKCS=MIIC%0D%0A");
    const struct {
        LONG flags;
        std::wstring expected;
    } rows[] = {{256, L"-----BEGIN CERTIFICATE-----\r\nMIIC\r\n-----END CERTIFICATE-----\r\n"},
                {1, L"MIIC\r\n"},
                {195, L"\x646F\x64"},  // "odd", two bytes to a character
                {2, std::to_wstring(0x80004001U)},
                {0x201, std::to_wstring(0x80004001U)},
                {3, std::to_wstring(0x80090020U)}};
    for (const auto& row : rows) EXPECT_EQ(Certificate(client_, row.flags), row.expected);
    ComText view;
    EXPECT_EQ(client_.GetRequestText(195, view.Fill()), S_OK);
    EXPECT_EQ(view.View(), L"\x7665\x6E65");
    EXPECT_EQ(client_.GetRequestText(0, view.Fill()), E_NOTIMPL);
}

TEST_F(FlcaTest, OtherAnswersToARequest) {
    LogIn();
    const std::string armour = ArmourRequest("M\r\n1");
    const struct {
        const char* name;
        std::string page;
        DWORD result;
        LONG disposition;
    } rows[] = {{"waits", "x" + armour + "y", 0, 5},
                {"waits, but is in no list", ArmourRequest("M2"), 0x80090011, -1},
                {"neither", "x", 0, 1},
                {"half of the armour", armour.substr(0, 60), 0, 1}};
    for (const auto& row : rows) {
        Page("Register_RegSubmitCertRequest.asp", row.page);
        disposition_ = -1;
        EXPECT_EQ(Submit(), row.result) << row.name;
        EXPECT_EQ(disposition_, row.disposition) << row.name;
        LONG id = -1;
        EXPECT_EQ(client_.GetRequestId(&id), row.disposition == 5 ? S_OK : E_UNEXPECTED);
        EXPECT_EQ(id, row.disposition == 5 ? 8 : -1) << row.name;
    }
    Page("Register_RegSubmitCertRequest.asp", "ConfirmReq_8");
    Page("Register_RegInstallCert.asp", "another page");
    EXPECT_EQ(Submit(), 1359U);
    Page("Register_RegTemporaryUser.asp", "tblCertRequests");
    EXPECT_EQ(Submit(), 0x80090005U);
}

TEST_F(FlcaTest, ListsAndPendingRequests) {
    LogIn();
    const struct {
        LONG id;
        LONG disposition;
        std::wstring certificate;
    } rows[] = {{7, 6, std::to_wstring(0x8000FFFFU)},
                {8, 3, L"MIIC\r\n"},
                {9, 1, std::to_wstring(0x8000FFFFU)}};
    for (const auto& row : rows) {
        EXPECT_EQ(client_.RetrievePending(row.id, url_.Get(), &disposition_), S_OK) << row.id;
        EXPECT_EQ(disposition_, row.disposition) << row.id;
        EXPECT_EQ(Certificate(client_, 1), row.certificate) << row.id;
    }
    std::map<LONG, LONG> statuses;
    EXPECT_EQ(client_.GetRequestStatuses(url_.Get(), &statuses), S_OK);
    EXPECT_EQ(statuses, (std::map<LONG, LONG>{{7, 6}, {8, 3}}));
    EXPECT_EQ(client_.ConfirmCertificate(8, url_.Get()),
              static_cast<HRESULT>(ERROR_WINHTTP_CONNECTION_ERROR));
    Page("Register_RegConfirmCert.asp", "");
    EXPECT_EQ(client_.ConfirmCertificate(8, url_.Get()), S_OK);
    EXPECT_EQ(Posted("Register_RegConfirmCert.asp"), std::string(kToken) + "&RequestID=8");
}

TEST_F(FlcaTest, WhatARequestMayAskFor) {
    LogIn();
    Page("Register_RegCreateCertRequest.asp",
         "strDN=\"CN=\xDF\"\r\ngArrEKU(0)=\"1.2\" gArrEKU(1)=\"1.3\" gArrKeySpec(0)=1 "
         "gArrKeySpec(1)=2 <option value=0>User<option value=1>\xC2\xE5\xE1<");
    const struct {
        const wchar_t* name;
        DWORD result;
        const wchar_t* usage;
    } rows[] = {{L"\x412\x435\x431", 0, L"1.3"},
                {L"NUMBER=0", 0, L"1.2"},
                {L"NUMBER=2", 0x80094800, nullptr},
                {L"NUMBER=x", 0x80094800, nullptr}};
    for (const auto& row : rows) {
        ComText dn;
        ComText usage;
        ComText keySpec;
        std::vector<std::string> list = {"x"};
        EXPECT_EQ(static_cast<DWORD>(client_.GetRequestForm(url_.Get(), ComText(row.name).Get(),
                                                            dn.Fill(), usage.Fill(), keySpec.Fill(),
                                                            &list)),
                  row.result);
        if (row.result != 0) continue;
        EXPECT_EQ(dn.View(), L"CN=\x42F");
        EXPECT_EQ(usage.View(), row.usage);
        EXPECT_TRUE(list.empty());
    }
    VARIANT value{};
    EXPECT_EQ(client_.GetCAProperty(url_.Get(), 29, 0, 1, 0, &value), E_INVALIDARG);
    EXPECT_EQ(client_.GetCAProperty(url_.Get(), 28, 0, 4, 0, &value), E_NOTIMPL);
    ASSERT_EQ(client_.GetCAProperty(url_.Get(), 29, 0, 4, 0, &value), S_OK);
    EXPECT_STREQ(value.bstrVal, L"User\nNUMBER=0\n\x412\x435\x431\nNUMBER=1\n");
    SysFreeString(value.bstrVal);
}

}  // namespace
}  // namespace kestrel
