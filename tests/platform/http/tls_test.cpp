// Whom a secure connection trusts, and who the client says that it is.
#include <openssl/pem.h>

#include "platform/base/error.h"
#include "platform/base/text.h"
#include "platform/certs/certificate.h"
#include "platform/certs/key_provider_info.h"
#include "platform/certs/names.h"
#include "platform/enroll/request.h"
#include "platform/providers/algorithms.h"
#include "platform/providers/container.h"
#include "platform/providers/openssl.h"
#include "platform/stores/store.h"
#include "tests/platform/http/servers.h"
#include "tests/support/certificates.h"

namespace platform::testing {
namespace {

constexpr DWORD kAnyCa = SECURITY_FLAG_IGNORE_UNKNOWN_CA;
constexpr DWORD kAnyUsage = SECURITY_FLAG_IGNORE_CERT_WRONG_USAGE;
constexpr DWORD kAnyName = SECURITY_FLAG_IGNORE_CERT_CN_INVALID;
constexpr DWORD kAnyDate = SECURITY_FLAG_IGNORE_CERT_DATE_INVALID;
constexpr DWORD kAll = kAnyCa | kAnyUsage | kAnyName | kAnyDate;
constexpr DWORD kRefused = ERROR_WINHTTP_SECURE_FAILURE;

std::shared_ptr<Certificate> Read(const std::string& name) {
    return ReadBundle(ReadFile(name + ".pem")).certificates.at(0);
}

class TlsTest : public HomesTest {
  protected:
    TlsTest() { MakeAuthority(); }
};

TEST_F(TlsTest, EveryFlagTakesAwayWhatItsNameSays) {
    Trust("root.pem");
    const OwnServer& own = Own();
    const struct {
        const char* name;
        WORD port;
        DWORD flags;
        DWORD error;
        const char* detail;
    } rows[] = {
        {"good", own.good, 0, 0, ""},
        {"other host", own.otherHost, 0, kRefused, "does not match|target host name"},
        {"other host, name", own.otherHost, kAnyName, 0, ""},
        {"other host, all others", own.otherHost, kAll & ~kAnyName, kRefused, "host name"},
        {"expired", own.expired, 0, kRefused, "certificate has expired"},
        {"expired, date", own.expired, kAnyDate, 0, ""},
        {"expired, all others", own.expired, kAll & ~kAnyDate, kRefused, "has expired"},
        {"usage", own.wrongUsage, 0, kRefused, "purpose"},
        {"usage, usage", own.wrongUsage, kAnyUsage, 0, ""},
        {"usage, all others", own.wrongUsage, kAll & ~kAnyUsage, kRefused, "purpose"},
        {"strange", own.strange, 0, kRefused, "self-signed certificate"},
        {"strange, ca", own.strange, kAnyCa, 0, ""},
        {"strange, all others", own.strange, kAll & ~kAnyCa, kRefused, "self-signed"},
        {"old protocol", own.oldTls, kAll, kRefused, "protocol"},
        {"no TLS there", own.clear, kAll, kRefused, "version"},
    };
    for (const auto& row : rows) {
        Exchange exchange(row.port, "/", true);
        EXPECT_EQ(exchange.Flags(row.flags), 0U);
        EXPECT_EQ(exchange.Run(), row.error) << row.name;
        const std::string& detail = LastErrorDetail(kRefused);
        const std::string wanted = row.detail;
        const std::size_t bar = std::min(wanted.find('|'), wanted.size());
        if (row.error != 0) {
            EXPECT_TRUE(detail.find(wanted.substr(0, bar)) != std::string::npos ||
                        detail.find(wanted.substr(std::min(bar + 1, wanted.size()))) !=
                            std::string::npos)
                << row.name << ": " << detail;
        }
    }
    EXPECT_EQ(Exchange(own.good, "/").Flags(0x10), Code(ERROR_INVALID_PARAMETER));
}

// The same chain is strange until its root stands in "Root" of either side.
TEST_F(TlsTest, RootOfBothSidesIsTrusted) {
    EXPECT_EQ(Exchange(Own().good, "/", true).Run(), kRefused);
    EXPECT_NE(LastErrorDetail(kRefused).find("unable to get local issuer"), std::string::npos);
    {
        Exchange ignoring(Own().expired, "/", true);
        EXPECT_EQ(ignoring.Flags(kAnyCa), 0U);
        EXPECT_EQ(ignoring.Run(), kRefused);  // still expired
    }
    for (const Side side : {Side::User, Side::Machine}) {
        Clear();
        Trust("root.pem", side);
        EXPECT_EQ(Exchange(Own().good, "/", true).Run(), 0U);
        EXPECT_EQ(Exchange(Own().good, "/", true, "GET", "", "localhost").Run(), 0U);
    }
    WriteFile("machine/stores.db", ViewOf("no database"));
    EXPECT_EQ(Exchange(Own().good, "/", true).Run(), Code(ERROR_FILE_CORRUPT));
}

// Refused once, sent again with more trust on the same handle.
TEST_F(TlsTest, RulesMayChangeBetweenSends) {
    Exchange exchange(Own().strange, "/", true);
    EXPECT_EQ(exchange.Run(), kRefused);
    EXPECT_EQ(exchange.Flags(kAnyCa), 0U);
    EXPECT_EQ(exchange.Run(), 0U);
    EXPECT_EQ(exchange.Flags(0), 0U);
    EXPECT_EQ(exchange.Run(), kRefused);
}

TEST_F(TlsTest, RedirectsStaySecure) {
    Trust("root.pem");
    const auto location = [](const char* scheme, WORD port) {
        return std::string("/status?code=302&to=") + scheme +
               "://127.0.0.1:" + std::to_string(port) + "/";
    };
    Exchange down(Own().good, location("http", Own().clear), true);
    EXPECT_EQ(down.Run(), 0U);
    EXPECT_EQ(down.Status(), 302U);
    EXPECT_EQ(down.Body(), "told");
    Exchange up(Own().clear, location("https", Own().good));
    EXPECT_EQ(up.Run(), 0U);
    EXPECT_EQ(up.Body(), "root");
    Exchange away(Own().good, location("https", Own().strange), true);
    EXPECT_EQ(away.Run(), kRefused);
}

// ---- the client's certificate --------------------------------------------------------

class ClientTest : public TlsTest {
  protected:
    ClientTest() { Trust("root.pem"); }

