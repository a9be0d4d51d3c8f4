// The GOST algorithms as OpenSSL's engine has them. No other unit touches the engine
// interface, so that a provider module of the same algorithms can take its place here.
#pragma once

#include <openssl/evp.h>

#include <string_view>

namespace platform {

// All load the engine on first use, throw NTE_PROV_DLL_NOT_FOUND with the missing package
// as detail, and leave it the default for its algorithms. The results are null for an
// identifier that the engine does not serve, and live as long as the process.
void LoadGost();
const EVP_MD* GostDigest(std::string_view oid);
const EVP_CIPHER* GostCipher(std::string_view oid);

// Sets the key wrap of a context that is ready for EVP_PKEY_encrypt or EVP_PKEY_decrypt to
// that of a block cipher of GOST R 34.12. False when the engine refuses.
bool SelectGostWrap(EVP_PKEY_CTX* context, std::string_view cipherOid);

// The count of bytes after which a CTR-ACPKM context changes its key.
bool SetGostKeySection(EVP_CIPHER_CTX* context, int bytes);

// A context that makes keys of a GOST algorithm, with the parameter set that certificates
// commonly use; null when the engine refuses. The caller frees it.
EVP_PKEY_CTX* NewGostKeyContext(std::string_view keyOid);

}  // namespace platform
