#include "kestrelctl/pkcs12_file.h"

#include <openssl/err.h>
#include <openssl/pkcs12.h>
#include <openssl/provider.h>

#include "kestrelctl/cli.h"
#include "platform/base/home.h"
#include "platform/certs/certificate.h"
#include "platform/providers/pkcs12.h"

namespace kestrelctl {
namespace {

struct Pkcs12Deleter {
    void operator()(PKCS12* file) const { PKCS12_free(file); }
};
using Pkcs12 = std::unique_ptr<PKCS12, Pkcs12Deleter>;

struct CertificatesDeleter {
    void operator()(STACK_OF(X509) * list) const { sk_X509_pop_free(list, X509_free); }
};
using Certificates = std::unique_ptr<STACK_OF(X509), CertificatesDeleter>;
struct ProviderDeleter {
    void operator()(OSSL_PROVIDER* provider) const { OSSL_PROVIDER_unload(provider); }
};
using LegacyProvider = std::unique_ptr<OSSL_PROVIDER, ProviderDeleter>;
using CertificatePointer = std::unique_ptr<X509, platform::X509Deleter>;

platform::Bytes DerOf(X509* certificate) {
    unsigned char* encoded = nullptr;
    const int size = i2d_X509(certificate, &encoded);
    if (size <= 0) throw Failure("a certificate cannot be encoded");
    platform::Bytes der(encoded, encoded + size);
    OPENSSL_free(encoded);
    return der;
}

// The text with a terminator, wiped with its holder.
platform::Secret Terminated(const platform::Secret& secret) {
    platform::Bytes bytes = platform::Copy(secret.View());
    bytes.push_back(0);
    platform::Secret result{platform::ByteView(bytes)};
    platform::Wipe(bytes);
    return result;
}

bool TryParse(PKCS12* file, const platform::Secret& password, Pkcs12Content& content) {
    EVP_PKEY* key = nullptr;
    X509* certificate = nullptr;
    STACK_OF(X509)* others = nullptr;
    ERR_clear_error();
    const bool good =
        PKCS12_parse(file, Terminated(password).Text().data(), &key, &certificate, &others) == 1;
    const platform::EvpKey ownedKey(key);
    const CertificatePointer owned(certificate);
    const Certificates list(others);
    content.others.clear();
    if (!good || key == nullptr) return false;
    EVP_PKEY_up_ref(key);
    content.key = platform::AnyKey(platform::EvpKey(key));
    content.certificate = certificate != nullptr ? DerOf(certificate) : platform::Bytes{};
    for (int i = 0; i < sk_X509_num(others); ++i) {
        content.others.push_back(DerOf(sk_X509_value(others, i)));
    }
    return true;
}

bool TryWithLegacyCiphers(PKCS12* file, const platform::Secret& password, Pkcs12Content& content) {
    const LegacyProvider legacy(OSSL_PROVIDER_try_load(nullptr, "legacy", 1));
    return legacy != nullptr && TryParse(file, password, content);
}

// OpenSSL knows no GOST keys, so such a file is walked here.
bool TryWithGost(PKCS12* file, const platform::Secret& password, Pkcs12Content& content) {
    platform::Pkcs12Bags bags;
    if (!platform::ReadPkcs12Bags(file, password, bags)) return false;
    content.key = bags.key;
    for (platform::Bytes& der : bags.certificates) {
        const auto parsed = platform::Certificate::Parse(der);
        const bool own =
            content.certificate.empty() &&
            platform::PublicKeyFromInfo(parsed->Info().SubjectPublicKeyInfo).Matches(bags.key);
        if (own) {
            content.certificate = std::move(der);
        } else {
            content.others.push_back(std::move(der));
        }
    }
    return true;
}

// Old files use ciphers of the legacy provider, which is loaded only when the other attempts
// fail.
bool ParseWithMoreAlgorithms(PKCS12* file, const platform::Secret& password,
                             Pkcs12Content& content) {
    return TryParse(file, password, content) || TryWithGost(file, password, content) ||
           TryWithLegacyCiphers(file, password, content);
}

}  // namespace

Pkcs12Content ReadPkcs12(const std::string& file, const platform::Secret& password) {
    platform::Bytes bytes = platform::ReadWholeFile(file);
    const unsigned char* at = bytes.data();
    const Pkcs12 parsed(d2i_PKCS12(nullptr, &at, static_cast<long>(bytes.size())));
    if (parsed == nullptr) throw Failure("'" + file + "' is not a PKCS #12 file");
    const bool macGood = platform::CheckPkcs12Mac(parsed.get(), password);
    Pkcs12Content content;
    if (!ParseWithMoreAlgorithms(parsed.get(), password, content)) {
        throw Failure(macGood ? "'" + file + "' holds no private key that can be used"
                              : "wrong password for '" + file + "'");
    }
    if (content.certificate.empty())
        throw Failure("'" + file + "' holds no certificate for its key");
    return content;
}

void WritePkcs12(const std::string& file, const platform::AnyKey& key,
                 platform::ByteView certificate, const std::string& name,
                 const platform::Secret& password) {
    const platform::Bytes bytes = platform::EncodePkcs12(key, certificate, name, password);
    platform::ReplaceFile(file, bytes, 0600);
}

}  // namespace kestrelctl
