// Making PKCS #12 files.
#include <openssl/err.h>

#include "kestrelctl/cli.h"
#include "kestrelctl/pkcs12_file.h"
#include "kestrelctl/pkcs12_parts.h"

namespace kestrelctl {
namespace {

struct Protection {
    int cipher;
    int rounds;
    const EVP_MD* (*macDigest)();
};
constexpr Protection kToday = {NID_aes_256_cbc, 100'000, EVP_sha256};
constexpr Protection kLegacy = {NID_pbe_WithSHA1And3_Key_TripleDES_CBC, 2048, EVP_sha1};

// In PKCS12_create, and not zero, which asks for its own default.
constexpr int kNoMac = -1;

struct CertificatesDeleter {
    void operator()(STACK_OF(X509) * list) const { sk_X509_pop_free(list, X509_free); }
};
using NativeCertificates = std::unique_ptr<STACK_OF(X509), CertificatesDeleter>;

NativeCertificate Native(platform::ByteView der) {
    return platform::DecodeWhole<NativeCertificate>(&d2i_X509, der);
}

NativeCertificates Native(const std::vector<platform::Bytes>& certificates) {
    NativeCertificates list(sk_X509_new_null());
    for (const platform::Bytes& der : certificates) {
        NativeCertificate certificate = Native(der);
        if (certificate && sk_X509_push(list.get(), certificate.get()) > 0) certificate.release();
    }
    return list;
}

}  // namespace

platform::Bytes MakePkcs12(const Pkcs12Source& source, const platform::Secret& password) {
    const Protection& protection = source.legacy ? kLegacy : kToday;
    const platform::Secret text = Terminated(password);
    const NativeCertificate certificate = Native(source.certificate);
    const NativeCertificates issuers = Native(source.issuers);
    const Pkcs12 made(PKCS12_create(text.Text().data(), source.name.c_str(), source.key,
                                    certificate.get(), issuers.get(), protection.cipher,
                                    protection.cipher, protection.rounds, kNoMac, 0));
    if (!made || PKCS12_set_mac(made.get(), text.Text().data(), -1, nullptr, 0, protection.rounds,
                                protection.macDigest()) != 1) {
        ERR_clear_error();
        throw Failure("the PKCS #12 file cannot be made");
    }
    return platform::EncodeWhole<PKCS12>(&i2d_PKCS12, made.get());
}

}  // namespace kestrelctl
