// Changes of a signed message that is held whole, judged by the openssl command.
#include <gtest/gtest.h>

#include "decode_support.h"

using namespace platform;
using namespace platform::testing;

namespace {

constexpr DWORD kBadIndex = static_cast<DWORD>(CRYPT_E_INVALID_INDEX);

CRYPT_DATA_BLOB BlobOf(const Bytes& bytes) {
    return {static_cast<DWORD>(bytes.size()), const_cast<BYTE*>(bytes.data())};
}

CRYPT_DATA_BLOB BlobOf(PCCERT_CONTEXT certificate) {
    return {certificate->cbCertEncoded, certificate->pbCertEncoded};
}

// Answers what openssl prints about the message, verified with the certificates in `extra`.
std::string Verified(Decoding& message, const Bytes& content, const std::string& extra) {
    WriteTemp("edited.der", message.Value(CMSG_ENCODED_MESSAGE));
    WriteTemp("content", content);
    OpenSsl(
        "cms -verify -engine gost -binary -noverify -inform DER -in edited.der -out edited.out " +
        extra);
    EXPECT_EQ(ReadTemp("edited.out"), content);
    return OpenSsl("cms -cmsout -print -inform DER -in edited.der");
}

std::size_t Count(const std::string& text, std::string_view word) {
    std::size_t count = 0;
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
        ++count;
    }
    return count;
}

TEST(EditSigned, AddsSigners) {
    const Bytes content = Noise(1000);
    for (const char* added : kSigningIdentities) {
        for (const char* options : {"-nodetach", "-nodetach -stream -noattr", "-nodetach -keyid"}) {
            SCOPED_TRACE(std::string(added) + " " + options);
            const Identity& identity = IdentityOf(added);
            const CMSG_SIGNER_ENCODE_INFO info = identity.Signer();
            const CRYPT_DATA_BLOB certificate = BlobOf(identity.certificate);
            Decoding message(nullptr);
            ASSERT_EQ(message.Update(SignWith({"rsa"}, options, content), true), 0U);
            EXPECT_EQ(message.Control(CMSG_CTRL_ADD_SIGNER, &info), 0U);
            EXPECT_EQ(message.Control(CMSG_CTRL_ADD_CERT, &certificate), 0U);
            EXPECT_EQ(message.Number(CMSG_SIGNER_COUNT_PARAM), 2U);
            EXPECT_EQ(message.Number(CMSG_CERT_COUNT_PARAM), 2U);
            EXPECT_EQ(message.Verify(0, IdentityOf("rsa").certificate), 0U);
            EXPECT_EQ(message.Verify(1, identity.certificate), 0U);
            Verified(message, content, "");
        }
    }
}

TEST(EditSigned, RemovesSignersAndKeepsTheRest) {
    const Bytes content = Noise(100);
    const Bytes encoded = SignWith({"rsa", "ec"}, "-nodetach -md sha512", content);
    Decoding message(nullptr);
    ASSERT_EQ(message.Update(encoded, true), 0U);
    DWORD index = 2;
    EXPECT_EQ(message.Control(CMSG_CTRL_DEL_SIGNER, &index), kBadIndex);
    index = 0;
    EXPECT_EQ(message.Control(CMSG_CTRL_DEL_SIGNER, &index), 0U);
    EXPECT_EQ(message.Number(CMSG_SIGNER_COUNT_PARAM), 1U);
    EXPECT_EQ(message.Number(CMSG_CERT_COUNT_PARAM), 2U);
    const std::string printed = Verified(message, content, "");
    EXPECT_EQ(Count(printed, "d.issuerAndSerialNumber"), 1U) << printed;
}

TEST(EditSigned, AddsAndRemovesUnsignedAttributes) {
    const Bytes content = Noise(100);
    const Bytes attribute = FromHex("300A 0603 2A0304 3103 0201 07");
    const Bytes inBer = FromHex("3080 0603 2A0305 3180 2480 0401 41 0000 0000 0000");
    Decoding message(nullptr);
    ASSERT_EQ(message.Update(SignWith({"rsa"}, "-nodetach", content), true), 0U);
    CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA para{sizeof para, 0, BlobOf(attribute)};
    EXPECT_EQ(message.Control(CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR, &para), 0U);
    para.blob = BlobOf(inBer);
    EXPECT_EQ(message.Control(CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR, &para), 0U);
    const Bytes damaged = FromHex("3003 0201 07");
    para.blob = BlobOf(damaged);
    EXPECT_EQ(message.Control(CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR, &para),
              static_cast<DWORD>(CRYPT_E_ASN1_BADTAG));
    para.dwSignerIndex = 1;
    EXPECT_EQ(message.Control(CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR, &para), kBadIndex);

    const Bytes block = message.Value(CMSG_SIGNER_UNAUTH_ATTR_PARAM);
    const auto& attributes = *reinterpret_cast<const CRYPT_ATTRIBUTES*>(block.data());
    ASSERT_EQ(attributes.cAttr, 2U);
    EXPECT_STREQ(attributes.rgAttr[1].pszObjId, "1.2.3.5");
    const CRYPT_ATTR_BLOB& value = attributes.rgAttr[1].rgValue[0];
    EXPECT_EQ(Hex(ViewOf(value.pbData, value.cbData)), "040141");
    const std::string printed = Verified(message, content, "");
    EXPECT_EQ(Count(printed, "(1.2.3.4)") + Count(printed, "(1.2.3.5)"), 2U) << printed;

    const DWORD remove[] = {3 * sizeof(DWORD), 0, 0};  // size, signer, attribute
    EXPECT_EQ(message.Control(CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR, remove), 0U);
    EXPECT_EQ(message.Control(CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR, remove), 0U);
    EXPECT_EQ(message.Control(CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR, remove), kBadIndex);
    EXPECT_EQ(Count(Verified(message, content, ""), "(1.2.3.4)"), 0U);
}

TEST(EditSigned, KeepsADetachedMessageDetached) {
    const Bytes content = Noise(100);
    const Bytes encoded = SignWith({"rsa"}, "", content);
    const CMSG_SIGNER_ENCODE_INFO ec = IdentityOf("ec").Signer();
    const CMSG_SIGNER_ENCODE_INFO gost = IdentityOf("gost2012-256").Signer();
    Decoding alone(nullptr);
    ASSERT_EQ(alone.Update(encoded, true), 0U);
    EXPECT_EQ(alone.Control(CMSG_CTRL_ADD_SIGNER, &ec), static_cast<DWORD>(CRYPT_E_BAD_MSG));
    EXPECT_EQ(alone.Value(CMSG_ENCODED_MESSAGE), encoded);

    Decoding message(nullptr, CMSG_DETACHED_FLAG);
    ASSERT_EQ(message.Update(encoded, true), 0U);
    ASSERT_EQ(message.Update(content, true), 0U);
    EXPECT_EQ(message.Control(CMSG_CTRL_ADD_SIGNER, &ec), 0U);
    // Its digest did not run while the content passed.
    EXPECT_EQ(message.Control(CMSG_CTRL_ADD_SIGNER, &gost), static_cast<DWORD>(NTE_BAD_ALGID));
    Verified(message, content, "-content content -certfile ec.pem");
}

}  // namespace
