#include <openssl/err.h>
#include <openssl/rand.h>

#include "platform/providers/algorithms.h"
#include "platform/providers/engine.h"
#include "platform/providers/gost_transport.h"
#include "platform/providers/openssl.h"
#include "platform/providers/rsa_parameters.h"

namespace platform {
namespace {

Bytes RandomBytes(std::size_t size) {
    Bytes bytes(size);
    if (RAND_bytes(bytes.data(), static_cast<int>(size)) != 1) ThrowCrypto(NTE_FAIL);
    return bytes;
}

// Takes `bytes` over and wipes what is not part of the secret.
Secret SecretOf(Bytes& bytes, std::size_t size) {
    Secret secret(ByteView(bytes).first(size));
    Wipe(bytes);
    return secret;
}

EvpKeyContext EncryptContext(EVP_PKEY* key) {
    EvpKeyContext context(EVP_PKEY_CTX_new(key, nullptr));
    if (!context || EVP_PKEY_encrypt_init(context.get()) <= 0) ThrowCrypto(NTE_FAIL);
    return context;
}

EvpKeyContext DecryptContext(EVP_PKEY* key) {
    EvpKeyContext context(EVP_PKEY_CTX_new(key, nullptr));
    if (!context || EVP_PKEY_decrypt_init(context.get()) <= 0) ThrowCrypto(NTE_FAIL);
    return context;
}

// Empty when it cannot be decrypted.
Bytes Decrypt(EVP_PKEY_CTX* context, ByteView input) {
    std::size_t size = 0;
    if (EVP_PKEY_decrypt(context, nullptr, &size, input.data(), input.size()) <= 0) size = 0;
    Bytes output(size);
    if (size != 0 &&
        EVP_PKEY_decrypt(context, output.data(), &size, input.data(), input.size()) <= 0) {
        size = 0;
    }
    ERR_clear_error();
    output.resize(size);
    return output;
}

constexpr std::uint32_t IsZero(std::uint32_t byte) { return ((byte - 1) >> 8) & 1; }

// Takes the key out of a PKCS #1 block, 00 02 PS 00 KEY with PS free of zeros (RFC 8017,
// 7.2.2), or keeps the random one that `key` came with. Which of the two is not told by a
// branch or an address.
void SelectKey(ByteView block, Bytes& key) {
    const std::size_t start = block.size() - key.size();
    std::uint32_t bad = block[0] | (block[1] ^ 2U) | block[start - 1];
    for (std::size_t i = 2; i < start - 1; ++i) bad |= IsZero(block[i]);
    const std::uint32_t good = 0U - ((bad - 1) >> 31);
    for (std::size_t i = 0; i < key.size(); ++i) {
        key[i] = static_cast<std::uint8_t>((block[start + i] & good) | (key[i] & ~good));
    }
}

Secret UnwrapPkcs1(EVP_PKEY* key, ByteView encryptedKey, std::size_t keyLength) {
    Bytes contentKey = RandomBytes(keyLength);
    const EvpKeyContext context = DecryptContext(key);
    if (EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_NO_PADDING) <= 0) ThrowCrypto(NTE_FAIL);
    Bytes block = Decrypt(context.get(), encryptedKey);
    if (block.size() >= keyLength + 11) SelectKey(block, contentKey);
    Wipe(block);
    return SecretOf(contentKey, keyLength);
}

Secret UnwrapOaep(EVP_PKEY* key, const Algorithm& algorithm, ByteView encryptedKey,
                  std::size_t keyLength) {
    Bytes random = RandomBytes(keyLength);
    const EvpKeyContext context = DecryptContext(key);
    ApplyOaep(context.get(), algorithm.parameters);
    Bytes contentKey = Decrypt(context.get(), encryptedKey);
    if (contentKey.size() == keyLength) return SecretOf(contentKey, keyLength);
    Wipe(contentKey);
    return SecretOf(random, keyLength);
}

// The key wraps of GOST R 34.12 (RFC 9189) name the block cipher; all else is a
// GostR3410-KeyTransport under the key's own identifier.
struct GostWrap {
    const char* oid;
    const char* cipherOid;
    std::size_t macLength;
};
constexpr GostWrap kGostWraps[] = {
    {oid::kMagmaWrap, oid::kMagmaCtrAcpkm, 8},
    {oid::kKuznyechikWrap, oid::kKuznyechikCtrAcpkm, 16},
};

const GostWrap* FindGostWrap(std::string_view oid) {
    for (const GostWrap& wrap : kGostWraps) {
        if (wrap.oid == oid) return &wrap;
    }
    return nullptr;
}

Secret UnwrapGost(EVP_PKEY* key, const GostWrap* wrap, ByteView encryptedKey,
                  std::size_t keyLength) {
    const bool shaped = wrap != nullptr ? IsGostExportedKey(encryptedKey, wrap->macLength)
                                        : IsGostKeyTransport(encryptedKey);
    if (!shaped) throw Error(NTE_BAD_DATA);
    const EvpKeyContext context = DecryptContext(key);
    if (wrap != nullptr && !SelectGostWrap(context.get(), wrap->cipherOid)) {
        ThrowCrypto(NTE_BAD_ALGID);
    }
    Bytes contentKey = Decrypt(context.get(), encryptedKey);
    const bool fits = contentKey.size() == keyLength;
    Secret secret = SecretOf(contentKey, fits ? keyLength : 0);
    if (!fits) throw Error(NTE_BAD_DATA);
    return secret;
}

}  // namespace

