// Content keys wrapped for a recipient, and unwrapped.
#include <openssl/err.h>
#include <openssl/rand.h>

#include "platform/providers/algorithms.h"
#include "platform/providers/gost_agreement.h"
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

Bytes WrapNatively(EVP_PKEY* recipient, ByteView contentKey) {
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

}  // namespace

Algorithm KeyTransportAlgorithmFor(const AnyKey& recipient, std::string_view cipherOid) {
    if (recipient.Gost() != nullptr) return GostTransportFor(*recipient.Gost(), cipherOid);
    const std::string keyOid = recipient.Oid();
    if (keyOid != oid::kRsa) throw Error(NTE_BAD_ALGID);
    return {keyOid, {0x05, 0x00}};
}

Bytes WrapKey(const AnyKey& recipient, std::string_view cipherOid, ByteView contentKey) {
    const bool usable = recipient.Gost() != nullptr || recipient.Oid() == oid::kRsa;
    if (!usable) throw Error(NTE_BAD_ALGID);
    if (contentKey.size() != CipherKeyLength(cipherOid)) throw Error(NTE_BAD_LEN);
    return recipient.Gost() != nullptr ? WrapGostKey(*recipient.Gost(), cipherOid, contentKey)
                                       : WrapNatively(recipient.Native(), contentKey);
}

Secret UnwrapKey(const AnyKey& key, const Algorithm& keyEncryption, ByteView encryptedKey,
                 std::size_t keyLength) {
    if (key.Gost() != nullptr) {
        Secret secret = UnwrapGostKey(*key.Gost(), keyEncryption, encryptedKey);
        if (secret.View().size() != keyLength) throw Error(NTE_BAD_DATA);
        return secret;
    }
    const std::string keyOid = key.Oid();
    if (keyOid == oid::kRsa && keyEncryption.oid == oid::kRsa) {
        return UnwrapPkcs1(key.Native(), encryptedKey, keyLength);
    }
    if (keyOid == oid::kRsa && keyEncryption.oid == oid::kRsaOaep) {
        return UnwrapOaep(key.Native(), keyEncryption, encryptedKey, keyLength);
    }
    throw Error(NTE_BAD_ALGID);
}

Secret UnwrapAgreedKey(const AnyKey& key, const KeyAgreement& agreement, ByteView encryptedKey,
                       std::size_t keyLength) {
    if (key.Gost() == nullptr) throw Error(NTE_BAD_ALGID, agreement.keyEncryption.oid);
    Secret secret = OpenGostAgreement(*key.Gost(), agreement, encryptedKey);
    if (secret.View().size() != keyLength) throw Error(NTE_BAD_DATA);
    return secret;
}

}  // namespace platform
