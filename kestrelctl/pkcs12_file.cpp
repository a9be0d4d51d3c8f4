#include "kestrelctl/pkcs12_file.h"

#include <openssl/err.h>
#include <openssl/pkcs12.h>
#include <openssl/provider.h>

#include "kestrelctl/cli.h"
#include "platform/base/home.h"
#include "platform/certs/certificate.h"

namespace kestrelctl {
namespace {

constexpr const char* kGostKey = "1.2.643.7.1.1.1.1";

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
    content.key.reset(key);
    const CertificatePointer owned(certificate);
    const Certificates list(others);
    content.others.clear();
    if (!good || key == nullptr) return false;
    content.certificate = certificate != nullptr ? DerOf(certificate) : platform::Bytes{};
    for (int i = 0; i < sk_X509_num(others); ++i) {
        content.others.push_back(DerOf(sk_X509_value(others, i)));
    }
    return true;
}

bool TryWithGost(PKCS12* file, const platform::Secret& password, Pkcs12Content& content) {
    try {
        platform::EnsureAlgorithm(kGostKey);
    } catch (const platform::Error&) {
        return false;
    }
    return TryParse(file, password, content);
}

bool TryWithLegacyCiphers(PKCS12* file, const platform::Secret& password, Pkcs12Content& content) {
    const LegacyProvider legacy(OSSL_PROVIDER_try_load(nullptr, "legacy", 1));
    return legacy != nullptr && TryParse(file, password, content);
}

// GOST files use algorithms of the engine, old files ciphers of the legacy provider: each
// is loaded only when a plain attempt fails.
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
    const std::string_view text = password.Text();
    const bool macGood =
        PKCS12_mac_present(parsed.get()) == 0 ||
        PKCS12_verify_mac(parsed.get(), text.data(), static_cast<int>(text.size())) == 1 ||
        (text.empty() && PKCS12_verify_mac(parsed.get(), nullptr, 0) == 1);
    Pkcs12Content content;
    if (!ParseWithMoreAlgorithms(parsed.get(), password, content)) {
        throw Failure(macGood ? "'" + file + "' holds no private key that can be used"
                              : "wrong password for '" + file + "'");
    }
    if (content.certificate.empty())
        throw Failure("'" + file + "' holds no certificate for its key");
    return content;
}

void WritePkcs12(const std::string& file, EVP_PKEY* key, platform::ByteView certificate,
                 const std::string& name, const platform::Secret& password) {
    const unsigned char* at = certificate.data();
    const CertificatePointer parsed(d2i_X509(nullptr, &at, static_cast<long>(certificate.size())));
    const Pkcs12 made(PKCS12_create(Terminated(password).Text().data(), name.c_str(), key,
                                    parsed.get(), nullptr, NID_aes_256_cbc, NID_aes_256_cbc, 0, 0,
                                    0));
    unsigned char* encoded = nullptr;
    const int size = made != nullptr ? i2d_PKCS12(made.get(), &encoded) : 0;
    if (size <= 0) throw Failure("the PKCS #12 file cannot be made");
    const platform::Bytes bytes(encoded, encoded + size);
    OPENSSL_free(encoded);
    platform::ReplaceFile(file, bytes, 0600);
}

}  // namespace kestrelctl
