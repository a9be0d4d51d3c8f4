// Making PKCS #12 files.
#include <openssl/err.h>

#include "kestrelctl/cli.h"
#include "kestrelctl/pkcs12_file.h"
#include "kestrelctl/pkcs12_parts.h"
#include "platform/providers/algorithms.h"
#include "platform/providers/key_file.h"

namespace kestrelctl {
namespace {

struct Protection {
    int cipher;
    int rounds;
    const EVP_MD* (*macDigest)();
};
constexpr Protection kToday = {NID_aes_256_cbc, 100'000, EVP_sha256};
constexpr Protection kLegacy = {NID_pbe_WithSHA1And3_Key_TripleDES_CBC, 2048, EVP_sha1};

void Require(bool good) {
    if (good) return;
    ERR_clear_error();
    throw Failure("the PKCS #12 file cannot be made");
}

// The key and its certificate carry the name and the number that tie them together.
void Label(PKCS12_SAFEBAG* bag, const Pkcs12Source& source) {
    platform::Bytes id = platform::DigestOf(platform::oid::kSha1, source.certificate);
    Require(PKCS12_add_localkeyid(bag, id.data(), static_cast<int>(id.size())) == 1 &&
            PKCS12_add_friendlyname_utf8(bag, source.name.c_str(), -1) == 1);
}

Bags CertificateBags(const Pkcs12Source& source) {
    Bags bags(sk_PKCS12_SAFEBAG_new_null());
    const auto add = [&](platform::ByteView der) {
        const auto native = platform::DecodeWhole<NativeCertificate>(&d2i_X509, der);
        PKCS12_SAFEBAG* bag = native ? PKCS12_SAFEBAG_create_cert(native.get()) : nullptr;
        Require(bag != nullptr && sk_PKCS12_SAFEBAG_push(bags.get(), bag) > 0);
        return bag;
    };
    Label(add(source.certificate), source);
    for (const platform::Bytes& issuer : source.issuers) add(issuer);
    return bags;
}

Bags KeyBags(const Pkcs12Source& source, const Protection& protection, const char* password) {
    Bags bags(sk_PKCS12_SAFEBAG_new_null());
    const platform::PrivateKeyInfo info = platform::InfoFromKey(source.key);
    PKCS12_SAFEBAG* bag = PKCS12_SAFEBAG_create_pkcs8_encrypt(
        protection.cipher, password, -1, nullptr, 0, protection.rounds, info.get());
    Require(bag != nullptr && sk_PKCS12_SAFEBAG_push(bags.get(), bag) > 0);
    Label(bag, source);
    return bags;
}

}  // namespace

// PKCS12_create takes OpenSSL's own keys alone.
platform::Bytes MakePkcs12(const Pkcs12Source& source, const platform::Secret& password) {
    const Protection& protection = source.legacy ? kLegacy : kToday;
    const platform::Secret terminated = Terminated(password);
    const char* text = terminated.Text().data();
    const Bags certificates = CertificateBags(source);
    const Bags keys = KeyBags(source, protection, text);
    STACK_OF(PKCS7)* list = nullptr;
    const bool packed = PKCS12_add_safe(&list, certificates.get(), protection.cipher,
                                        protection.rounds, text) == 1 &&
                        PKCS12_add_safe(&list, keys.get(), -1, 0, nullptr) == 1;
    const Contents contents(list);
    Require(packed);
    const Pkcs12 made(PKCS12_add_safes(list, 0));
    Require(made && PKCS12_set_mac(made.get(), text, -1, nullptr, 0, protection.rounds,
                                   protection.macDigest()) == 1);
    return platform::EncodeWhole<PKCS12>(&i2d_PKCS12, made.get());
}

}  // namespace kestrelctl
