// The calls that verify one signature at once, on messages of the openssl command.
#include <gtest/gtest.h>

#include <algorithm>

#include "platform/base/handle.h"
#include "tests/support/decode_support.h"
#include "tests/support/engine.h"

using namespace platform;
using namespace platform::testing;

namespace {

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

// What the callback answers, and what it was shown.
struct Finder {
    const char* identity = nullptr;  // answered where it is the signer's; null: nobody
    int calls = 0;
    int certificatesSeen = 0;
};

PCCERT_CONTEXT WINAPI Find(void* arg, DWORD encoding, PCERT_INFO signer, HCERTSTORE store) {
    auto& finder = *static_cast<Finder*>(arg);
    ++finder.calls;
    PCCERT_CONTEXT seen = nullptr;
    while ((seen = CertEnumCertificatesInStore(store, seen)) != nullptr) ++finder.certificatesSeen;
    SetLastError(ERROR_FILE_NOT_FOUND);  // must not come out as the reason
    if (finder.identity == nullptr) return nullptr;
    const PCCERT_CONTEXT own = IdentityOf(finder.identity).certificate;
    if (CertCompareCertificate(encoding, signer, own->pCertInfo) == FALSE) return nullptr;
    return CertDuplicateCertificateContext(own);
}

CRYPT_VERIFY_MESSAGE_PARA Para(Finder* finder) {
    CRYPT_VERIFY_MESSAGE_PARA para{};
    para.cbSize = sizeof para;
    para.dwMsgAndCertEncodingType = kEncoding;
    para.pfnGetSignerCertificate = finder != nullptr ? Find : nullptr;
    para.pvGetArg = finder;
    return para;
}

// The subject's common name is the identity's.
std::string NameOf(PCCERT_CONTEXT certificate) {
    char text[100] = "";
    CertNameToStrA(X509_ASN_ENCODING, &certificate->pCertInfo->Subject, CERT_SIMPLE_NAME_STR, text,
                   sizeof text);
    return text;
}

// "good NAME", or the last error in hexadecimal digits.
std::string Answer(BOOL result, PCCERT_CONTEXT signer) {
    char error[20];
    std::snprintf(error, sizeof error, "%X", static_cast<unsigned>(GetLastError()));
    if (result == FALSE) return signer == nullptr ? error : "failed with a signer";
    const std::string name = signer != nullptr ? NameOf(signer) : "nobody";
    CertFreeCertificateContext(signer);
    return "good " + name;
}

std::string Verify(const Bytes& message, DWORD index, Finder* finder) {
    CRYPT_VERIFY_MESSAGE_PARA para = Para(finder);
    PCCERT_CONTEXT signer = IdentityOf("rsa").certificate;
    const BOOL result =
        CryptVerifyMessageSignature(&para, index, message.data(),
                                    static_cast<DWORD>(message.size()), nullptr, nullptr, &signer);
    return Answer(result, signer);
}

std::string VerifyDetached(const Bytes& message, const std::vector<Bytes>& content,
                           Finder* finder) {
    CRYPT_VERIFY_MESSAGE_PARA para = Para(finder);
    std::vector<const BYTE*> pieces;
    std::vector<DWORD> sizes;
    for (const Bytes& piece : content) {
        pieces.push_back(piece.data());
        sizes.push_back(static_cast<DWORD>(piece.size()));
    }
    PCCERT_CONTEXT signer = nullptr;
    const BOOL result = CryptVerifyDetachedMessageSignature(
        &para, 0, message.data(), static_cast<DWORD>(message.size()),
        static_cast<DWORD>(pieces.size()), pieces.data(), sizes.data(), &signer);
    return Answer(result, signer);
}

Bytes Replaced(Bytes message, const Bytes& from, const Bytes& to) {
    for (auto at = message.begin();;) {
        at = std::search(at, message.end(), from.begin(), from.end());
        if (at == message.end()) return message;
        at = std::copy(to.begin(), to.end(), at);
    }
}

TEST(VerifyMessage, AnswersByMessageIndexAndCallback) {
    SKIP_WITHOUT_ENGINE();
    const Bytes content = Pattern(300);
    Bytes changed = content;
    changed[7] ^= 1;
    // The openssl command puts the shorter signer first.
    const Bytes two = SignWith({"rsa", "ec"}, "-nodetach", content);
    const Bytes shown = FromHex("3009 0603 2A0304 A002 0500");  // the content type 1.2.3.4
    const Bytes sha256 = FromHex("0609 608648016503040201");
    const Bytes unknown = FromHex("0609 60864801650304027F");
    Bytes cut = two;
    cut.pop_back();
    // A certificate whose first part is an integer: nobody's, and no reason to fail.
    const Bytes oneBad = Replaced(SignWith({"rsa"}, "-nodetach", content), FromHex("A003 020102"),
                                  FromHex("A003 040102"));
    const struct {
        const char* name;
        Bytes message;
        DWORD index;
        const char* own;  // the callback's identity; "": it names nobody; null: no callback
        const char* expected;
    } rows[] = {
        {"first signer", two, 0, "ec", "good ec"},
        {"second signer", two, 1, "rsa", "good rsa"},
        {"not the callback's", two, 1, "ec", "0"},
        {"callback names nobody", two, 0, "", "0"},
        {"behind the last", two, 2, "rsa", "8009200E"},
        {"from the message", two, 1, nullptr, "good rsa"},
        {"not in the message", SignWith({"rsa"}, "-nodetach -nocerts", content), 0, nullptr,
         "80092004"},
        {"by key identifier", SignWith({"ec"}, "-nodetach -keyid", content), 0, "ec", "good ec"},
        {"streamed", SignWith({"ec"}, "-nodetach -stream", content), 0, nullptr, "good ec"},
        {"GOST", SignWith({"gost2012-256"}, "-nodetach", content), 0, nullptr, "good gost2012-256"},
        {"content changed", Replaced(two, content, changed), 0, "ec", "80090006"},
        {"changed, another's", Replaced(two, content, changed), 0, "gost2001", "0"},
        {"unknown digest", Replaced(two, sha256, unknown), 1, "rsa", "80090008"},
        {"damaged certificate", oneBad, 0, "rsa", "good rsa"},
        {"enveloped", EncryptFor({"rsa"}, "", content), 0, "rsa", "8009200A"},
        {"another content type", shown, 0, "rsa", "8009200A"},
        {"without content", SignWith({"rsa"}, "", content), 0, "rsa", "8009200D"},
        {"cut short", cut, 0, "rsa", "80093102"},
        {"text", FromHex("48656C6C6F"), 0, "rsa", "8009310B"},
        {"nothing", {}, 0, "rsa", "80093102"},
    };
    for (const char* name : kSigningIdentities) (void)IdentityOf(name);  // they stay alive
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::size_t live = LiveHandles();
        Finder finder;
        if (row.own != nullptr && *row.own != '\0') finder.identity = row.own;
        EXPECT_EQ(Verify(row.message, row.index, row.own != nullptr ? &finder : nullptr),
                  row.expected);
        EXPECT_EQ(LiveHandles(), live);
    }
    Finder finder;
    Verify(two, 0, &finder);
    EXPECT_EQ(finder.calls, 1);
    EXPECT_EQ(finder.certificatesSeen, 2);
}

