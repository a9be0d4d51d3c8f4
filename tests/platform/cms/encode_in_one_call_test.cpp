// Messages made in one call, judged by the openssl command.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/encode_support.h"
#include "tests/support/engine.h"

namespace platform::testing {
namespace {

struct OneCallRequest {
    PCCERT_CONTEXT certificate;
    CRYPT_SIGN_MESSAGE_PARA para{};
    std::vector<const BYTE*> pieces;
    std::vector<DWORD> sizes;

    explicit OneCallRequest(const Identity& identity) : certificate(identity.certificate) {
        CERT_KEY_CONTEXT key{};
        key.cbSize = sizeof(key);
        key.hCryptProv = identity.provider;
        key.dwKeySpec = AT_KEYEXCHANGE;
        EXPECT_TRUE(CertSetCertificateContextProperty(certificate, CERT_KEY_CONTEXT_PROP_ID,
                                                      CERT_STORE_NO_CRYPT_RELEASE_FLAG, &key));
        para.cbSize = sizeof(para);
        para.dwMsgEncodingType = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
        para.cMsgCert = 1;
        para.rgpMsgCert = &certificate;
        para.pSigningCert = certificate;
        para.HashAlgorithm.pszObjId = const_cast<char*>(identity.digest);
    }
    OneCallRequest(const OneCallRequest&) = delete;
    OneCallRequest& operator=(const OneCallRequest&) = delete;

    void Content(const Bytes& piece) {
        pieces.push_back(piece.data());
        sizes.push_back(static_cast<DWORD>(piece.size()));
    }
    BOOL Run(BOOL detached, BYTE* encoded, DWORD* size) {
        return CryptSignMessage(&para, detached, static_cast<DWORD>(pieces.size()), pieces.data(),
                                sizes.data(), encoded, size);
    }
    Bytes Message(BOOL detached) {
        DWORD size = 0;
        EXPECT_TRUE(Run(detached, nullptr, &size)) << std::hex << GetLastError();
        Bytes encoded(size);
        EXPECT_TRUE(Run(detached, encoded.data(), &size)) << std::hex << GetLastError();
        EXPECT_LE(size, encoded.size());
        encoded.resize(size);
        return encoded;
    }
};

TEST(SignMessage, OpenSslAcceptsAttachedAndDetached) {
    SKIP_WITHOUT_ENGINE();
    const Bytes first = Pattern(100000);
    const Bytes second = Pattern(3);
    Bytes both = first;
    both.insert(both.end(), second.begin(), second.end());
    WriteFile("original", both);
    for (const char* name : kSigningIdentities) {
        for (const BOOL detached : {FALSE, TRUE}) {
            SCOPED_TRACE(std::string(name) + (detached != FALSE ? ", detached" : ""));
            OneCallRequest request(IdentityOf(name));
            request.Content(first);
            request.Content(second);
            WriteFile("message", request.Message(detached));
            OpenSsl(
                "cms -engine gost -verify -noverify -binary -inform DER -in message -out content" +
                std::string(detached != FALSE ? " -content original" : ""));
            EXPECT_EQ(ReadFile("content"), both);
        }
    }
}

// An ECDSA signature is shorter or longer from one time to the next.
TEST(SignMessage, SizeToldIsEnoughForEverySignature) {
    const Bytes content = Pattern(100);
    for (int i = 0; i < 40; ++i) {
        OneCallRequest request(IdentityOf("ec"));
        request.Content(content);
        ASSERT_FALSE(request.Message(FALSE).empty()) << i;
        ASSERT_FALSE(HasFailure()) << i;
    }
}

}  // namespace
}  // namespace platform::testing
