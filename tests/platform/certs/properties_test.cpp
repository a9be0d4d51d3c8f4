// Properties, and the way from a certificate to its private key.
#include <cctype>

#include "platform/base/error.h"
#include "platform/certs/key_provider_info.h"
#include "platform/providers/container.h"
#include "platform/stores/store.h"
#include "tests/support/certificates.h"

namespace platform::testing {
namespace {

constexpr DWORD kSomeProperty = 40000;

class PropertiesTest : public CertsTest {
  protected:
    // A container with the key of a certificate made by the command.
    static void MakeContainer(const char* name, const AnyKey& key, std::string_view password = {}) {
        Container container = Container::Create(Side::User, name, 16);
        container.SaveKey(AT_KEYEXCHANGE, key, Secret(ViewOf(password)));
    }
    static void Bind(PCCERT_CONTEXT certificate, const wchar_t* container) {
        std::wstring name = container;
        CRYPT_KEY_PROV_INFO info{};
        info.pwszContainerName = name.data();
        info.dwProvType = 16;
        info.dwKeySpec = AT_KEYEXCHANGE;
        ASSERT_TRUE(
            CertSetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, 0, &info));
    }
};

DWORD ErrorOf(PCCERT_CONTEXT certificate, DWORD id) {
    DWORD size = 0;
    SetLastError(0);
    EXPECT_FALSE(CertGetCertificateContextProperty(certificate, id, nullptr, &size)) << id;
    return GetLastError();
}

void SetFlat(PCCERT_CONTEXT certificate, DWORD id, Bytes value) {
    const CRYPT_DATA_BLOB blob{static_cast<DWORD>(value.size()), value.data()};
    EXPECT_TRUE(CertSetCertificateContextProperty(certificate, id, 0, &blob));
}

// The octets that the command shows with colons between them.
std::string DigitsBehind(const std::string& shown, char mark) {
    std::string digits = shown.substr(shown.find(mark) + 1);
    std::erase_if(digits, [](char c) { return std::isxdigit(c) == 0; });
    return digits;
}

TEST_F(PropertiesTest, AnswersFromTheCertificate) {
    const CertHolder ec = ContextOf("p256");
    std::string shown = OpenSsl("x509 -inform DER -in p256.cer -noout -fingerprint -sha1");
    EXPECT_EQ(PropertyOf(ec.get(), CERT_SHA1_HASH_PROP_ID), FromHex(DigitsBehind(shown, '=')));

    shown = OpenSsl("x509 -inform DER -in p256.cer -noout -ext subjectKeyIdentifier");
    EXPECT_EQ(PropertyOf(ec.get(), CERT_KEY_IDENTIFIER_PROP_ID),
              FromHex(DigitsBehind(shown, '\n')));

    // Without the extension it is SHA-1 of the public key record: the digest of the octets
    // 300F 3009 06072A8648CE3D0201 03020004, by sha1sum.
    const CertHolder plain = Context(NumberedCertificate(1));
    EXPECT_EQ(Hex(PropertyOf(plain.get(), CERT_KEY_IDENTIFIER_PROP_ID)),
              "b548088adf2a75b0a1c44854555c077bf760ae93");
}

TEST_F(PropertiesTest, LaysOutTheProviderRecord) {
    const CertHolder ec = ContextOf("p256");
    wchar_t container[] = L"Ключ 1";
    wchar_t provider[] = L"Some Provider";
    CRYPT_KEY_PROV_INFO info{container, provider, 16,          CRYPT_MACHINE_KEYSET,
                             0,         nullptr,  AT_SIGNATURE};
    ASSERT_TRUE(CertSetCertificateContextProperty(ec.get(), CERT_KEY_PROV_INFO_PROP_ID, 0, &info));
    Bytes block = PropertyOf(ec.get(), CERT_KEY_PROV_INFO_PROP_ID);
    const auto* back = reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(block.data());
    EXPECT_STREQ(back->pwszContainerName, container);
    EXPECT_STREQ(back->pwszProvName, provider);
    EXPECT_EQ(back->dwProvType, 16U);
    EXPECT_EQ(back->dwFlags, DWORD{CRYPT_MACHINE_KEYSET});
    EXPECT_EQ(back->dwKeySpec, DWORD{AT_SIGNATURE});
    EXPECT_EQ(Hex(PropertyOf(ec.get(), CERT_KEY_SPEC_PROP_ID)), "02000000");

    info.pwszProvName = nullptr;
    ASSERT_TRUE(CertSetCertificateContextProperty(ec.get(), CERT_KEY_PROV_INFO_PROP_ID, 0, &info));
    block = PropertyOf(ec.get(), CERT_KEY_PROV_INFO_PROP_ID);
    EXPECT_EQ(reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(block.data())->pwszProvName, nullptr);

    wchar_t twoLines[] = L"a\nprovider=b";
    info.pwszContainerName = twoLines;
    EXPECT_FALSE(CertSetCertificateContextProperty(ec.get(), CERT_KEY_PROV_INFO_PROP_ID, 0, &info));
}

TEST_F(PropertiesTest, RefusesDamagedProviderRecords) {
    const char* const rows[] = {
        "",
        "container=a\nprovider=\ntype=16\nflags=0\nkeyspec=1",
        "container=a\nprovider=\ntype=x\nflags=0\nkeyspec=1\n",
        "container=a\nprovider=\ntype=99999999999\nflags=0\nkeyspec=1\n",
        "container=a\nprovider=\ntype=16\nflags=0\nkeyspec=1\nmore=1\n",
        "provider=\ncontainer=a\ntype=16\nflags=0\nkeyspec=1\n",
        "container\nprovider=\ntype=16\nflags=0\nkeyspec=1\n",
    };
    for (const char* row : rows) {
        EXPECT_EQ(CodeOf([&] { ParseKeyProviderInfo(ViewOf(std::string_view(row))); }),
                  Code(NTE_BAD_DATA))
            << row;
    }
}

TEST_F(PropertiesTest, KeyContextReleasesWhatItTook) {
    MakeContainer("box", PrivateKey("p256"));
    const auto open = [] {
        HCRYPTPROV provider = 0;
        EXPECT_TRUE(CryptAcquireContextA(&provider, "box", nullptr, 16, 0));
        return provider;
    };
    const auto set = [](PCCERT_CONTEXT certificate, HCRYPTPROV provider, DWORD flags) {
        CERT_KEY_CONTEXT record{};
        record.cbSize = sizeof record;
        record.hCryptProv = provider;
        record.dwKeySpec = AT_KEYEXCHANGE;
        EXPECT_TRUE(CertSetCertificateContextProperty(certificate, CERT_KEY_CONTEXT_PROP_ID, flags,
                                                      &record));
    };
    const std::size_t before = LiveHandles();
    CertHolder ec = ContextOf("p256");

    set(ec.get(), open(), 0);
    EXPECT_EQ(LiveHandles(), before + 2);
    set(ec.get(), open(), 0);  // releases the first
    EXPECT_EQ(LiveHandles(), before + 2);
    const Bytes record = PropertyOf(ec.get(), CERT_KEY_CONTEXT_PROP_ID);
    const HCRYPTPROV held = reinterpret_cast<const CERT_KEY_CONTEXT*>(record.data())->hCryptProv;
    set(ec.get(), held, 0);  // the same handle is not released under its user
    EXPECT_EQ(LiveHandles(), before + 2);
    EXPECT_TRUE(CertSetCertificateContextProperty(ec.get(), CERT_KEY_CONTEXT_PROP_ID, 0, nullptr));
    EXPECT_EQ(LiveHandles(), before + 1);

    const HCRYPTPROV mine = open();
    set(ec.get(), mine, CERT_STORE_NO_CRYPT_RELEASE_FLAG);
    ec.reset();
    EXPECT_EQ(LiveHandles(), before + 1);
    EXPECT_TRUE(CryptReleaseContext(mine, 0));

    ec = ContextOf("p256");
    set(ec.get(), open(), 0);
    ec.reset();  // the certificate goes, and its handle with it
    EXPECT_EQ(LiveHandles(), before);

    CERT_KEY_CONTEXT wrong{};
    ec = ContextOf("p256");
    EXPECT_FALSE(CertSetCertificateContextProperty(ec.get(), CERT_KEY_CONTEXT_PROP_ID, 0, &wrong));
}

struct Acquired {
    BOOL result;
    DWORD error;
    HCRYPTPROV provider = 0;
    DWORD keySpec = 0;
    BOOL callerFree = TRUE;
};

Acquired Acquire(PCCERT_CONTEXT certificate, DWORD flags) {
    Acquired key{};
    SetLastError(0);
    key.result = CryptAcquireCertificatePrivateKey(certificate, flags, nullptr, &key.provider,
                                                   &key.keySpec, &key.callerFree);
    key.error = Outcome(key.result);
    return key;
}

TEST_F(PropertiesTest, AcquiresTheKey) {
    MakeContainer("box", PrivateKey("p256"));
    CertHolder ec = ContextOf("p256");
    EXPECT_EQ(Acquire(ec.get(), 0).error, Code(CRYPT_E_NO_KEY_PROPERTY));
    Bind(ec.get(), L"box");

    const Acquired own = Acquire(ec.get(), 0);
    ASSERT_EQ(own.error, 0U);
    EXPECT_EQ(own.callerFree, TRUE);
    EXPECT_EQ(own.keySpec, DWORD{AT_KEYEXCHANGE});
    EXPECT_TRUE(CryptReleaseContext(own.provider, 0));

    const Acquired cached = Acquire(ec.get(), CRYPT_ACQUIRE_CACHE_FLAG);
    ASSERT_EQ(cached.error, 0U);
    EXPECT_FALSE(cached.callerFree);
    const Acquired again = Acquire(ec.get(), 0);
    EXPECT_EQ(again.provider, cached.provider);
    EXPECT_FALSE(again.callerFree);

    EXPECT_FALSE(
        CryptAcquireCertificatePrivateKey(ec.get(), 0, nullptr, nullptr, nullptr, nullptr));
}

TEST_F(PropertiesTest, TellsWhyThereIsNoKey) {
    MakeContainer("box", GenerateKey(16));
    MakeContainer("locked", GenerateKey(16), "secret");
    const struct {
        const char* name;
        const wchar_t* container;
        DWORD error;
    } rows[] = {
        {"another key", L"box", Code(NTE_BAD_PUBLIC_KEY)},
        {"no container", L"none", Code(NTE_BAD_KEYSET)},
        // Looking into it would ask for the password, so the key is taken at its word.
        {"another key behind a password", L"locked", 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const CertHolder ec = ContextOf("p256");
        Bind(ec.get(), row.container);
        const Acquired key = Acquire(ec.get(), CRYPT_ACQUIRE_SILENT_FLAG);
        EXPECT_EQ(key.error, row.error);
        if (key.result != FALSE) CryptReleaseContext(key.provider, 0);
    }
}

TEST_F(PropertiesTest, SystemStoresKeepThemAtOnce) {
    const auto store = OpenSystemStore(Side::User, "My", OpenMode::OpenOrCreate);
    const auto other = OpenSystemStore(Side::User, "My", OpenMode::OpenOrCreate);
    const CertHolder loose = ContextOf("p256");
    SetFlat(loose.get(), kSomeProperty, {7});
    store->Add(*Certificate::Of(loose.get()), CERT_STORE_ADD_NEW);

    const CertHolder first(Certificate::Share(store->Certificates()[0]));
    const CertHolder second(Certificate::Share(other->Certificates()[0]));
    // Two holders of one certificate set a property each, and neither undoes the other.
    SetFlat(first.get(), CERT_FRIENDLY_NAME_PROP_ID, {1});
    SetFlat(second.get(), kSomeProperty + 1, {2});
    Bind(first.get(), L"box");

    const auto fresh = OpenSystemStore(Side::User, "My", OpenMode::Existing);
    const CertHolder third(Certificate::Share(fresh->Certificates()[0]));
    EXPECT_EQ(PropertyOf(third.get(), kSomeProperty), Bytes{7});
    EXPECT_EQ(PropertyOf(third.get(), CERT_FRIENDLY_NAME_PROP_ID), Bytes{1});
    EXPECT_EQ(PropertyOf(third.get(), kSomeProperty + 1), Bytes{2});
    const Bytes block = PropertyOf(third.get(), CERT_KEY_PROV_INFO_PROP_ID);
    EXPECT_STREQ(reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(block.data())->pwszContainerName,
                 L"box");

    EXPECT_TRUE(CertSetCertificateContextProperty(first.get(), kSomeProperty, 0, nullptr));
    fresh->Certificates();
    EXPECT_EQ(ErrorOf(third.get(), kSomeProperty), Code(CRYPT_E_NOT_FOUND));

    // A certificate that somebody else removed keeps what it had.
    store->Remove(*Certificate::Of(first.get()));
    const CRYPT_DATA_BLOB blob{};
    EXPECT_EQ(Outcome(CertSetCertificateContextProperty(second.get(), CERT_FRIENDLY_NAME_PROP_ID, 0,
                                                        &blob)),
              Code(CRYPT_E_NOT_FOUND));
    EXPECT_EQ(PropertyOf(second.get(), kSomeProperty + 1), Bytes{2});
}

}  // namespace
}  // namespace platform::testing
