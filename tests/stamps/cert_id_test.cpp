// Certificate identifiers against hand-made encodings.
#include "stamps/cert_id.h"

#include "stamps/attribute.h"
#include "tests/stamps/support.h"

namespace stamps_tests {
namespace {

using namespace Ferroline::ASN1;

// The issuer CN=A as the only GeneralName, and the serial number 5.
constexpr std::string_view kIssuerSerial = "30{30{A4{30{31{30{06{550403} 0C{41}}}}}} 02{05}}";

CIssuerSerial IssuerSerialOfA() {
    CIssuerSerial value;
    value.issuer.emplace_back().SetDirectoryName(Der("30{31{30{06{550403} 0C{41}}}}"));
    value.serial = CBigInteger(Bytes("05"));
    return value;
}

template <class Value>
void ExpectBothWays(const Value& value, const std::string& der) {
    EXPECT_EQ(Encode(value).ToHex(), Der(der).ToHex());
    Value back;
    Decode(Der(der), back);
    EXPECT_EQ(back, value);
}

TEST(CertId, SigningCertificateV2) {
    CSigningCertificateV2 value;
    value.certs.emplace_back().hash = Bytes("AABB");
    EXPECT_EQ(value.certs[0].hashAlgorithm.GetOID(), "2.16.840.1.101.3.4.2.1");
    ExpectBothWays(value, "30{30{30{04{AABB}}}}");
    value.certs[0].hashAlgorithm.SetOID("2.16.840.1.101.3.4.2.3");
    value.certs[0].issuerSerial = IssuerSerialOfA();
    ExpectBothWays(
        value, "30{30{30{30{06{608648016503040203}} 04{AABB}" + std::string(kIssuerSerial) + "}}}");
}

TEST(CertId, OneFormToCompare) {
    CESSCertID first;
    first.hash = Bytes("AABB");
    first.issuerSerial = IssuerSerialOfA();
    const COtherCertID plain(first);
    EXPECT_EQ(plain.hash.GetOtherHash()->algorithm.GetOID(), "1.3.14.3.2.26");
    EXPECT_EQ(plain.hash.GetOtherHash()->value, Bytes("AABB"));
    EXPECT_EQ(plain.issuerSerial, first.issuerSerial);

    CESSCertIDv2 second;
    second.hash = first.hash;
    second.issuerSerial = first.issuerSerial;
    EXPECT_NE(COtherCertID(second), plain);
    second.hashAlgorithm.SetOID("1.3.14.3.2.26");
    EXPECT_EQ(COtherCertID(second), plain);
    // A leading zero does not change a serial number.
    second.issuerSerial->serial = CBigInteger(Bytes("0005"));
    EXPECT_EQ(COtherCertID(second), plain);
    second.issuerSerial->issuer[0].SetDNSName(L"A");
    EXPECT_NE(COtherCertID(second), plain);
}

TEST(CertId, Refuses) {
    CSigningCertificate value;
    EXPECT_EQ(Thrown([&] { Decode(Bytes(""), value); }), kAsn1Internal);
    EXPECT_EQ(Thrown([&] { Decode(Bytes("3008300630040402AA"), value); }), kAsn1Internal);
    COtherSigningCertificate other;
    other.certs.emplace_back();
    EXPECT_EQ(Thrown([&] { (void)Encode(other); }), kAsn1Internal);
    EXPECT_EQ(DecodeContentType(Der("06{2A864886F70D0109100104}")), "1.2.840.113549.1.9.16.1.4");
    EXPECT_EQ(Thrown([] { (void)DecodeContentType(Bytes("0500")); }), kAsn1Internal);
    EXPECT_EQ(Thrown([] { (void)DecodeCertificateValues(Bytes("30020500")); }), kAsn1Internal);
}

}  // namespace
}  // namespace stamps_tests
