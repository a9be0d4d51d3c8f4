// What OpenSSL encodes is decoded and comes out again byte for byte, and what both encode
// from the same values is the same.
#include <openssl/cms.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <memory>
#include <vector>

#include "asn1data/CertificateExtensions.h"
#include "asn1data/CryptographicMessageSyntax.h"
#include "asn1data/PKIX1Explicit88.h"
#include "tests/asn1data/support.h"

namespace asn1data_tests {
namespace {

template <class T, auto Free>
using Owned = std::unique_ptr<T, decltype([](T* value) { Free(value); })>;
using Certificate = Owned<X509, X509_free>;
using Key = Owned<EVP_PKEY, EVP_PKEY_free>;

template <auto Encode, class T>
std::string EncodedBy(T* value) {
    unsigned char* bytes = nullptr;
    const int length = Encode(value, &bytes);
    EXPECT_GT(length, 0);
    std::string der(reinterpret_cast<char*>(bytes), static_cast<std::size_t>(length));
    OPENSSL_free(bytes);
    return der;
}

void AddName(X509_NAME* name, const char* type, int string, const std::string& value) {
    ASSERT_EQ(X509_NAME_add_entry_by_txt(name, type, string,
                                         reinterpret_cast<const unsigned char*>(value.data()),
                                         static_cast<int>(value.size()), -1, 0),
              1);
}

void FillName(X509_NAME* name) {
    AddName(name, "C", V_ASN1_PRINTABLESTRING, "RU");
    AddName(name, "O", V_ASN1_UTF8STRING, "\xD0\x96");
    AddName(name, "OU", V_ASN1_TELETEXSTRING, "\xE9");
    AddName(name, "CN", V_ASN1_BMPSTRING, std::string("\x04\x16", 2));
    AddName(name, "emailAddress", V_ASN1_IA5STRING, "a@example.org");
    // A second value in one set.
    X509_NAME_add_entry_by_txt(name, "L", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("One"), 3, -1, -1);
}

// What the values of extensions below refer to.
constexpr char kSections[] =
    "[name]\nC=RU\nCN=One\n[rdn]\nCN=One\n+OU=Two\n"
    "[policy]\npolicyIdentifier=1.2.3\nCPS.1=http://c/\nuserNotice.1=@notice\n"
    "[notice]\nexplicitText=UTF8:Text\norganization=Works\nnoticeNumbers=1,200\n"
    "[point]\nrelativename=rdn\nreasons=keyCompromise,CACompromise\nCRLissuer=dirName:name\n";

CONF* Sections() {
    static const Owned<CONF, NCONF_free> sections = [] {
        Owned<CONF, NCONF_free> made(NCONF_new(nullptr));
        const Owned<BIO, BIO_free_all> text(BIO_new_mem_buf(kSections, -1));
        EXPECT_EQ(NCONF_load_bio(made.get(), text.get(), nullptr), 1);
        return made;
    }();
    return sections.get();
}

void AddExtension(X509* certificate, const char* name, const char* value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
    X509V3_set_nconf(&context, Sections());
    const Owned<X509_EXTENSION, X509_EXTENSION_free> extension(
        X509V3_EXT_nconf(Sections(), &context, name, value));
    ASSERT_NE(extension, nullptr) << name;
    X509_add_ext(certificate, extension.get(), -1);
}

// By the type that an extension's value has.
const struct {
    const char* name;
    const char* value;
    Pass pass;
} kExtensions[] = {
    {"basicConstraints", "critical,CA:TRUE,pathlen:3", ASN1_TYPE_PASS(BasicConstraintsSyntax)},
    {"basicConstraints", "CA:FALSE", ASN1_TYPE_PASS(BasicConstraintsSyntax)},
    {"keyUsage", "critical,digitalSignature,keyCertSign,cRLSign", ASN1_TYPE_PASS(KeyUsage)},
    {"keyUsage", "decipherOnly", ASN1_TYPE_PASS(KeyUsage)},
    {"extendedKeyUsage", "timeStamping,1.2.3.4", ASN1_TYPE_PASS(ExtKeyUsageSyntax)},
    {"subjectKeyIdentifier", "hash", ASN1_TYPE_PASS(SubjectKeyIdentifier)},
    {"authorityKeyIdentifier", "keyid:always,issuer:always",
     ASN1_TYPE_PASS(AuthorityKeyIdentifier)},
    {"subjectAltName",
     "email:a@b.c,DNS:d.e,URI:http://f/"
     ",IP:1.2.3.4,IP:::1,dirName:name,RID:1.2.3,otherName:1.2.4;UTF8:x",
     ASN1_TYPE_PASS(GeneralNames)},
    {"crlDistributionPoints", "URI:http://a/,point", ASN1_TYPE_PASS(CRLDistPointsSyntax)},
    {"issuingDistributionPoint", "critical,onlyuser:TRUE,indirectCRL:TRUE",
     ASN1_TYPE_PASS(IssuingDistPointSyntax)},
    {"authorityInfoAccess", "OCSP;URI:http://o/,caIssuers;URI:http://i/",
     ASN1_TYPE_PASS(AuthorityInfoAccessSyntax)},
    {"certificatePolicies", "@policy,1.2.4", ASN1_TYPE_PASS(CertificatePoliciesSyntax)},
    {"policyMappings", "1.2.3:1.2.4,1.2.5:1.2.6", ASN1_TYPE_PASS(PolicyMappingsSyntax)},
    {"policyConstraints", "requireExplicitPolicy:3,inhibitPolicyMapping:0",
     ASN1_TYPE_PASS(PolicyConstraintsSyntax)},
    {"nameConstraints", "permitted;DNS:a.b,excluded;email:c.d",
     ASN1_TYPE_PASS(NameConstraintsSyntax)},
    {"inhibitAnyPolicy", "2", ASN1_TYPE_PASS(SkipCerts)},
};

Key NewKey() { return Key(EVP_EC_gen("P-256")); }

// Fixed but for its key, and not signed yet.
Certificate NewCertificate(EVP_PKEY* key) {
    Certificate certificate(X509_new());
    X509_set_version(certificate.get(), X509_VERSION_3);
    ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate.get()), 0xFEDCBA9876543210);
    FillName(X509_get_subject_name(certificate.get()));
    FillName(X509_get_issuer_name(certificate.get()));
    ASN1_TIME_set_string(X509_getm_notBefore(certificate.get()), "20260101000000Z");
    ASN1_TIME_set_string(X509_getm_notAfter(certificate.get()), "20600101000000Z");
    X509_set_pubkey(certificate.get(), key);
    return certificate;
}

