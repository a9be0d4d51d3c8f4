// PEM of PKCS #8, in clear and under a password.
#include "platform/providers/key_file.h"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>

#include "platform/providers/gost_key.h"
#include "platform/providers/openssl.h"
#include "platform/providers/pkcs12.h"

namespace platform {
namespace {

// Some 50 ms a try.
constexpr int kIterations = 100000;
constexpr int kSaltLength = 16;

using PemText = std::unique_ptr<char, Freer<FreeMemory>>;

Bio OpenMemory(ByteView view) {
    Bio bio(BIO_new_mem_buf(view.data(), static_cast<int>(view.size())));
    if (!bio) ThrowCrypto(NTE_NO_MEMORY);
    return bio;
}

// A wrong password shows in octets that are no key.
PrivateKeyInfo DecryptGost(const X509_ALGOR* algorithm, ByteView encrypted,
                           const Secret& password) {
    const Secret plain = DecryptGostPbes2(algorithm, encrypted, password);
    auto info = DecodeWhole<PrivateKeyInfo>(&d2i_PKCS8_PRIV_KEY_INFO, plain.View());
    if (!info) ThrowCrypto(static_cast<LONG>(SCARD_W_WRONG_CHV));
    return info;
}

PrivateKeyInfo Decrypt(ByteView der, const Secret& password) {
    const auto sealed = DecodeWhole<EncryptedKeyInfo>(&d2i_X509_SIG, der);
    if (!sealed) return nullptr;
    const X509_ALGOR* algorithm = nullptr;
    const ASN1_OCTET_STRING* encrypted = nullptr;
    X509_SIG_get0(sealed.get(), &algorithm, &encrypted);
    if (UsesGost(algorithm)) return DecryptGost(algorithm, ViewOf(encrypted), password);
    const std::string_view text = password.Text();
    PrivateKeyInfo info(PKCS8_decrypt(sealed.get(), text.data(), static_cast<int>(text.size())));
    if (!info) ThrowCrypto(static_cast<LONG>(SCARD_W_WRONG_CHV));
    return info;
}

Secret Contents(BIO* bio) {
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio, &data);
    return Secret(ViewOf(data, static_cast<std::size_t>(size)));
}

bool WriteEncrypted(BIO* bio, PKCS8_PRIV_KEY_INFO* info, std::string_view password) {
    const EncryptedKeyInfo sealed(PKCS8_encrypt(-1, EVP_aes_256_cbc(), password.data(),
                                                static_cast<int>(password.size()), nullptr,
                                                kSaltLength, kIterations, info));
    return sealed && PEM_write_bio_PKCS8(bio, sealed.get()) == 1;
}

}  // namespace

std::optional<KeyFile> ParseKeyFile(ByteView pem) {
    if (pem.empty()) return std::nullopt;
    const Bio bio = OpenMemory(pem);
    char* name = nullptr;
    char* header = nullptr;
    unsigned char* data = nullptr;
    long size = 0;
    if (PEM_read_bio(bio.get(), &name, &header, &data, &size) != 1) {
        ERR_clear_error();
        return std::nullopt;
    }
    const PemText nameHolder(name);
    const PemText headerHolder(header);
    const std::string_view label = name;
    KeyFile file{label == PEM_STRING_PKCS8, Secret(ViewOf(data, static_cast<std::size_t>(size)))};
    OPENSSL_clear_free(data, static_cast<std::size_t>(size));
    if (!file.encrypted && label != PEM_STRING_PKCS8INF) return std::nullopt;
    return file;
}

AnyKey KeyFromInfo(const PKCS8_PRIV_KEY_INFO* info) {
    if (SharedGostKey gost = ReadGostPrivateKey(info)) return AnyKey(std::move(gost));
    EvpKey key(EVP_PKCS82PKEY(info));
    ERR_clear_error();
    return key ? AnyKey(std::move(key)) : AnyKey();
}

PrivateKeyInfo InfoFromKey(const AnyKey& key) {
    if (key.Gost() != nullptr) return EncodeGostPrivateKey(*key.Gost());
    PrivateKeyInfo info(EVP_PKEY2PKCS8(key.Native()));
    if (!info) ThrowCrypto(NTE_FAIL);
    return info;
}

AnyKey OpenKeyFile(const KeyFile& file, const Secret& password) {
    const ByteView der = file.der.View();
    try {
        const PrivateKeyInfo info =
            file.encrypted ? Decrypt(der, password)
                           : DecodeWhole<PrivateKeyInfo>(&d2i_PKCS8_PRIV_KEY_INFO, der);
        return info ? KeyFromInfo(info.get()) : AnyKey();
    } catch (const Error& error) {
        // Encrypted in a way that nobody here writes.
        if (error.Code() != static_cast<DWORD>(NTE_BAD_ALGID)) throw;
        return AnyKey();
    }
}

Secret EncodeKeyFile(const AnyKey& key, const Secret& password) {
    const PrivateKeyInfo info = InfoFromKey(key);
    // A memory BIO wipes what it held.
    const Bio bio(BIO_new(BIO_s_mem()));
    const bool written =
        bio && (password.Empty() ? PEM_write_bio_PKCS8_PRIV_KEY_INFO(bio.get(), info.get()) == 1
                                 : WriteEncrypted(bio.get(), info.get(), password.Text()));
    if (!written) ThrowCrypto(NTE_FAIL);
    return Contents(bio.get());
}

}  // namespace platform