    // The certificate "client", bound to a fresh container of the name given.
    static std::shared_ptr<Certificate> Install(const std::string& name,
                                                const std::string& password = {}) {
        Container container = Container::Create(Side::User, name, 24);
        std::FILE* file = std::fopen((Folder() / "client.key").c_str(), "r");
        const AnyKey key(EvpKey(PEM_read_PrivateKey(file, nullptr, nullptr, nullptr)));
        std::fclose(file);
        container.SaveKey(AT_KEYEXCHANGE, key, Secret(ViewOf(password)));
        auto certificate = Read("client");
        KeyProviderInfo info;
        info.container = name;
        info.type = 24;
        info.flags = CRYPT_SILENT;  // nobody is there to be asked
        certificate->properties[CERT_KEY_PROV_INFO_PROP_ID] = Serialize(info);
        return certificate;
    }
    static BOOL Set(const Exchange& exchange, const std::shared_ptr<Certificate>& certificate) {
        PCCERT_CONTEXT context = Certificate::Share(certificate);
        const BOOL done =
            WinHttpSetOption(exchange.Get(), WINHTTP_OPTION_CLIENT_CERT_CONTEXT,
                             const_cast<CERT_CONTEXT*>(context), sizeof(CERT_CONTEXT));
        CertFreeCertificateContext(context);
        return done;
    }
};

TEST_F(ClientTest, AskedForAndNotSet) {
    const struct {
        const char* name;
        WORD port;
        bool none;  // the caller said that there is none
        DWORD error;
    } rows[] = {
        {"demanded", Own().wantsClient, false, ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED},
        {"welcome", Own().mayHaveClient, false, ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED},
        {"welcome, none", Own().mayHaveClient, true, 0},
        {"not asked for", Own().good, false, 0},
        {"late", Own().late, false, ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED},
        {"late, none", Own().late, true, 0},
    };
    for (const auto& row : rows) {
        Exchange exchange(row.port, "/late", true);
        if (row.none) {
            EXPECT_TRUE(
                WinHttpSetOption(exchange.Get(), WINHTTP_OPTION_CLIENT_CERT_CONTEXT, nullptr, 0));
        }
        EXPECT_EQ(exchange.Run(), row.error) << row.name;
    }
}

TEST_F(ClientTest, ShownWithItsKey) {
    const auto certificate = Install("open");
    for (const WORD port : {Own().wantsClient, Own().mayHaveClient, Own().late, Own().good}) {
        Exchange exchange(port, "/late", true);
        ASSERT_TRUE(Set(exchange, certificate));
        EXPECT_EQ(exchange.Run(), 0U);
        EXPECT_EQ(exchange.Status(), port == Own().good ? 403U : 200U);
    }
    Exchange exchange(Real().client, "/open/page", true);
    EXPECT_EQ(exchange.Run(), 12044U);
    ASSERT_TRUE(Set(exchange, certificate));
    EXPECT_EQ(exchange.Run(), 0U);
    EXPECT_EQ(exchange.Body(), "the open page");
    // It is for that server alone.
    Exchange redirected(
        Own().wantsClient,
        "/status?code=307&to=https://127.0.0.1:" + std::to_string(Real().client) + "/open/page",
        true);
    ASSERT_TRUE(Set(redirected, certificate));
    EXPECT_EQ(redirected.Run(), 12044U);
}

TEST_F(ClientTest, KeysAndPasswords) {
    const struct {
        const char* container;
        const char* given;  // set on a provider of the certificate's own; null: none
        DWORD error;
    } rows[] = {
        {"silent", nullptr, Code(NTE_SILENT_CONTEXT)},
        {"wrong", "guess", SCARD_W_WRONG_CHV},
        {"right", "secret", 0},
    };
    for (const auto& row : rows) {
        const auto certificate = Install(row.container, "secret");
        if (row.given != nullptr) {
            HCRYPTPROV provider = 0;
            ASSERT_TRUE(CryptAcquireContextA(&provider, row.container, nullptr, 24, 0));
            CryptSetProvParam(provider, PP_KEYEXCHANGE_PIN,
                              reinterpret_cast<const BYTE*>(row.given), 0);
            certificate->keyContext =
                std::make_unique<KeyContext>(Resolve<Provider>(provider), AT_KEYEXCHANGE, true);
        }
        Exchange exchange(Own().wantsClient, "/", true);
        ASSERT_TRUE(Set(exchange, certificate));
        EXPECT_EQ(exchange.Run(), row.error) << row.container;
    }
    Exchange exchange(Own().wantsClient, "/", true);
    ASSERT_TRUE(Set(exchange, Read("client")));
    EXPECT_EQ(exchange.Run(), Code(ERROR_WINHTTP_CLIENT_CERT_NO_PRIVATE_KEY));
}

std::shared_ptr<Certificate> SelfSigned(const AnyKey& key) {
    return Certificate::Parse(SignSelf({TextToName("CN=Ann", CERT_X500_NAME_STR), {}}, key, 1));
}

// The key is there; the library's own words tell what is wrong with it.
TEST_F(ClientTest, WeakKeysAreRefused) {
    const AnyKey key(EvpKey(EVP_RSA_gen(1024)));
    const auto certificate = SelfSigned(key);
    certificate->properties = Install("weak")->properties;
    Container::Open(Side::User, "weak").SaveKey(AT_KEYEXCHANGE, key, {});
    Exchange exchange(Own().wantsClient, "/", true);
    ASSERT_TRUE(Set(exchange, certificate));
    EXPECT_EQ(exchange.Run(), kRefused);
    EXPECT_EQ(LastErrorDetail(kRefused), "ee key too small");
}

// TLS here has no use for it: nothing goes out, whatever the server asks for.
TEST_F(ClientTest, GostKeysAreRefused) {
    const auto certificate = SelfSigned(GenerateKey(kTypeGost2012_256));
    for (const WORD port : {Own().wantsClient, Own().good}) {
        Exchange exchange(port, "/", true);
        ASSERT_TRUE(Set(exchange, certificate));
        EXPECT_EQ(exchange.Run(), Code(NTE_BAD_ALGID));
    }
}

}  // namespace
}  // namespace platform::testing
