// SignedData as the openssl command makes it, through the exported calls.
#include <gtest/gtest.h>

#include <cstring>

#include "base/handle.h"
#include "decode_support.h"
#include "messages/der.h"

using namespace platform;
using namespace platform::testing;

namespace {

constexpr DWORD kBadSignature = static_cast<DWORD>(NTE_BAD_SIGNATURE);
constexpr DWORD kBadMessage = static_cast<DWORD>(CRYPT_E_BAD_MSG);
constexpr DWORD kNotReady = static_cast<DWORD>(CRYPT_E_STREAM_MSG_NOT_READY);
constexpr DWORD kBadIndex = static_cast<DWORD>(CRYPT_E_INVALID_INDEX);
constexpr const char* kStampInfo = "1.2.840.113549.1.9.16.1.4";

struct Row {
    const char* name;
    std::vector<std::string> signers;
    const char* options;
    std::size_t size;
    DWORD certificates;
    const char* type = szOID_RSA_data;
};

const Row kRows[] = {
    {"RSA", {"rsa"}, "-nodetach", 100, 1},
    {"RSA, indefinite", {"rsa"}, "-nodetach -stream", 100, 1},
    {"RSA, no content octets", {"rsa"}, "-nodetach", 0, 1},
    {"RSA, no attributes", {"rsa"}, "-nodetach -noattr", 100, 1},
    {"RSA, indefinite, no attributes", {"rsa"}, "-nodetach -noattr -stream", 5000, 1},
    {"RSA, key identifier", {"rsa"}, "-nodetach -keyid", 100, 1},
    {"RSA, no certificate", {"rsa"}, "-nodetach -nocerts", 100, 0},
    {"RSA, SHA-512", {"rsa"}, "-nodetach -md sha512", 100, 1},
    {"RSA, SHA-1", {"rsa"}, "-nodetach -md sha1", 100, 1},
    {"RSA PSS", {"rsa"}, "-nodetach -keyopt rsa_padding_mode:pss", 100, 1},
    {"RSA, long", {"rsa"}, "-nodetach", 300000, 1},
    {"RSA, long, indefinite", {"rsa"}, "-nodetach -stream", 300000, 1},
    {"RSA, whole blocks", {"rsa"}, "-nodetach -stream", 65536, 1},
    {"RSA, another type",
     {"rsa"},
     "-nodetach -econtent_type 1.2.840.113549.1.9.16.1.4",
     100,
     1,
     kStampInfo},
    {"EC", {"ec"}, "-nodetach", 100, 1},
    {"EC, indefinite, key identifier", {"ec"}, "-nodetach -stream -keyid", 100, 1},
    {"EC, SHA-384, no attributes", {"ec"}, "-nodetach -noattr -md sha384", 100, 1},
    {"GOST 2001", {"gost2001"}, "-nodetach", 100, 1},
    {"GOST 2001, indefinite, no attributes", {"gost2001"}, "-nodetach -noattr -stream", 100, 1},
    {"GOST 2012, 256 bit", {"gost2012-256"}, "-nodetach -stream", 5000, 1},
    {"GOST 2012, 512 bit", {"gost2012-512"}, "-nodetach", 100, 1},
    {"two signers", {"rsa", "ec"}, "-nodetach", 100, 2},
    {"three signers, two digests", {"rsa", "ec", "gost2012-256"}, "-nodetach -stream", 9000, 3},
    {"one signer twice", {"rsa", "rsa"}, "-nodetach -noattr -nocerts", 100, 0},
};

std::vector<std::size_t> ChunksFor(std::size_t size) {
    if (size > 20000) return {4096, 65536, size + 1};
    return {1, 7, size, size + 1};
}

PCCERT_CONTEXT CertificateOf(const std::string& name) { return IdentityOf(name).certificate; }

// The signers stand in DER's order of a set, not in the command's.
DWORD SignerNamedBy(Decoding& message, PCCERT_CONTEXT certificate, DWORD from) {
    for (DWORD i = from; i < message.Number(CMSG_SIGNER_COUNT_PARAM); ++i) {
        Bytes info = message.Value(CMSG_SIGNER_CERT_INFO_PARAM, i);
        if (CertCompareCertificate(X509_ASN_ENCODING, reinterpret_cast<PCERT_INFO>(info.data()),
                                   certificate->pCertInfo) != FALSE) {
            return i;
        }
    }
    return ~DWORD{0};
}

void CheckSigners(Decoding& message, const Row& row) {
    ASSERT_EQ(message.Number(CMSG_SIGNER_COUNT_PARAM), row.signers.size());
    DWORD twice = 0;
    for (std::size_t i = 0; i < row.signers.size(); ++i) {
        const std::string& name = row.signers[i];
        const bool repeated = i > 0 && row.signers[i - 1] == name;
        const DWORD index = SignerNamedBy(message, CertificateOf(name), repeated ? 1 : 0);
        ASSERT_LT(index, row.signers.size()) << name;
        EXPECT_EQ(message.Verify(index, CertificateOf(name)), 0U) << name;
        EXPECT_EQ(message.Control(CMSG_CTRL_VERIFY_SIGNATURE, CertificateOf(name)->pCertInfo), 0U);
        EXPECT_NE(message.Verify(index, CertificateOf(name == "ec" ? "rsa" : "ec")), 0U);
        ++twice;
    }
    EXPECT_EQ(message.Verify(twice, CertificateOf("rsa")), kBadIndex);
}

TEST(DecodeSigned, StreamsInAnyPieces) {
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.name);
        for (const std::string& name : row.signers) IdentityOf(name);
        CertificateOf("rsa"), CertificateOf("ec");
        const std::size_t handles = LiveHandles();
        const Bytes content = Noise(row.size);
        const Bytes encoded = SignWith(row.signers, row.options, content);
        for (const std::size_t chunk : ChunksFor(encoded.size())) {
            SCOPED_TRACE(chunk);
            Sink sink;
            Decoding message(&sink);
            ASSERT_EQ(message.Feed(encoded, chunk), 0U);
            EXPECT_EQ(sink.output, content);
            EXPECT_EQ(sink.finals, 1);
            EXPECT_FALSE(sink.callAfterFinal);
            EXPECT_EQ(message.Number(CMSG_TYPE_PARAM), DWORD{CMSG_SIGNED});
            EXPECT_EQ(message.Text(CMSG_INNER_CONTENT_TYPE_PARAM), row.type);
            EXPECT_EQ(message.Number(CMSG_CERT_COUNT_PARAM), row.certificates);
            CheckSigners(message, row);
        }
        EXPECT_EQ(LiveHandles(), handles);
    }
}