Algorithm KeyTransportAlgorithmFor(EVP_PKEY* recipient, const CERT_PUBLIC_KEY_INFO& info) {
    const std::string keyOid = KeyOidOf(recipient);
    if (keyOid == oid::kRsa) return {keyOid, {0x05, 0x00}};
    if (!IsGost(keyOid)) throw Error(NTE_BAD_ALGID);
    const CRYPT_OBJID_BLOB& parameters = info.Algorithm.Parameters;
    return {keyOid, Copy(ViewOf(parameters.pbData, parameters.cbData))};
}

Bytes WrapKey(EVP_PKEY* recipient, std::string_view cipherOid, ByteView contentKey) {
    const std::string keyOid = KeyOidOf(recipient);
    if (keyOid != oid::kRsa && !IsGost(keyOid)) throw Error(NTE_BAD_ALGID);
    if (contentKey.size() != CipherKeyLength(cipherOid)) throw Error(NTE_BAD_LEN);
    const EvpKeyContext context = EncryptContext(recipient);
    std::size_t size = 0;
    if (EVP_PKEY_encrypt(context.get(), nullptr, &size, contentKey.data(), contentKey.size()) <=
        0) {
        ThrowCrypto(NTE_FAIL);
    }
    Bytes wrapped(size);
    if (EVP_PKEY_encrypt(context.get(), wrapped.data(), &size, contentKey.data(),
                         contentKey.size()) <= 0) {
        ThrowCrypto(NTE_FAIL);
    }
    wrapped.resize(size);
    return wrapped;
}

Secret UnwrapKey(EVP_PKEY* key, const Algorithm& keyEncryption, ByteView encryptedKey,
                 std::size_t keyLength) {
    const std::string keyOid = KeyOidOf(key);
    if (keyOid == oid::kRsa && keyEncryption.oid == oid::kRsa) {
        return UnwrapPkcs1(key, encryptedKey, keyLength);
    }
    if (keyOid == oid::kRsa && keyEncryption.oid == oid::kRsaOaep) {
        return UnwrapOaep(key, keyEncryption, encryptedKey, keyLength);
    }
    const GostWrap* wrap = FindGostWrap(keyEncryption.oid);
    if (IsGost(keyOid) && (wrap != nullptr || keyEncryption.oid == keyOid)) {
        return UnwrapGost(key, wrap, encryptedKey, keyLength);
    }
    throw Error(NTE_BAD_ALGID);
}

}  // namespace platform
