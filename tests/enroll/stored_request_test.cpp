// Requests in every form that an authority keeps them in, made by the openssl command.
#include "enroll/stored_request.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/support/folder.h"

namespace kestrel {
namespace {

class StoredRequests : public test_support::InFolderTest {
  protected:
    void SetUp() override {
        InFolderTest::SetUp();
        Run("openssl req -new -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout key "
            "-subj /CN=x -outform DER -out plain");
        Run("openssl req -x509 -newkey rsa:2048 -nodes -keyout ca.key -subj /CN=ca -out ca.pem");
        Run("openssl pkey -in key -pubout -outform DER -out public");
        Run("openssl base64 -in plain | iconv -t UTF-16LE > wide");
        Run("{ openssl base64 -in plain -A | iconv -t UTF-16LE; printf '\\1\\4'; } > high");
        Sign("plain", "once");
        Sign("once", "twice");
        Sign("wide", "text");
        Sign("high", "no-text");
    }

    static void Run(const std::string& command) {
        ASSERT_EQ(std::system((command + " 2>/dev/null").c_str()), 0) << command;
    }
    static void Sign(const std::string& in, const std::string& out) {
        Run("openssl cms -sign -binary -nodetach -signer ca.pem -inkey ca.key -outform DER -in " +
            in + " -out " + out);
    }
    static Octets BytesOf(const char* file) {
        const std::string bytes = Read(file);
        return {bytes.begin(), bytes.end()};
    }
};

TEST_F(StoredRequests, TakesTheLayersOff) {
    constexpr DWORD kNoMessage = 0x80091004;
    constexpr DWORD kNoText = 0x80090005;
    const struct {
        const char* file;
        bool armoured;
        LONG disposition;
        DWORD result;
    } rows[] = {
        {"plain", false, 5, 0},          {"plain", true, 5, 0},
        {"once", false, 5, 0},           {"once", false, kOwnRequest, 0},
        {"twice", false, 3, 0},          {"twice", true, 3, 0},
        {"text", false, 3, 0},           {"twice", false, kOwnRequest, 0},
        {"plain", false, 3, kNoMessage}, {"plain", false, kOwnRequest, kNoMessage},
        {"once", true, 3, kNoMessage},   {"text", true, 3, kNoMessage},
        {"no-text", false, 3, kNoText},  {"once", false, 1, kNoText},
    };
    const std::string key = Read("public");
    for (const auto& row : rows) {
        const std::string text = EncodeBytes(BytesOf(row.file)) + "\r\n";
        RequestInfo info;
        const HRESULT result =
            ParseRequestInfo(row.armoured ? ArmourRequest(text) : text, row.disposition, 0, info);
        ASSERT_EQ(static_cast<DWORD>(result), row.result) << row.file << row.disposition;
        if (result != S_OK) continue;
        const CRYPT_BIT_BLOB& bits = info.PublicKey().PublicKey;
        EXPECT_TRUE(key.ends_with({reinterpret_cast<const char*>(bits.pbData), bits.cbData}));
    }
}

TEST_F(StoredRequests, CutAnywhereIsAnError) {
    const Octets whole = BytesOf("once");
    for (std::size_t size = 1; size < whole.size(); size += 3) {
        RequestInfo info;
        const std::string text = EncodeBytes({whole.begin(), whole.begin() + size});
        EXPECT_LT(ParseRequestInfo(text, 5, 0, info), 0) << size;
    }
}

// What can go with it is signed over GOST R 34.11-94, the rest over the key's own hash.
TEST_F(StoredRequests, SignsWithAHashOfTheKey) {
    setenv("KESTREL_HOME", (folder_ / "home").c_str(), 1);
    const std::string ctl =
        (std::filesystem::read_symlink("/proc/self/exe").parent_path() / "kestrelctl").string();
    const char* const hashes[] = {"2.16.840.1.101.3.4.2.1", "1.2.643.2.2.9", "1.2.643.7.1.1.2.2"};
    for (const char* type : {"24", "75", "80"}) {
        Run(ctl + " identity create CN=" + type + " --provtype " + type);
    }
    StoreHolder store;
    *store.Fill() = CertOpenSystemStoreA(0, "My");
    PCCERT_CONTEXT each = nullptr;
    for (const char* hash : hashes) {
        each = CertEnumCertificatesInStore(store.Get(), each);
        ASSERT_NE(each, nullptr);
        ProviderHolder provider;
        RequestSigner signer{each, 0, 0};
        BOOL owned = FALSE;
        ASSERT_TRUE(CryptAcquireCertificatePrivateKey(each, 0, nullptr, provider.Fill(),
                                                      &signer.keySpec, &owned));
        signer.provider = provider.Get();
        Octets bytes = BytesOf("plain");
        ASSERT_EQ(WrapSignedMessage(signer, bytes), S_OK);
        Write("wrapped", {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        Run(std::string("openssl cms -cmsout -print -inform DER -in wrapped | "
                        "grep -A2 digestAlgorithms: | grep -qF '(") +
            hash + ")'");
        EXPECT_EQ(UnwrapSignedMessage(0, bytes), S_OK);
        EXPECT_EQ(bytes, BytesOf("plain"));
    }
    CertFreeCertificateContext(each);
    RequestSigner nobody;
    Octets bytes;
    EXPECT_EQ(WrapSignedMessage(nobody, bytes), CRYPT_E_NO_KEY_PROPERTY);
}

TEST_F(StoredRequests, SerialOfTheKey) {
    Run("openssl x509 -req -inform DER -in plain -CA ca.pem -CAkey ca.key -set_serial 0x0A0B01 "
        "-out leaf.pem");
    Run("openssl crl2pkcs7 -nocrl -certfile ca.pem -certfile leaf.pem | grep -v -e - > bundle");
    Run("openssl crl2pkcs7 -nocrl -certfile ca.pem | grep -v -e - > other");
    RequestInfo info;
    ASSERT_EQ(info.Decode(BytesOf("plain")), S_OK);
    std::string serial;
    EXPECT_EQ(FindSerial(Read("bundle"), info.PublicKey(), serial), S_OK);
    EXPECT_EQ(serial, "0A0B01");
    EXPECT_EQ(FindSerial(Read("other"), info.PublicKey(), serial), CRYPT_E_NOT_FOUND);
    EXPECT_LT(FindSerial("MIIB", info.PublicKey(), serial), 0);
}

}  // namespace
}  // namespace kestrel
