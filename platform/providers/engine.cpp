// The interface is on its way out of OpenSSL and still the only one under which the
// engine of the distribution serves whole messages.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "platform/providers/engine.h"

#include <openssl/engine.h>
#include <openssl/err.h>

#include "platform/providers/algorithms.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

constexpr unsigned kServed = ENGINE_METHOD_CIPHERS | ENGINE_METHOD_DIGESTS |
                             ENGINE_METHOD_PKEY_METHS | ENGINE_METHOD_PKEY_ASN1_METHS;

// Kept to the process's end: keys and contexts refer to it.
ENGINE* Load() {
    ENGINE* engine = ENGINE_by_id("gost");
    if (engine == nullptr) return nullptr;
    if (ENGINE_init(engine) != 1) {
        ENGINE_free(engine);
        return nullptr;
    }
    ENGINE_set_default(engine, kServed);
    return engine;
}

ENGINE* Gost() {
    static ENGINE* engine = nullptr;
    if (engine == nullptr) engine = Load();
    if (engine == nullptr) {
        ERR_clear_error();
        throw Error(NTE_PROV_DLL_NOT_FOUND, "libengine-gost-openssl");
    }
    return engine;
}

}  // namespace

void LoadGost() { Gost(); }

void EnsureAlgorithm(std::string_view oid) {
    if (IsGost(oid)) LoadGost();
}

const EVP_MD* GostDigest(std::string_view oid) {
    const EVP_MD* digest = ENGINE_get_digest(Gost(), NidOf(oid));
    if (digest == nullptr) ERR_clear_error();
    return digest;
}

const EVP_CIPHER* GostCipher(std::string_view oid) {
    const EVP_CIPHER* cipher = ENGINE_get_cipher(Gost(), NidOf(oid));
    if (cipher == nullptr) ERR_clear_error();
    return cipher;
}

bool SelectGostWrap(EVP_PKEY_CTX* context, std::string_view cipherOid) {
    return EVP_PKEY_CTX_ctrl(context, -1, -1, EVP_PKEY_CTRL_CIPHER, NidOf(cipherOid), nullptr) > 0;
}

bool SetGostKeySection(EVP_CIPHER_CTX* context, int bytes) {
    return EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_KEY_MESH, bytes, nullptr) > 0;
}

EVP_PKEY_CTX* NewGostKeyContext(std::string_view keyOid) {
    LoadGost();
    EvpKeyContext context(EVP_PKEY_CTX_new_id(NidOf(keyOid), nullptr));
    const bool ready = context && EVP_PKEY_keygen_init(context.get()) > 0 &&
                       EVP_PKEY_CTX_ctrl_str(context.get(), "paramset", "A") > 0;
    return ready ? context.release() : nullptr;
}

}  // namespace platform
