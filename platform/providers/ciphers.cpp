// Content ciphers of OpenSSL, and the way to those of GOST.
#include <openssl/err.h>
#include <openssl/provider.h>
#include <openssl/rand.h>

#include <map>

#include "platform/providers/algorithms.h"
#include "platform/providers/gost_ciphers.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

// Old ciphers live in a module of their own. It is loaded beside the default one, which
// stays the first choice for all that it has.
void LoadLegacy() {
    static OSSL_PROVIDER* const legacy = OSSL_PROVIDER_try_load(nullptr, "legacy", 1);
    if (legacy == nullptr) ERR_clear_error();
}

// Only ciphers in CBC mode: a stream mode has no padding, so a message opened with a
// wrong key would pass for a good one.
const EVP_CIPHER* FetchCbc(const std::string& oid) {
    EVP_CIPHER* cipher = EVP_CIPHER_fetch(nullptr, oid.c_str(), nullptr);
    if (cipher == nullptr) {
        LoadLegacy();
        cipher = EVP_CIPHER_fetch(nullptr, oid.c_str(), nullptr);
    }
    if (cipher != nullptr && EVP_CIPHER_get_mode(cipher) != EVP_CIPH_CBC_MODE) {
        EVP_CIPHER_free(cipher);
        cipher = nullptr;
    }
    ERR_clear_error();
    return cipher;
}

using EvpCipherContext = std::unique_ptr<EVP_CIPHER_CTX, Freer<EVP_CIPHER_CTX_free>>;

class NativeCipher : public Cipher {
  public:
    explicit NativeCipher(EvpCipherContext context) : context_(std::move(context)) {}
    bool Update(ByteView in, std::uint8_t* out, std::size_t& written) override {
        int size = 0;
        const bool good = EVP_CipherUpdate(context_.get(), out, &size, in.data(),
                                           static_cast<int>(in.size())) == 1;
        return Result(good, size, written);
    }
    bool Finish(std::uint8_t* out, std::size_t& written) override {
        int size = 0;
        const bool good = EVP_CipherFinal_ex(context_.get(), out, &size) == 1;
        return Result(good, size, written);
    }

  private:
    static bool Result(bool good, int size, std::size_t& written) {
        if (!good) ERR_clear_error();
        written = good ? static_cast<std::size_t>(size) : 0;
        return good;
    }
    EvpCipherContext context_;
};

const EVP_CIPHER* Lookup(std::string_view oid) {
    // A short name would be fetched too; identifiers are digits and dots.
    const bool dotted =
        !oid.empty() && oid.find_first_not_of("0123456789.") == std::string_view::npos;
    return dotted && !IsGost(oid) ? FetchCbc(std::string(oid)) : nullptr;
}

const EVP_CIPHER* CipherByOid(std::string_view oid) {
    // Never destroyed: OpenSSL's own clean-up at exit may run first.
    static auto* const known = new std::map<std::string, const EVP_CIPHER*, std::less<>>;
    const auto found = known->find(oid);
    if (found != known->end()) return found->second;
    const EVP_CIPHER* cipher = Lookup(oid);
    if (cipher == nullptr) ThrowCrypto(NTE_BAD_ALGID);
    known->emplace(oid, cipher);
    return cipher;
}

EvpCipherContext ContextOf(std::string_view oid, int encrypt) {
    EvpCipherContext context(EVP_CIPHER_CTX_new());
    const EVP_CIPHER* cipher = CipherByOid(oid);
    if (!context ||
        EVP_CipherInit_ex(context.get(), cipher, nullptr, nullptr, nullptr, encrypt) != 1) {
        ThrowCrypto(NTE_FAIL);
    }
    return context;
}

// The context of a received message with its parameters in place and the key missing.
EvpCipherContext ReceivedContext(const Algorithm& algorithm) {
    EvpCipherContext context = ContextOf(algorithm.oid, 0);
    const auto parameters = DecodeWhole<Asn1Type>(&d2i_ASN1_TYPE, algorithm.parameters);
    if (!parameters || EVP_CIPHER_asn1_to_param(context.get(), parameters.get()) <= 0) {
        ThrowCrypto(CRYPT_E_ASN1_CORRUPT);
    }
    return context;
}

std::size_t KeyLengthOf(const EVP_CIPHER_CTX* context) {
    return static_cast<std::size_t>(EVP_CIPHER_CTX_get_key_length(context));
}

Bytes ParametersOf(EVP_CIPHER_CTX* context) {
    const Asn1Type parameters(ASN1_TYPE_new());
    if (!parameters || EVP_CIPHER_param_to_asn1(context, parameters.get()) <= 0) {
        ThrowCrypto(NTE_FAIL);
    }
    return EncodeWhole(&i2d_ASN1_TYPE, parameters.get());
}

}  // namespace

CipherContext StartEncryption(std::string_view oid, Algorithm& algorithm, Secret& key) {
    if (IsGostCipher(oid)) return StartGostEncryption(oid, algorithm, key);
    EvpCipherContext context = ContextOf(oid, 1);
    Bytes content(KeyLengthOf(context.get()));
    Bytes iv(static_cast<std::size_t>(EVP_CIPHER_CTX_get_iv_length(context.get())));
    const bool ready =
        EVP_CIPHER_CTX_rand_key(context.get(), content.data()) > 0 &&
        RAND_bytes(iv.data(), static_cast<int>(iv.size())) == 1 &&
        EVP_EncryptInit_ex(context.get(), nullptr, nullptr, content.data(), iv.data()) == 1;
    key = Secret(content);
    Wipe(content);
    if (!ready) ThrowCrypto(NTE_FAIL);
    algorithm = {std::string(oid), ParametersOf(context.get())};
    return std::make_unique<NativeCipher>(std::move(context));
}

CipherContext StartDecryption(const Algorithm& algorithm, ByteView key) {
    if (IsGostCipher(algorithm.oid)) return StartGostDecryption(algorithm, key);
    EvpCipherContext context = ReceivedContext(algorithm);
    if (key.size() != KeyLengthOf(context.get())) throw Error(NTE_BAD_LEN);
    if (EVP_DecryptInit_ex(context.get(), nullptr, nullptr, key.data(), nullptr) != 1) {
        ThrowCrypto(NTE_FAIL);
    }
    return std::make_unique<NativeCipher>(std::move(context));
}

std::size_t CipherKeyLength(std::string_view oid) {
    if (IsGostCipher(oid)) return kGostKeyLength;
    return static_cast<std::size_t>(EVP_CIPHER_get_key_length(CipherByOid(oid)));
}

std::size_t CipherKeyLength(const Algorithm& algorithm) {
    if (IsGostCipher(algorithm.oid)) return kGostKeyLength;
    return KeyLengthOf(ReceivedContext(algorithm).get());
}

}  // namespace platform