TEST(DecodeSigned, HoldsAWholeMessage) {
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.name);
        const Bytes content = Noise(row.size);
        Decoding message(nullptr);
        ASSERT_EQ(message.Update(SignWith(row.signers, row.options, content), true), 0U);
        EXPECT_EQ(message.Value(CMSG_CONTENT_PARAM), content);
        CheckSigners(message, row);
        // What is encoded again is judged by another reader.
        WriteTemp("again.der", message.Value(CMSG_ENCODED_MESSAGE));
        std::string printed;
        const std::string certificates = " -certfile " + row.signers.back() + ".pem";
        EXPECT_TRUE(
            OpenSsl("cms -verify -engine gost -binary -noverify -inform DER -in again.der "
                    "-out again.out" +
                        certificates,
                    &printed))
            << printed;
        EXPECT_EQ(ReadTemp("again.out"), content);
    }
}

TEST(DecodeSigned, TakesDetachedContentBehindTheMessage) {
    const Bytes content = Noise(100000);
    for (const char* options : {"", "-noattr", "-keyid"}) {
        for (const char* signer : {"rsa", "gost2012-256"}) {
            SCOPED_TRACE(std::string(signer) + options);
            const Bytes encoded = SignWith({signer}, options, content);
            const auto verify = [&](Sink* sink, ByteView detached) {
                Decoding message(sink, CMSG_DETACHED_FLAG);
                EXPECT_EQ(message.Feed(encoded, 333), 0U);
                EXPECT_EQ(message.Number(CMSG_SIGNER_COUNT_PARAM), 1U);
                EXPECT_EQ(message.Verify(0, CertificateOf(signer)), kBadMessage);
                EXPECT_EQ(message.Feed(detached, 65536), 0U);
                return message.Verify(0, CertificateOf(signer));
            };
            Sink sink;
            EXPECT_EQ(verify(&sink, content), 0U);
            EXPECT_EQ(sink.finals, 1);
            EXPECT_EQ(verify(nullptr, content), 0U);
            EXPECT_EQ(verify(nullptr, ByteView(content).first(99999)), kBadSignature);
            EXPECT_EQ(verify(nullptr, {}), kBadSignature);
        }
    }
}

