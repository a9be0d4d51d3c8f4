#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "encode_support.h"

namespace platform::testing {
namespace {

struct Request {
    std::vector<PCCERT_CONTEXT> certificates;
    CRYPT_SIGN_MESSAGE_PARA para{};
    std::vector<const BYTE*> pieces;
    std::vector<DWORD> sizes;

    Request() { para.cbSize = sizeof(para); }
    void Embed(const std::vector<const char*>& names) {
        for (const char* name : names) certificates.push_back(IdentityOf(name).certificate);
        para.cMsgCert = static_cast<DWORD>(certificates.size());
        para.rgpMsgCert = certificates.data();
    }
    void SignBy(const Identity& identity) {
        para.pSigningCert = identity.certificate;
        para.HashAlgorithm.pszObjId = const_cast<char*>(identity.digest);
        CERT_KEY_CONTEXT key{};
        key.cbSize = sizeof(key);
        key.hCryptProv = identity.provider;
        key.dwKeySpec = AT_KEYEXCHANGE;
        ASSERT_TRUE(CertSetCertificateContextProperty(identity.certificate,
                                                      CERT_KEY_CONTEXT_PROP_ID,
                                                      CERT_STORE_NO_CRYPT_RELEASE_FLAG, &key));
    }
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

TEST(SignMessage, BundleOfCertificates) {
    Request request;
    request.Embed({"rsa", "ec", "gost2001"});
    const Bytes bundle = request.Message(FALSE);
    WriteTemp("bundle", bundle);
    std::string printed;
    ASSERT_TRUE(OpenSsl("pkcs7 -engine gost -inform DER -in bundle -print_certs -noout", &printed))
        << printed;
    for (const char* name : {"CN = rsa", "CN = ec", "CN = gost2001"}) {
        EXPECT_NE(printed.find(name), std::string::npos) << name;
    }
    ASSERT_TRUE(OpenSsl("cms -cmsout -inform DER -in bundle -outform DER -out again"));
    EXPECT_EQ(Hex(bundle), Hex(ReadTemp("again")));
    // Neither digests, nor content, nor signers.
    ASSERT_TRUE(OpenSsl("cms -cmsout -print -noout -inform DER -in bundle", &printed));
    EXPECT_NE(printed.find("eContent: <ABSENT>"), std::string::npos) << printed;
    EXPECT_TRUE(Hex(bundle).ends_with("3100"));
}

TEST(SignMessage, SizesOfTheBuffer) {
    Request request;
    request.Embed({"rsa", "ec"});
    DWORD need = 0;
    ASSERT_TRUE(request.Run(FALSE, nullptr, &need));
    const struct {
        const char* name;
        DWORD size;
        BOOL expected;
    } rows[] = {
        {"one short", need - 1, FALSE}, {"exact", need, TRUE}, {"one over", need + 1, TRUE}};
    for (const auto& row : rows) {
        Bytes buffer(need + 2, 0xEE);
        DWORD size = row.size;
        EXPECT_EQ(request.Run(FALSE, buffer.data(), &size), row.expected) << row.name;
        EXPECT_EQ(size, need) << row.name;
        EXPECT_EQ(buffer[row.expected != FALSE ? need : 0], 0xEE) << row.name;
        if (row.expected != FALSE) continue;
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MORE_DATA));
    }
}

TEST(SignMessage, OpenSslAcceptsAttachedAndDetached) {
    const Bytes first = Noise(100000);
    const Bytes second = Noise(3);
    Bytes both = first;
    both.insert(both.end(), second.begin(), second.end());
    WriteTemp("original", both);
    for (const char* name : kSigningIdentities) {
        const Identity& identity = IdentityOf(name);
        for (const BOOL detached : {FALSE, TRUE}) {
            SCOPED_TRACE(std::string(name) + (detached != FALSE ? ", detached" : ""));
            Request request;
            request.Embed({name});
            request.SignBy(identity);
            request.Content(first);
            request.Content(second);
            WriteTemp("message", request.Message(detached));
            std::string printed;
            EXPECT_TRUE(
                OpenSsl("cms" + identity.Engine() +
                            "-verify -noverify -binary -inform DER -in message -out content" +
                            (detached != FALSE ? " -content original" : ""),
                        &printed))
                << printed;
            EXPECT_EQ(ReadTemp("content"), both);
        }
    }
}

TEST(SignMessage, RefusesBadArguments) {
    const Bytes content = Noise(1);
    const struct {
        const char* name;
        std::function<void(Request&)> spoil;
    } rows[] = {
        {"small record", [](Request& r) { r.para.cbSize = 8; }},
        {"flags", [](Request& r) { r.para.dwFlags = 1; }},
        {"content type", [](Request& r) { r.para.dwInnerContentType = CMSG_SIGNED; }},
        {"no list of certificates", [](Request& r) { r.para.rgpMsgCert = nullptr; }},
        {"null certificate", [](Request& r) { r.certificates[0] = nullptr; }},
        {"no list of CRLs", [](Request& r) { r.para.cMsgCrl = 1; }},
        {"null content", [](Request& r) { r.pieces[0] = nullptr; }},
    };
    for (const auto& row : rows) {
        Request request;
        request.Embed({"rsa"});
        request.Content(content);
        row.spoil(request);
        DWORD size = 0;
        EXPECT_FALSE(request.Run(FALSE, nullptr, &size)) << row.name;
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER)) << row.name;
    }
    DWORD size = 0;
    EXPECT_FALSE(CryptSignMessage(nullptr, FALSE, 0, nullptr, nullptr, nullptr, &size));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

}  // namespace
}  // namespace platform::testing
