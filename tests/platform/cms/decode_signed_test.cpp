// SignedData as the openssl command makes it, through the exported calls.
#include <gtest/gtest.h>

#include <algorithm>

#include "platform/base/handle.h"
#include "platform/der/der.h"
#include "tests/support/decode_support.h"
#include "tests/support/engine.h"

using namespace platform;
using namespace platform::testing;

namespace {

constexpr DWORD kBadSignature = Code(NTE_BAD_SIGNATURE);

struct SignedCase {
    const char* name;
    std::vector<std::string> signers;
    const char* options;
    std::size_t size;
    DWORD certificates;
    const char* type = szOID_RSA_data;
};

const SignedCase kSignedCases[] = {
    {"RSA, no content octets", {"rsa"}, "-nodetach", 0, 1},
    {"RSA, indefinite, no attributes", {"rsa"}, "-nodetach -noattr -stream", 5000, 1},
    {"RSA, no certificate, SHA-512", {"rsa"}, "-nodetach -nocerts -md sha512", 100, 0},
    {"RSA PSS, SHA-1", {"rsa"}, "-nodetach -md sha1 -keyopt rsa_padding_mode:pss", 100, 1},
    {"RSA, long", {"rsa"}, "-nodetach", 300000, 1},
    {"RSA, whole blocks", {"rsa"}, "-nodetach -stream", 65536, 1},
    {"another type", {"rsa"}, "-nodetach -econtent_type 1.2.3.4", 100, 1, "1.2.3.4"},
    {"EC, indefinite, key identifier", {"ec"}, "-nodetach -stream -keyid", 100, 1},
    {"EC, SHA-384, no attributes", {"ec"}, "-nodetach -noattr -md sha384", 100, 1},
    {"GOST 2012, 512 bit", {"gost2012-512"}, "-nodetach", 100, 1},
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

void CheckSigners(Decoding& message, const SignedCase& row) {
    ASSERT_EQ(message.Number(CMSG_SIGNER_COUNT_PARAM), row.signers.size());
    for (std::size_t i = 0; i < row.signers.size(); ++i) {
        const std::string& name = row.signers[i];
        const bool repeated = i > 0 && row.signers[i - 1] == name;
        const DWORD index = SignerNamedBy(message, CertificateOf(name), repeated ? 1 : 0);
        ASSERT_LT(index, row.signers.size()) << name;
        EXPECT_EQ(message.Verify(index, CertificateOf(name)), 0U) << name;
        EXPECT_EQ(message.Control(CMSG_CTRL_VERIFY_SIGNATURE, CertificateOf(name)->pCertInfo), 0U);
        EXPECT_NE(message.Verify(index, CertificateOf(name == "ec" ? "rsa" : "ec")), 0U);
    }
    const auto behind = static_cast<DWORD>(row.signers.size());
    EXPECT_EQ(message.Verify(behind, CertificateOf("rsa")), kBadIndex);
}

TEST(DecodeSigned, ReadsInAnyPiecesAndWhole) {
    SKIP_WITHOUT_ENGINE();
    CertificateOf("rsa"), CertificateOf("ec");
    for (const SignedCase& row : kSignedCases) {
        SCOPED_TRACE(row.name);
        const Bytes content = Pattern(row.size);
        const Bytes encoded = SignWith(row.signers, row.options, content);
        const std::size_t handles = LiveHandles();
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
        Decoding whole(encoded);
        EXPECT_EQ(whole.Value(CMSG_CONTENT_PARAM), content);
        CheckSigners(whole, row);
        // What is encoded again is judged by another reader.
        WriteFile("again.der", whole.Value(CMSG_ENCODED_MESSAGE));
        OpenSsl(
            "cms -verify -engine gost -binary -noverify -inform DER -in again.der "
            "-out again.out -certfile " +
            row.signers.back() + ".pem");
        EXPECT_EQ(ReadFile("again.out"), content);
    }
}

// One octet of the last attribute type in front of the key: issuer, then subject.
PCCERT_CONTEXT WithOctetOfSubject(const Identity& identity, std::size_t at, std::uint8_t octet) {
    const CERT_CONTEXT& whole = *identity.certificate;
    Bytes der(whole.pbCertEncoded, whole.pbCertEncoded + whole.cbCertEncoded);
    const CERT_NAME_BLOB& subject = whole.pCertInfo->Subject;
    const auto found =
        std::find_end(der.begin(), der.end(), subject.pbData, subject.pbData + subject.cbData);
    EXPECT_NE(found, der.end());
    found[static_cast<std::ptrdiff_t>(at)] = octet;
    return CertCreateCertificateContext(X509_ASN_ENCODING, der.data(),
                                        static_cast<DWORD>(der.size()));
}

// SEQUENCE { SET { SEQUENCE { OID, text } } }: the octet of each tag in turn.
TEST(DecodeSigned, ASignerHasAName) {
    const struct {
        const char* name;
        std::size_t at;
        std::uint8_t octet;
        DWORD expected;
    } rows[] = {
        {"as it was", 0, der::kSequence, 0},
        {"another kind of text", 11, 0x14, 0},
        {"octets for a set", 2, der::kOctetString, Code(CRYPT_E_ASN1_BADTAG)},
        {"octets for an attribute", 4, der::kOctetString, Code(CRYPT_E_ASN1_BADTAG)},
        {"octets for a type", 6, der::kOctetString, Code(CRYPT_E_ASN1_BADTAG)},
    };
    Decoding message(SignWith({"rsa"}, "-nodetach", Pattern(10)));
    for (const auto& row : rows) {
        const PCCERT_CONTEXT certificate = WithOctetOfSubject(IdentityOf("rsa"), row.at, row.octet);
        ASSERT_NE(certificate, nullptr) << row.name;
        EXPECT_EQ(message.Verify(0, certificate), row.expected) << row.name;
        CertFreeCertificateContext(certificate);
    }
}

TEST(DecodeSigned, TakesDetachedContentBehindTheMessage) {
    SKIP_WITHOUT_ENGINE();
    const Bytes content = Pattern(100000);
    for (const char* options : {"", "-noattr", "-keyid"}) {
        for (const char* signer : {"rsa", "gost2012-256"}) {
            SCOPED_TRACE(std::string(signer) + options);
            const Bytes encoded = SignWith({signer}, options, content);
            const auto verify = [&](Sink* sink, ByteView detached) {
                Decoding message(sink, CMSG_DETACHED_FLAG);
                // Held, the message comes in one piece.
                const std::size_t chunk = sink != nullptr ? 333 : encoded.size() + 1;
                EXPECT_EQ(message.Feed(encoded, chunk), 0U);
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
    EXPECT_EQ(attached.Update(SignWith({"rsa"}, "-nodetach", Pattern(9)), true), kBadMessage);
}

TEST(DecodeSigned, TellsWhatIsKnownSoFar) {
    const Bytes encoded = SignWith({"rsa"}, "-nodetach -stream", Pattern(5000));
    Sink sink;
    Decoding message(&sink);
    EXPECT_EQ(message.Get(CMSG_TYPE_PARAM), kNotReady);
    ASSERT_EQ(message.Update(ByteView(encoded).first(1000), false), 0U);
    EXPECT_EQ(message.Get(CMSG_TYPE_PARAM), 0U);
    EXPECT_EQ(message.Get(CMSG_SIGNER_COUNT_PARAM), kNotReady);
    EXPECT_EQ(message.Get(CMSG_ENVELOPE_ALGORITHM_PARAM), Code(CRYPT_E_INVALID_MSG_TYPE));
    EXPECT_EQ(message.Verify(0, CertificateOf("rsa")), kNotReady);
    ASSERT_EQ(message.Update(ByteView(encoded).subspan(1000), true), 0U);
    EXPECT_EQ(message.Get(CMSG_SIGNER_UNAUTH_ATTR_PARAM), Code(CRYPT_E_ATTRIBUTES_MISSING));
    EXPECT_EQ(message.Get(CMSG_CERT_PARAM, 1), kBadIndex);
    EXPECT_EQ(message.Update(encoded, true), Code(CRYPT_E_MSG_ERROR));
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
    EXPECT_EQ(later.Update(encoded, true), Code(CRYPT_E_ASN1_BADTAG));
    *(three + 2) = 1;
    for (const std::size_t chunk : {std::size_t{1}, encoded.size() + 1}) {
        Sink sink;
        Decoding stream(&sink);
        ASSERT_EQ(stream.Feed(encoded, chunk), 0U);
        EXPECT_EQ(Hex(sink.output), Hex(inner));
        EXPECT_EQ(stream.Verify(0, CertificateOf("rsa")), 0U);
    }
    Decoding message(encoded);
    EXPECT_EQ(Hex(message.Value(CMSG_CONTENT_PARAM)), Hex(whole));
    EXPECT_EQ(message.Value(CMSG_ENCODED_MESSAGE), encoded);
}

TEST(DecodeSigned, StopsWhenTheCallerRefusesABlock) {
    const Bytes encoded = SignWith({"rsa"}, "-nodetach -stream", Pattern(200000));
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