TEST(DecodeSigned, NeverVerifiesContentThatIsNotThere) {
    // Even where the signature covers no octets.
    Sink sink;
    Decoding message(&sink);
    ASSERT_EQ(message.Feed(SignWith({"rsa"}, "-noattr", {}), 65536), 0U);
    EXPECT_EQ(sink.finals, 1);
    EXPECT_EQ(message.Verify(0, CertificateOf("rsa")), kBadMessage);

    Decoding attached(nullptr, CMSG_DETACHED_FLAG);
    EXPECT_EQ(attached.Update(SignWith({"rsa"}, "-nodetach", Noise(9)), true), kBadMessage);
}

TEST(DecodeSigned, TellsWhatIsKnownSoFar) {
    const Bytes encoded = SignWith({"rsa"}, "-nodetach -stream", Noise(5000));
    Sink sink;
    Decoding message(&sink);
    EXPECT_EQ(message.Get(CMSG_TYPE_PARAM), kNotReady);
    ASSERT_EQ(message.Update(ByteView(encoded).first(1000), false), 0U);
    EXPECT_EQ(message.Get(CMSG_TYPE_PARAM), 0U);
    EXPECT_EQ(message.Get(CMSG_INNER_CONTENT_TYPE_PARAM), 0U);
    for (const DWORD param : {CMSG_SIGNER_COUNT_PARAM, CMSG_CERT_COUNT_PARAM, CMSG_CERT_PARAM}) {
        EXPECT_EQ(message.Get(param), kNotReady) << param;
    }
    for (const DWORD param : {CMSG_ENVELOPE_ALGORITHM_PARAM, CMSG_CONTENT_PARAM}) {
        EXPECT_EQ(message.Get(param), static_cast<DWORD>(CRYPT_E_INVALID_MSG_TYPE)) << param;
    }
    EXPECT_EQ(message.Verify(0, CertificateOf("rsa")), kNotReady);
    ASSERT_EQ(message.Update(ByteView(encoded).subspan(1000), true), 0U);
    EXPECT_EQ(message.Get(CMSG_SIGNER_AUTH_ATTR_PARAM), 0U);
    EXPECT_EQ(message.Get(CMSG_SIGNER_UNAUTH_ATTR_PARAM),
              static_cast<DWORD>(CRYPT_E_ATTRIBUTES_MISSING));
    EXPECT_EQ(message.Get(CMSG_CERT_PARAM, 1), kBadIndex);
    EXPECT_EQ(message.Get(CMSG_CRL_PARAM, 0), kBadIndex);
    EXPECT_EQ(message.Control(CMSG_CTRL_DEL_SIGNER, &message),
              static_cast<DWORD>(CRYPT_E_CONTROL_TYPE));
    EXPECT_EQ(message.Update(encoded, true), static_cast<DWORD>(CRYPT_E_MSG_ERROR));
}

TEST(DecodeSigned, GivesRecordsAsDocumented) {
    const Bytes encoded = SignWith({"rsa"}, "-nodetach", Noise(10));
    const Identity& rsa = IdentityOf("rsa");
    Decoding message(nullptr);
    ASSERT_EQ(message.Update(encoded, true), 0U);
    EXPECT_EQ(message.Number(CMSG_VERSION_PARAM), 1U);
    EXPECT_EQ(message.Value(CMSG_CERT_PARAM),
              Bytes(rsa.certificate->pbCertEncoded,
                    rsa.certificate->pbCertEncoded + rsa.certificate->cbCertEncoded));

    const Bytes block = message.Value(CMSG_SIGNER_INFO_PARAM);
    const auto& signer = *reinterpret_cast<const CMSG_SIGNER_INFO*>(block.data());
    const CERT_INFO& info = *rsa.certificate->pCertInfo;
    EXPECT_EQ(signer.dwVersion, 1U);
    ASSERT_EQ(signer.SerialNumber.cbData, info.SerialNumber.cbData);
    EXPECT_EQ(
        std::memcmp(signer.SerialNumber.pbData, info.SerialNumber.pbData, info.SerialNumber.cbData),
        0);
    EXPECT_STREQ(signer.HashAlgorithm.pszObjId, "2.16.840.1.101.3.4.2.1");
    EXPECT_STREQ(signer.HashEncryptionAlgorithm.pszObjId, szOID_RSA_RSA);
    EXPECT_EQ(signer.EncryptedHash.cbData, 256U);
    // Content type, signing time, message digest and capabilities are openssl's four.
    ASSERT_EQ(signer.AuthAttrs.cAttr, 4U);
    EXPECT_STREQ(signer.AuthAttrs.rgAttr[0].pszObjId, szOID_RSA_contentType);
    EXPECT_EQ(Hex(ViewOf(signer.AuthAttrs.rgAttr[0].rgValue[0].pbData,
                         signer.AuthAttrs.rgAttr[0].rgValue[0].cbData)),
              Hex(der::Oid(szOID_RSA_data)));
    EXPECT_EQ(signer.UnauthAttrs.cAttr, 0U);
    // The encoded signer is what the message holds at its end.
    const Bytes encodedSigner = message.Value(CMSG_ENCODED_SIGNER);
    EXPECT_TRUE(std::equal(encodedSigner.rbegin(), encodedSigner.rend(), encoded.rbegin()));
}

