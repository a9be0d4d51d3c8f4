// What a client of an authority is told on the way, and what its answers become; and the form of
// the web pages.
#include "enroll/client_road.h"

#include <gtest/gtest.h>

#include "enroll/ca_page.h"
#include "front/core/catalogue.h"
#include "tests/support/folder.h"

namespace kestrel {
namespace {

using test_support::Printed;

constexpr HRESULT kFault = static_cast<HRESULT>(0x8009000B);

// Answers as it is told, and notes what it was asked.
class FakeClient final : public UnixRequest {
  public:
    HRESULT SetCredential(LONG, LONG, BSTR, BSTR) override { return E_NOTIMPL; }
    HRESULT SetAuth(PasswordCallback*, LONG type, DWORD flags, const char* name,
                    const char* password) override {
        asked += std::to_string(type) + " " + std::to_string(flags) + " " +
                 (name != nullptr ? name : "-") + " " + (password != nullptr ? password : "-");
        return submitted;
    }
    HRESULT Submit(LONG flags, BSTR request, BSTR attributes, BSTR url, LONG* given) override {
        EXPECT_EQ(flags, 255);
        EXPECT_STREQ(attributes, L"CertificateTemplate:User");
        EXPECT_STREQ(request, L"request");
        return RetrievePending(7, url, given);
    }
    HRESULT RetrievePending(LONG id, BSTR url, LONG* given) override {
        EXPECT_EQ(id, 7);
        EXPECT_STREQ(url, L"https://x");
        *given = disposition;
        return submitted;
    }
    HRESULT GetRequestId(LONG* id) override {
        *id = 12;
        return S_OK;
    }
    HRESULT GetDispositionMessage(BSTR* text) override {
        *text = SysAllocString(L"words");
        return told;
    }
    HRESULT GetCACertificate(LONG, BSTR, LONG, BSTR*) override { return E_NOTIMPL; }
    HRESULT GetCertificate(LONG flags, BSTR*) override {
        EXPECT_EQ(flags, 256);
        return kFault;
    }
    HRESULT GetCAProperty(BSTR, LONG, LONG, LONG, LONG, VARIANT*) override { return E_NOTIMPL; }

    HRESULT submitted = S_OK;
    HRESULT told = S_OK;
    LONG disposition = 0;
    std::string asked;
};

TEST(ClientRoad, Dispositions) {
    const std::string wait = std::string(Message(say::kRequestPending).english) + "\n";
    const std::string rejected = "Error: CA rejected request. (0x200002C3)\n";
    const struct {
        LONG disposition;
        HRESULT submitted;
        HRESULT told;
        DWORD created;
        std::string creating;  // empty: an error line
        DWORD fetched;
        std::string fetching;
    } rows[] = {
        {2, S_OK, S_OK, kRequestRejected, "Request was denied.\n" + rejected, 0, "words\n"},
        {3, S_OK, S_OK, 0x8009000B, "", 0x8009000B, ""},
        {5, S_OK, S_OK, 0, wait + "Request ID:12\n", 0, wait},
        {0, S_OK, S_OK, kRequestRejected, "words\n" + rejected, 0, "words\n"},
        {6, S_OK, S_OK, kRequestRejected, "words\n" + rejected, 0, "words\n"},
        {2, S_FALSE, S_OK, 1, "", 0, "words\n"},
        {2, kFault, S_OK, 0x8009000B, "", 0x8009000B, ""},
        {2, S_OK, kFault, 0x8009000B, "", 0x8009000B, ""},
    };
    for (const auto& row : rows) {
        FakeClient client;
        client.disposition = row.disposition;
        client.submitted = row.submitted;
        client.told = row.told;
        EnrollOptions options;
        const auto expect = [&](const auto& run, DWORD code, const std::string& text) {
            const std::string printed = Printed([&] { EXPECT_EQ(run(), code) << row.disposition; });
            if (text.empty()) {
                EXPECT_TRUE(printed.starts_with("Error: ")) << printed;
            } else {
                EXPECT_EQ(printed, text) << row.disposition;
            }
        };
        const ComText request(L"request");
        expect([&] { return CreateThrough(client, options, "https://x", request, nullptr); },
               row.created, row.creating);
        expect([&] { return FetchThrough(client, options, "https://x", 7); }, row.fetched,
               row.fetching);
    }
}

TEST(ClientRoad, WhoAsks) {
    const struct {
        Applicant applicant;
        const char* asked;
        DWORD code;
    } rows[] = {
        {{}, "", 0},
        {{"ab12", "tok", "secret"}, "8 1 ab12 -", 0},
        {{nullptr, "tok", "1234567890123456789"}, "4 1 tok 1234567890123456789", 0},
        {{nullptr, "tok", "12345678901234567890"}, "", kWrongKey},
        {{nullptr, "tok", nullptr}, "4 1 tok ", 0},
        {{nullptr, nullptr, "secret"}, "", 0},
    };
    for (const auto& row : rows) {
        FakeClient client;
        EXPECT_EQ(Printed([&] { EXPECT_EQ(Introduce(client, row.applicant), row.code); }),
                  row.code != 0 ? "Error: Wrong key: 'tpassword'. (0x200000CE)\n" : "");
        EXPECT_EQ(client.asked, row.asked);
    }
}

TEST(ClientRoad, TheChainComesFirst) {
    const struct {
        HRESULT introduced;
        DWORD code;
    } rows[] = {{kFault, 0x8009000B}, {S_OK, static_cast<DWORD>(E_NOTIMPL)}};
    for (const auto& row : rows) {
        FakeClient client;
        client.submitted = row.introduced;
        EXPECT_EQ(Printed([&] { EXPECT_EQ(TrustAuthority(client, "https://x"), row.code); }), "");
        EXPECT_EQ(client.asked, "1 5 - -");
    }
}

TEST(WebForm, EveryByteIsEscaped) {
    EXPECT_EQ(NewRequestForm("aZ0\t+\r\n=\xFF", "N"),
              "CertRequest=%61%5A%30%9%2B%3D%FF&Mode=newreq&TargetStoreFlags=0&SaveCert=no&"
              "FriendlyType=N");
}

}  // namespace
}  // namespace kestrel
