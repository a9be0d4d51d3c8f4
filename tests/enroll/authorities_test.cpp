// Who may be told to an authority in which way, and which authorities there are.
#include <gtest/gtest.h>

#include "enroll/com_holders.h"
#include "enroll/unix_request_impl.h"

namespace kestrel {
namespace {

class Client final : public UnixRequestImpl {
  public:
    HRESULT Submit(LONG, BSTR, BSTR, BSTR, LONG*) override { return E_NOTIMPL; }
    HRESULT RetrievePending(LONG, BSTR, LONG*) override { return E_NOTIMPL; }
    HRESULT GetRequestId(LONG*) override { return E_NOTIMPL; }
    HRESULT GetCACertificate(LONG, BSTR, LONG, BSTR*) override { return E_NOTIMPL; }
    HRESULT GetCertificate(LONG, BSTR*) override { return E_NOTIMPL; }
    HRESULT GetCAProperty(BSTR, LONG, LONG, LONG, LONG, VARIANT*) override { return E_NOTIMPL; }

    using UnixRequestImpl::Name;
    using UnixRequestImpl::Password;
};

class Counted final : public PasswordCallback {
  public:
    ULONG AddRef() override { return ++count; }
    ULONG Release() override { return --count; }
    HRESULT AskPassword(BSTR, BSTR*) override { return E_NOTIMPL; }
    ULONG count = 0;
};

constexpr struct {
    const char* what;
    LONG type;
    DWORD flags;
    bool callback;
    const char* name;
    const char* password;
    HRESULT expected;
} kAuthRows[] = {
    {"anonymous", 1, 1, false, nullptr, nullptr, S_OK},
    {"anonymous with a name", 1, 1, false, "x", nullptr, E_INVALIDARG},
    {"no type", 0, 1, false, nullptr, nullptr, E_INVALIDARG},
    {"Kerberos", 2, 1, false, nullptr, nullptr, E_NOTIMPL},
    {"user with a password", 4, 1, false, "x", "p", S_OK},
    {"user with a callback", 4, 1, true, "x", nullptr, S_OK},
    {"user with neither", 4, 1, false, "x", nullptr, E_INVALIDARG},
    {"certificate", 8, 1, false, "ab12", nullptr, S_OK},
    {"certificate without a name", 8, 1, false, nullptr, nullptr, E_INVALIDARG},
    {"without the lowest flag", 1, 2, false, nullptr, nullptr, E_INVALIDARG},
    {"any server is told nothing", 4, 5, false, "x", "p", E_INVALIDARG},
};

TEST(Authorities, WhoIsTold) {
    for (const auto& row : kAuthRows) {
        Counted callback;
        {
            Client client;
            EXPECT_EQ(client.SetAuth(row.callback ? &callback : nullptr, row.type, row.flags,
                                     row.name, row.password),
                      row.expected)
                << row.what;
            const bool kept = row.expected == S_OK;
            EXPECT_EQ(client.Name(), kept && row.name != nullptr ? row.name : "") << row.what;
            EXPECT_EQ(callback.count, kept && row.callback ? 1U : 0U) << row.what;
        }
        EXPECT_EQ(callback.count, 0U) << row.what;
    }
}

TEST(Authorities, ACertificateIsRefusedWhileAPasswordIsKept) {
    Client client;
    ASSERT_EQ(client.SetAuth(nullptr, 4, 1, "x", "p"), S_OK);
    EXPECT_EQ(client.SetAuth(nullptr, 8, 1, "ab12", nullptr), E_INVALIDARG);
    EXPECT_STREQ(client.Password(), "p");
    ASSERT_EQ(client.SetAuth(nullptr, 1, 1, nullptr, nullptr), S_OK);
    EXPECT_EQ(client.SetAuth(nullptr, 8, 1, "ab12", nullptr), S_OK);
}

constexpr struct {
    const char* what;
    LONG type;
    const wchar_t* name;
    const wchar_t* password;
    HRESULT expected;
} kCredentialRows[] = {
    {"certificate with an empty password", 8, L"ab12", L"", S_OK},
    {"certificate with a password", 8, L"ab12", L"p", E_INVALIDARG},
    {"below all types", 0, nullptr, nullptr, E_INVALIDARG},
    {"between types", 5, L"ann", L"p", E_INVALIDARG},
};

ComText TextOf(const wchar_t* text) { return text != nullptr ? ComText(text) : ComText(); }

TEST(Authorities, Credentials) {
    for (const auto& row : kCredentialRows) {
        Client client;
        EXPECT_EQ(
            client.SetCredential(0, row.type, TextOf(row.name).Get(), TextOf(row.password).Get()),
            row.expected)
            << row.what;
    }
}

TEST(Authorities, Kinds) {
    EXPECT_NE(ChooseCaClient("MSCAstd"), nullptr);
    for (const char* word : {"mscastd", "FLCA", "flca15", "MSCA", ""}) {
        EXPECT_EQ(ChooseCaClient(word), nullptr) << word;
    }
    EXPECT_NE(ChooseCaClient("FLCA15"), nullptr);
}

}  // namespace
}  // namespace kestrel