Certificate NewSigner(EVP_PKEY* key) {
    Certificate certificate = NewCertificate(key);
    AddExtension(certificate.get(), "subjectKeyIdentifier", "hash");
    AddExtension(certificate.get(), "extendedKeyUsage", "critical,timeStamping");
    X509_sign(certificate.get(), key, EVP_sha256());
    return certificate;
}

// With all the extensions above and fifty more.
Certificate NewCrowd(EVP_PKEY* key) {
    Certificate certificate = NewCertificate(key);
    for (const auto& row : kExtensions) {
        AddExtension(certificate.get(), row.name, row.value);
    }
    for (int i = 0; i < 50; ++i) {
        const std::string oid = "1.2.3." + std::to_string(1000 + i);
        AddExtension(certificate.get(), oid.c_str(), "ASN1:UTF8String:private");
    }
    X509_sign(certificate.get(), key, EVP_sha256());
    return certificate;
}

class OpenSsl : public testing::Test {
  protected:
    Key key = NewKey();
    Certificate crowd = NewCrowd(key.get());
    Certificate certificate = NewSigner(key.get());
};

TEST_F(OpenSsl, CertificatesAndNames) {
    ExpectSame("certificate", ASN1_TYPE_PASS(Certificate), EncodedBy<i2d_X509>(crowd.get()));
    ExpectSame("name", ASN1_TYPE_PASS(Name),
               EncodedBy<i2d_X509_NAME>(X509_get_subject_name(certificate.get())));
}

TEST_F(OpenSsl, Extensions) {
    int at = 0;
    for (const auto& row : kExtensions) {
        const ASN1_OCTET_STRING* const value =
            X509_EXTENSION_get_data(X509_get_ext(crowd.get(), at++));
        ExpectSame(row.name, row.pass,
                   {reinterpret_cast<const char*>(ASN1_STRING_get0_data(value)),
                    static_cast<std::size_t>(ASN1_STRING_length(value))});
    }
}

// The SignedData inside a message, by our own ContentInfo.
std::string ContentOf(const std::string& message) {
    asn1rt::ASN1BERDecodeBuffer buffer(reinterpret_cast<const std::uint8_t*>(message.data()),
                                       message.size());
    asn1data::ContentInfo info;
    asn1data::ASN1C_ContentInfo control(buffer, info);
    EXPECT_EQ(control.Decode(), 0);
    return {reinterpret_cast<const char*>(info.content.data), info.content.numocts};
}

TEST_F(OpenSsl, SignedMessages) {
    const Owned<BIO, BIO_free_all> content(BIO_new_mem_buf("content", -1));
    for (const unsigned flags : {0U, CMS_DETACHED + 0U, CMS_USE_KEYID + 0U, CMS_NOATTR + 0U}) {
        BIO_reset(content.get());
        const Owned<CMS_ContentInfo, CMS_ContentInfo_free> message(
            CMS_sign(certificate.get(), key.get(), nullptr, content.get(), flags | CMS_BINARY));
        ASSERT_NE(message, nullptr);
        CMS_SignerInfo* const signer =
            sk_CMS_SignerInfo_value(CMS_get0_SignerInfos(message.get()), 0);
        CMS_unsigned_add1_attr_by_txt(signer, "1.2.3", V_ASN1_UTF8STRING, "one", 3);
        CMS_unsigned_add1_attr_by_txt(signer, "1.2.2", V_ASN1_UTF8STRING, "two", 3);
        const std::string der = EncodedBy<i2d_CMS_ContentInfo>(message.get());
        SCOPED_TRACE(flags);
        ExpectSame("message", ASN1_TYPE_PASS(ContentInfo), der);
        ExpectSame("signed data", ASN1_TYPE_PASS(SignedData), ContentOf(der));
    }
}

}  // namespace
}  // namespace asn1data_tests