TEST(DecodeSigned, NamesAKeyIdentifierSigner) {
    const Identity& rsa = IdentityOf("rsa");
    Decoding message(nullptr);
    ASSERT_EQ(message.Update(SignWith({"rsa"}, "-nodetach -keyid", Noise(10)), true), 0U);
    EXPECT_EQ(message.Number(CMSG_VERSION_PARAM), 3U);
    const Bytes block = message.Value(CMSG_SIGNER_CERT_INFO_PARAM);
    const auto& info = *reinterpret_cast<const CERT_INFO*>(block.data());
    // Name of one attribute 1.3.6.1.4.1.311.10.7.1 over an octet string of 20.
    const std::string issuer = Hex(ViewOf(info.Issuer.pbData, info.Issuer.cbData));
    EXPECT_EQ(issuer.substr(0, 40), "302631243022060a2b0601040182370a07010414") << issuer;
    EXPECT_EQ(Hex(ViewOf(info.SerialNumber.pbData, info.SerialNumber.cbData)), "00");
    const PCERT_EXTENSION extension =
        CertFindExtension(szOID_SUBJECT_KEY_IDENTIFIER, rsa.certificate->pCertInfo->cExtension,
                          rsa.certificate->pCertInfo->rgExtension);
    ASSERT_NE(extension, nullptr);
    EXPECT_EQ(issuer.substr(40),
              Hex(ViewOf(extension->Value.pbData + 2, extension->Value.cbData - 2)));
}

// PKCS #7 v1.5 content of another type is any element, and its digest covers the contents
// octets alone: the octet string that openssl signed becomes a SEQUENCE of the same octets,
// the version the one of that time.
TEST(DecodeSigned, ReadsContentThatIsNoOctetString) {
    const Bytes inner = FromHex("0201 05 0C02 6869");
    const Bytes whole = FromHex("3007 0201 05 0C02 6869");
    Bytes encoded = SignWith({"rsa"}, "-nodetach -econtent_type 1.2.3.4", inner);
    const auto at = std::search(encoded.begin(), encoded.end(), inner.begin(), inner.end());
    ASSERT_NE(at, encoded.end());
    *(at - 2) = 0x30;
    const Bytes version = FromHex("0201 03");
    const auto three = std::search(encoded.begin(), at, version.begin(), version.end());
    Decoding later(nullptr);
    EXPECT_EQ(later.Update(encoded, true), static_cast<DWORD>(CRYPT_E_ASN1_BADTAG));
    *(three + 2) = 1;
    for (const std::size_t chunk : {std::size_t{1}, encoded.size() + 1}) {
        Sink sink;
        Decoding stream(&sink);
        ASSERT_EQ(stream.Feed(encoded, chunk), 0U);
        EXPECT_EQ(Hex(sink.output), Hex(inner));
        EXPECT_EQ(stream.Verify(0, CertificateOf("rsa")), 0U);
    }
    Decoding message(nullptr);
    ASSERT_EQ(message.Update(encoded, true), 0U);
    EXPECT_EQ(Hex(message.Value(CMSG_CONTENT_PARAM)), Hex(whole));
    EXPECT_EQ(message.Value(CMSG_ENCODED_MESSAGE), encoded);
}

TEST(DecodeSigned, StopsWhenTheCallerRefusesABlock) {
    const Bytes encoded = SignWith({"rsa"}, "-nodetach -stream", Noise(200000));
    for (const int failAt : {0, 1, 5}) {
        Sink sink;
        sink.failAt = failAt;
        Decoding message(&sink);
        EXPECT_EQ(message.Feed(encoded, 65536), DWORD{ERROR_WRITE_FAULT});
        EXPECT_EQ(message.Update(encoded, true), DWORD{ERROR_WRITE_FAULT}) << "not sticky";
        EXPECT_EQ(message.Get(CMSG_SIGNER_COUNT_PARAM), DWORD{ERROR_WRITE_FAULT});
        EXPECT_EQ(sink.calls, failAt + 1);
        EXPECT_EQ(sink.finals, 0);
    }
}

}  // namespace
