// Changes of a signed message that is held whole, judged by the openssl command.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "platform/der/der.h"
#include "tests/support/decode_support.h"
#include "tests/support/engine.h"

using namespace platform;
using namespace platform::testing;

namespace {

CRYPT_DATA_BLOB BlobOf(const Bytes& bytes) {
    return {static_cast<DWORD>(bytes.size()), const_cast<BYTE*>(bytes.data())};
}

CRYPT_DATA_BLOB BlobOf(PCCERT_CONTEXT certificate) {
    return {certificate->cbCertEncoded, certificate->pbCertEncoded};
}

// Answers what openssl prints about the message, verified with the certificates in `extra`.
std::string Verified(Decoding& message, const Bytes& content, const std::string& extra) {
    WriteFile("edited.der", message.Value(CMSG_ENCODED_MESSAGE));
    WriteFile("content", content);
    OpenSsl(
        "cms -verify -engine gost -binary -noverify -inform DER -in edited.der -out edited.out " +
        extra);
    EXPECT_EQ(ReadFile("edited.out"), content);
    return OpenSsl("cms -cmsout -print -inform DER -in edited.der");
}

TEST(EditSigned, AddsSigners) {
    SKIP_WITHOUT_ENGINE();
    const Bytes content = Pattern(1000);
    for (const char* added : kSigningIdentities) {
        for (const char* options : {"-nodetach", "-nodetach -stream -noattr", "-nodetach -keyid"}) {
            SCOPED_TRACE(std::string(added) + " " + options);
            const Identity& identity = IdentityOf(added);
            const CMSG_SIGNER_ENCODE_INFO info = identity.Signer();
            const CRYPT_DATA_BLOB certificate = BlobOf(identity.certificate);
            Decoding message(SignWith({"rsa"}, options, content));
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
    const Bytes content = Pattern(100);
    const Bytes encoded = SignWith({"rsa", "ec"}, "-nodetach -md sha512", content);
    Decoding message(encoded);
    DWORD index = 2;
    EXPECT_EQ(message.Control(CMSG_CTRL_DEL_SIGNER, &index), kBadIndex);
    index = 0;
    EXPECT_EQ(message.Control(CMSG_CTRL_DEL_SIGNER, &index), 0U);
    EXPECT_EQ(message.Number(CMSG_SIGNER_COUNT_PARAM), 1U);
    EXPECT_EQ(message.Number(CMSG_CERT_COUNT_PARAM), 2U);
    const std::string printed = Verified(message, content, "");
    EXPECT_EQ(CountOf("d.issuerAndSerialNumber", printed), 1U) << printed;
}

TEST(EditSigned, AddsAndRemovesUnsignedAttributes) {
    const Bytes content = Pattern(100);
    const Bytes attribute = FromHex("300A 0603 2A0304 3103 0201 07");
    const Bytes inBer = FromHex("3080 0603 2A0305 3180 2480 0401 41 0000 0000 0000");
    Decoding message(SignWith({"rsa"}, "-nodetach", content));
    CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA para{sizeof para, 0, BlobOf(attribute)};
    EXPECT_EQ(message.Control(CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR, &para), 0U);
    para.blob = BlobOf(inBer);
    EXPECT_EQ(message.Control(CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR, &para), 0U);
    const Bytes damaged = FromHex("3003 0201 07");
    para.blob = BlobOf(damaged);
    EXPECT_EQ(message.Control(CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR, &para), Code(CRYPT_E_ASN1_BADTAG));
    para.dwSignerIndex = 1;
    EXPECT_EQ(message.Control(CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR, &para), kBadIndex);

    const Bytes block = message.Value(CMSG_SIGNER_UNAUTH_ATTR_PARAM);
    const auto& attributes = *reinterpret_cast<const CRYPT_ATTRIBUTES*>(block.data());
    ASSERT_EQ(attributes.cAttr, 2U);
    EXPECT_STREQ(attributes.rgAttr[1].pszObjId, "1.2.3.5");
    const CRYPT_ATTR_BLOB& value = attributes.rgAttr[1].rgValue[0];
    EXPECT_EQ(Hex(ViewOf(value.pbData, value.cbData)), "040141");
    const std::string printed = Verified(message, content, "");
    EXPECT_EQ(CountOf("(1.2.3.4)", printed) + CountOf("(1.2.3.5)", printed), 2U) << printed;

    const CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR_PARA remove{sizeof remove, 0, 0};
    EXPECT_EQ(message.Control(CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR, &remove), 0U);
    EXPECT_EQ(message.Control(CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR, &remove), 0U);
    EXPECT_EQ(message.Control(CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR, &remove), kBadIndex);
    EXPECT_EQ(CountOf("(1.2.3.4)", Verified(message, content, "")), 0U);
}

TEST(EditSigned, KeepsADetachedMessageDetached) {
    SKIP_WITHOUT_ENGINE();
    const Bytes content = Pattern(100);
    const Bytes encoded = SignWith({"rsa"}, "", content);
    const CMSG_SIGNER_ENCODE_INFO ec = IdentityOf("ec").Signer();
    const CMSG_SIGNER_ENCODE_INFO gost = IdentityOf("gost2012-256").Signer();
    Decoding alone(encoded);
    EXPECT_EQ(alone.Control(CMSG_CTRL_ADD_SIGNER, &ec), Code(CRYPT_E_BAD_MSG));
    EXPECT_EQ(alone.Value(CMSG_ENCODED_MESSAGE), encoded);

    Decoding message(encoded, CMSG_DETACHED_FLAG);
    ASSERT_EQ(message.Update(content, true), 0U);
    EXPECT_EQ(message.Control(CMSG_CTRL_ADD_SIGNER, &ec), 0U);
    // Its digest did not run while the content passed.
    EXPECT_EQ(message.Control(CMSG_CTRL_ADD_SIGNER, &gost), Code(NTE_BAD_ALGID));
    Verified(message, content, "-content content -certfile ec.pem");
}

// ---- what a change leaves alone ------------------------------------------------

using Elements = std::vector<Bytes>;

Bytes Joined(std::uint8_t tag, const Elements& elements) {
    Bytes contents;
    for (const Bytes& element : elements) der::Append(contents, element);
    return der::Element(tag, contents);
}

Elements ElementsIn(ByteView contents) {
    Elements elements;
    der::Cursor cursor(contents);
    while (!cursor.AtEnd()) elements.push_back(Copy(cursor.Next().whole));
    return elements;
}

// A SignedData taken apart and put together in any order.
struct EditedParts {
    Bytes version;
    Elements digests;
    Bytes content;
    Elements certificates;
    Elements crls;
    Elements signers;

    explicit EditedParts(ByteView message) {
        der::Cursor info(der::Cursor(message).Expect(der::kSequence).contents);
        info.Expect(der::kOid);
        der::Cursor body(info.Expect(der::ContextConstructed(0)).contents);
        der::Cursor data(body.Expect(der::kSequence).contents);
        version = Copy(data.Expect(der::kInteger).whole);
        digests = ElementsIn(data.Expect(der::kSet).contents);
        content = Copy(data.Expect(der::kSequence).whole);
        certificates = ElementsIn(data.Expect(der::ContextConstructed(0)).contents);
        if (data.NextIs(der::ContextConstructed(1))) crls = ElementsIn(data.Next().contents);
        signers = ElementsIn(data.Expect(der::kSet).contents);
    }
    [[nodiscard]] Bytes Message() const {
        const Bytes revocation = crls.empty() ? Bytes() : Joined(der::ContextConstructed(1), crls);
        const Bytes data =
            der::Element(der::kSequence, {version, Joined(der::kSet, digests), content,
                                          Joined(der::ContextConstructed(0), certificates),
                                          revocation, Joined(der::kSet, signers)});
        return der::Element(der::kSequence, {der::Oid(szOID_RSA_signedData),
                                             der::Element(der::ContextConstructed(0), data)});
    }
};

// The first signer with its fields changed.
void ChangeSigner(EditedParts& parts, const std::function<void(Elements&)>& change) {
    Elements fields = ElementsIn(der::Cursor(parts.signers[0]).Next().contents);
    change(fields);
    parts.signers[0] = Joined(der::kSequence, fields);
}

// Signed attributes in an order that is not DER's, with a signature over them as they stand.
void SignUnsorted(Elements& fields) {
    Elements attributes = ElementsIn(der::Cursor(fields[3]).Next().contents);
    std::reverse(attributes.begin(), attributes.end());
    fields[3] = Joined(der::ContextConstructed(0), attributes);
    WriteFile("attributes", Joined(der::kSet, attributes));
    OpenSsl("dgst -sha256 -sign rsa.key -out signature attributes");
    fields[5] = der::Element(der::kOctetString, ReadFile("signature"));
}

// An element of two octets of length, with three.
Bytes Lengthened(Bytes element) {
    EXPECT_EQ(element[1], 0x82);
    element[1] = 0x83;
    element.insert(element.begin() + 2, 0);
    return element;
}

void AddUnsorted(Elements& fields) {
    // The second of them has a length that is not the shortest.
    fields.push_back(
        FromHex("A119 300A 0603 2A0309 3103 0201 07 300B 0603 2A0302 3104 0281 01 07"));
}

const struct {
    const char* name;
    std::function<void(EditedParts&)> change;
} kReceived[] = {
    {"as made", [](EditedParts&) {}},
    {"digests unsorted", [](EditedParts& p) { std::reverse(p.digests.begin(), p.digests.end()); }},
    {"certificates unsorted",
     [](EditedParts& p) { std::reverse(p.certificates.begin(), p.certificates.end()); }},
    {"one certificate twice", [](EditedParts& p) { p.certificates.push_back(p.certificates[0]); }},
    {"other choices of certificates and CRLs",
     [](EditedParts& p) {
         p.version = der::Integer(5);
         p.certificates.insert(p.certificates.begin(), FromHex("A303 0201 09"));
         p.certificates.insert(p.certificates.begin() + 2, FromHex("A203 0201 08"));
         p.crls = {FromHex("A103 0201 07"), FromHex("3003 0201 06"), FromHex("3003 0201 05")};
     }},
    {"a version that nothing asks for", [](EditedParts& p) { p.version = der::Integer(4); }},
    {"a signer version that nothing asks for",
     [](EditedParts& p) { ChangeSigner(p, [](Elements& f) { f[0] = der::Integer(3); }); }},
    {"signed attributes unsorted", [](EditedParts& p) { ChangeSigner(p, SignUnsorted); }},
    {"unsigned attributes unsorted", [](EditedParts& p) { ChangeSigner(p, AddUnsorted); }},
    {"no unsigned attributes in their set",
     [](EditedParts& p) { ChangeSigner(p, [](Elements& f) { f.push_back(FromHex("A100")); }); }},
    {"a length that is not the shortest",
     [](EditedParts& p) { p.signers[0] = Lengthened(p.signers[0]); }},
    {"signers the other way round",
     [](EditedParts& p) { std::reverse(p.signers.begin(), p.signers.end()); }},
    // Content of PKCS #7 v1.5 that is no OCTET STRING, which the version tells.
    {"content of another kind",
     [](EditedParts& p) { p.content = FromHex("300E 0603 2A0304 A007 3005 0C03 414243"); }},
};

// Two signers with a digest each, the one with the RSA key first, and a certificate more.
class Kept : public ::testing::Test {
  protected:
    Bytes content = Pattern(100);
    EditedParts made{
        (IdentityOf("ec"), SignWith(HasEngine() ? std::vector<std::string>{"rsa", "gost2001"}
                                                : std::vector<std::string>{"rsa"},
                                    "-nodetach -certfile ec.pem", content))};

    void SetUp() override {
        SKIP_WITHOUT_ENGINE();
        std::reverse(made.signers.begin(), made.signers.end());
    }
};

TEST_F(Kept, EveryPartThatASignerMoreDoesNotTouch) {
    SKIP_WITHOUT_ENGINE();
    const Identity& added = IdentityOf("gost2012-256");
    const CMSG_SIGNER_ENCODE_INFO info = added.Signer();
    const CRYPT_DATA_BLOB certificate = BlobOf(added.certificate);
    for (const auto& row : kReceived) {
        SCOPED_TRACE(row.name);
        EditedParts received = made;
        row.change(received);
        Decoding message(received.Message());
        const DWORD first = message.Verify(0, IdentityOf("rsa").certificate);
        EXPECT_EQ(message.Value(CMSG_ENCODED_MESSAGE), received.Message());

        EXPECT_EQ(message.Control(CMSG_CTRL_ADD_SIGNER, &info), 0U);
        EXPECT_EQ(message.Control(CMSG_CTRL_ADD_CERT, &certificate), 0U);
        const Bytes encoded = message.Value(CMSG_ENCODED_MESSAGE);
        const EditedParts now(encoded);
        EXPECT_EQ(now.version, received.version);
        EXPECT_EQ(now.content, received.content);
        EXPECT_EQ(now.crls, received.crls);
        Elements wanted = received.certificates;
        wanted.push_back(Copy(ViewOf(certificate.pbData, certificate.cbData)));
        EXPECT_EQ(now.certificates, wanted);
        ASSERT_EQ(now.signers.size(), 3U);
        EXPECT_EQ(Elements(now.signers.begin(), now.signers.begin() + 2), received.signers);
        Elements digests = now.digests;
        std::erase(digests, FromHex("300C 0608 2A85030701010202 0500"));
        EXPECT_EQ(digests, received.digests);

        Decoding again(encoded);
        EXPECT_EQ(again.Verify(0, IdentityOf("rsa").certificate), first);
        EXPECT_EQ(again.Verify(2, added.certificate), 0U);
        DWORD index = 2;
        EXPECT_EQ(again.Control(CMSG_CTRL_DEL_SIGNER, &index), 0U);
        index = again.Number(CMSG_CERT_COUNT_PARAM) - 1;
        EXPECT_EQ(again.Control(CMSG_CTRL_DEL_CERT, &index), 0U);
        EXPECT_EQ(again.Value(CMSG_ENCODED_MESSAGE), received.Message());
    }
}

TEST_F(Kept, EveryPartThatAnAttributeMoreDoesNotTouch) {
    SKIP_WITHOUT_ENGINE();
    const Bytes attribute = FromHex("300A 0603 2A0305 3103 0201 07");
    for (const auto& row : kReceived) {
        SCOPED_TRACE(row.name);
        EditedParts received = made;
        row.change(received);
        Decoding message(received.Message());
        const CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA para{sizeof para, 0, BlobOf(attribute)};
        EXPECT_EQ(message.Control(CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR, &para), 0U);

        EditedParts wanted = received;
        ChangeSigner(wanted, [&](Elements& fields) {
            Elements attributes;
            if (fields.size() == 7) {
                attributes = ElementsIn(der::Cursor(fields[6]).Next().contents);
                fields.pop_back();
            }
            // In front of the first that is greater.
            attributes.insert(attributes.begin(), attribute);
            fields.push_back(Joined(der::ContextConstructed(1), attributes));
        });
        EXPECT_EQ(message.Value(CMSG_ENCODED_MESSAGE), wanted.Message());
    }
}

// Fields of a signer: version, name, digest, signed attributes, algorithm and value.
TEST_F(Kept, SignersAreTakenByTheLetter) {
    const auto badAlgorithm = Code(NTE_BAD_ALGID);
    const auto badSignature = Code(NTE_BAD_SIGNATURE);
    const struct {
        const char* name;
        std::size_t field;
        const char* octets;
        DWORD expected;
    } rows[] = {
        {"digest, no parameters", 2, "300B 0609608648016503040201", 0},
        {"digest, NULL", 2, "300D 0609608648016503040201 0500", 0},
        {"digest, a number", 2, "300E 0609608648016503040201 020100", badAlgorithm},
        {"signature, no parameters", 4, "300B 06092A864886F70D010101", 0},
        {"signature, a sequence", 4, "300D 06092A864886F70D010101 3000", badAlgorithm},
        {"signature, unknown", 4, "3005 06032A0304", badAlgorithm},
        {"a signing time that nobody signed", 6,
         "A11E 301C 06092A864886F70D010905 310F 170D3236303130313030303030305A", badSignature},
        {"something else that nobody signed", 6, "A10C 300A 06032A0304 3103 020107", 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EditedParts changed = made;
        ChangeSigner(changed, [&](Elements& fields) {
            fields.resize(std::max(fields.size(), row.field + 1));
            fields[row.field] = FromHex(row.octets);
        });
        Decoding message(changed.Message());
        EXPECT_EQ(message.Verify(0, IdentityOf("rsa").certificate), row.expected);
    }
}

TEST_F(Kept, UnsortedSignedAttributesStillVerifyForOpenSsl) {
    SKIP_WITHOUT_ENGINE();
    ChangeSigner(made, SignUnsorted);
    const CMSG_SIGNER_ENCODE_INFO info = IdentityOf("gost2012-512").Signer();
    Decoding message(made.Message());
    EXPECT_EQ(message.Verify(0, IdentityOf("rsa").certificate), 0U);
    EXPECT_EQ(message.Control(CMSG_CTRL_ADD_SIGNER, &info), 0U);
    Verified(message, content, "-certfile gost2012-512.pem");
}

TEST(EditSigned, LowersTheVersionWithTheSignerThatAskedForIt) {
    Decoding message(SignWith({"rsa"}, "-nodetach -keyid", Pattern(10)));
    EXPECT_EQ(message.Number(CMSG_VERSION_PARAM), 3U);
    DWORD index = 0;
    EXPECT_EQ(message.Control(CMSG_CTRL_DEL_SIGNER, &index), 0U);
    EXPECT_EQ(message.Number(CMSG_VERSION_PARAM), 1U);
}

TEST(EditSigned, NamesSignersByCertificateId) {
    for (const auto& [options, choice] : {std::pair{"-nodetach", CERT_ID_ISSUER_SERIAL_NUMBER},
                                          std::pair{"-nodetach -keyid", CERT_ID_KEY_IDENTIFIER}}) {
        SCOPED_TRACE(options);
        Decoding message(SignWith({"rsa"}, options, Pattern(10)));
        const Bytes block = message.Value(CMSG_SIGNER_CERT_ID_PARAM);
        const auto& id = *reinterpret_cast<const CERT_ID*>(block.data());
        EXPECT_EQ(id.dwIdChoice, static_cast<DWORD>(choice));
        HCERTSTORE store = CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr);
        const PCCERT_CONTEXT rsa = IdentityOf("rsa").certificate;
        CertAddCertificateContextToStore(store, rsa, CERT_STORE_ADD_ALWAYS, nullptr);
        const PCCERT_CONTEXT found = CertFindCertificateInStore(store, X509_ASN_ENCODING, 0,
                                                                CERT_FIND_CERT_ID, &id, nullptr);
        EXPECT_NE(found, nullptr);
        CertFreeCertificateContext(found);
        CertCloseStore(store, 0);
        EXPECT_EQ(message.Get(CMSG_SIGNER_CERT_ID_PARAM, 1), kBadIndex);
    }
}

TEST(EditSigned, DuplicateLivesOnItsOwn) {
    const Bytes encoded = SignWith({"rsa"}, "-nodetach", Pattern(10));
    HCRYPTMSG message = CryptMsgOpenToDecode(PKCS_7_ASN_ENCODING, 0, 0, 0, nullptr, nullptr);
    HCRYPTMSG second = CryptMsgDuplicate(message);
    ASSERT_NE(second, nullptr);
    EXPECT_TRUE(CryptMsgClose(message));
    EXPECT_TRUE(CryptMsgUpdate(second, encoded.data(), static_cast<DWORD>(encoded.size()), TRUE));
    EXPECT_TRUE(CryptMsgClose(second));
    EXPECT_EQ(CryptMsgDuplicate(second), nullptr);
    EXPECT_EQ(GetLastError(), Code(ERROR_INVALID_HANDLE));
    EXPECT_EQ(CryptMsgDuplicate(nullptr), nullptr);
}

}  // namespace
