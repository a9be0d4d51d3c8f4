// Putting a self-signed certificate together.
#include "kestrelctl/self_signed.h"

#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include "kestrelctl/cli.h"
#include "platform/certs/certificate.h"

namespace kestrelctl {
namespace {

void Require(bool good, const char* what) {
    if (!good) throw Failure(std::string("cannot make the certificate: ") + what);
}

platform::Bytes EncodeName(const std::string& subject) {
    DWORD size = 0;
    LPCSTR errorAt = nullptr;
    if (!CertStrToNameA(X509_ASN_ENCODING, subject.c_str(), CERT_X500_NAME_STR, nullptr, nullptr,
                        &size, &errorAt)) {
        throw Failure("'" + subject + "' is no name such as \"CN=Ann Example, O=Example\"" +
                      (errorAt != nullptr ? ": see at '" + std::string(errorAt) + "'" : ""));
    }
    platform::Bytes name(size);
    Require(CertStrToNameA(X509_ASN_ENCODING, subject.c_str(), CERT_X500_NAME_STR, nullptr,
                           name.data(), &size, nullptr) != 0,
            "the name");
    return name;
}

// A positive 16-byte serial number, as RFC 5280 4.1.2.2 allows.
void SetSerial(X509* certificate) {
    unsigned char random[16];
    Require(RAND_bytes(random, sizeof random) == 1, "the serial number");
    random[0] = static_cast<unsigned char>((random[0] & 0x7F) | 0x40);
    BIGNUM* number = BN_bin2bn(random, sizeof random, nullptr);
    const bool good = number != nullptr &&
                      BN_to_ASN1_INTEGER(number, X509_get_serialNumber(certificate)) != nullptr;
    BN_free(number);
    Require(good, "the serial number");
}

void SetNames(X509* certificate, const std::string& subject) {
    const platform::Bytes der = EncodeName(subject);
    const unsigned char* at = der.data();
    X509_NAME* name = d2i_X509_NAME(nullptr, &at, static_cast<long>(der.size()));
    const bool good = name != nullptr && X509_set_subject_name(certificate, name) == 1 &&
                      X509_set_issuer_name(certificate, name) == 1;
    X509_NAME_free(name);
    Require(good, "the name");
}

void AddExtension(X509* certificate, int nid, const char* value) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value);
    const bool good = extension != nullptr && X509_add_ext(certificate, extension, -1) == 1;
    X509_EXTENSION_free(extension);
    Require(good, "an extension");
}

}  // namespace

platform::Bytes SelfSigned(const platform::AnyKey& key, const std::string& subject,
                           unsigned long days) {
    const platform::NativeCertificate certificate(X509_new());
    Require(certificate != nullptr && X509_set_version(certificate.get(), X509_VERSION_3) == 1,
            "no memory");
    SetSerial(certificate.get());
    SetNames(certificate.get(), subject);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), 0);
    X509_time_adj_ex(X509_getm_notAfter(certificate.get()), static_cast<int>(days), 0, nullptr);
    platform::SetPublicKey(certificate.get(), key);
    AddExtension(certificate.get(), NID_basic_constraints, "critical,CA:FALSE");
    AddExtension(certificate.get(), NID_key_usage,
                 "critical,digitalSignature,nonRepudiation,keyEncipherment,dataEncipherment");
    AddExtension(certificate.get(), NID_subject_key_identifier, "hash");
    return platform::SignCertificate(certificate.get(), key);
}

}  // namespace kestrelctl