TEST(VerifyMessage, GivesTheContentOut) {
    const Bytes content = Pattern(1000);
    const Bytes message = SignWith({"rsa"}, "-nodetach", content);
    CRYPT_VERIFY_MESSAGE_PARA para = Para(nullptr);
    const auto call = [&](BYTE* out, DWORD& size) {
        SetLastError(0);
        CryptVerifyMessageSignature(&para, 0, message.data(), static_cast<DWORD>(message.size()),
                                    out, &size, nullptr);
        return GetLastError();
    };
    DWORD size = 0;
    EXPECT_EQ(call(nullptr, size), 0U);
    EXPECT_EQ(size, content.size());
    Bytes out(size);
    EXPECT_EQ(call(out.data(), --size), Code(ERROR_MORE_DATA));
    EXPECT_EQ(size, content.size());
    EXPECT_EQ(call(out.data(), size), 0U);
    EXPECT_EQ(out, content);
    para.cbSize = 0;
    EXPECT_EQ(call(out.data(), size), Code(E_INVALIDARG));
    EXPECT_EQ(size, 0U) << "a failure leaves no size";
}

TEST(VerifyMessage, ChecksItsArguments) {
    const Bytes message = SignWith({"rsa"}, "-nodetach", Pattern(10));
    CRYPT_VERIFY_MESSAGE_PARA small = Para(nullptr);
    --small.cbSize;
    CRYPT_VERIFY_MESSAGE_PARA para = Para(nullptr);
    const BYTE* missing[] = {nullptr};
    DWORD sizes[] = {1};
    const auto call = [&](CRYPT_VERIFY_MESSAGE_PARA* record, const BYTE* data, DWORD pieces) {
        SetLastError(0);
        CryptVerifyDetachedMessageSignature(record, 0, data, static_cast<DWORD>(message.size()),
                                            pieces, missing, sizes, nullptr);
        return GetLastError();
    };
    const DWORD invalid = ERROR_INVALID_PARAMETER;
    EXPECT_EQ(call(nullptr, message.data(), 0), Code(E_INVALIDARG));
    EXPECT_EQ(call(&small, message.data(), 0), Code(E_INVALIDARG));
    EXPECT_EQ(call(&para, nullptr, 0), invalid);
    EXPECT_EQ(call(&para, message.data(), 1), invalid);
    para.dwMsgAndCertEncodingType = X509_ASN_ENCODING;
    EXPECT_EQ(call(&para, message.data(), 0), Code(E_INVALIDARG));
}

TEST(VerifyDetached, AnswersByMessageAndContent) {
    SKIP_WITHOUT_ENGINE();
    const Bytes content = Pattern(300);
    const Bytes front(content.begin(), content.begin() + 100);
    const Bytes back(content.begin() + 100, content.end());
    for (const char* name : kSigningIdentities) {
        for (const char* options : {"", "-noattr", "-nocerts -keyid"}) {
            SCOPED_TRACE(std::string(name) + " " + options);
            Finder finder{name};
            const Bytes message = SignWith({name}, options, content);
            const std::string good = std::string("good ") + name;
            EXPECT_EQ(VerifyDetached(message, {content}, &finder), good);
            EXPECT_EQ(VerifyDetached(message, {front, {}, back}, &finder), good);
            EXPECT_EQ(VerifyDetached(message, {back, front}, &finder), "80090006");
            EXPECT_EQ(VerifyDetached(message, {}, &finder), "80090006");
        }
    }
    Finder rsa{"rsa"};
    const Bytes empty = SignWith({"rsa"}, "", {});
    EXPECT_EQ(VerifyDetached(empty, {}, &rsa), "good rsa");
    EXPECT_EQ(VerifyDetached(empty, {Bytes{}}, &rsa), "good rsa");
    EXPECT_EQ(VerifyDetached(EncryptFor({"rsa"}, "", content), {content}, &rsa), "8009200A");
    EXPECT_EQ(VerifyDetached(SignWith({"rsa"}, "-nodetach", content), {content}, &rsa), "8009200D");
}

}  // namespace
