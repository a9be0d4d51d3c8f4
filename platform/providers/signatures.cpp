#include <openssl/err.h>

#include <algorithm>

#include "platform/providers/algorithms.h"
#include "platform/providers/openssl.h"
#include "platform/providers/rsa_parameters.h"

namespace platform {
namespace {

std::size_t DigestSize(std::string_view oid) {
    return static_cast<std::size_t>(EVP_MD_get_size(DigestByOid(oid)));
}

const SignatureRow* FindSignature(std::string_view algorithm, std::string_view keyOid) {
    const auto rows = SignatureTable();
    const auto row = std::find_if(rows.begin(), rows.end(), [&](const SignatureRow& candidate) {
        return candidate.oid == algorithm && candidate.keyOid == keyOid;
    });
    return row == rows.end() ? nullptr : &*row;
}

EvpKeyContext VerifyContext(EVP_PKEY* key, Scheme scheme, std::string_view digestOid) {
    EvpKeyContext context(EVP_PKEY_CTX_new(key, nullptr));
    if (!context || EVP_PKEY_verify_init(context.get()) <= 0) ThrowCrypto(NTE_BAD_SIGNATURE);
    if (scheme == Scheme::Pkcs1 &&
        EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) <= 0) {
        ThrowCrypto(NTE_BAD_SIGNATURE);
    }
    if (EVP_PKEY_CTX_set_signature_md(context.get(), DigestByOid(digestOid)) <= 0) {
        ThrowCrypto(NTE_BAD_SIGNATURE);
    }
    return context;
}

EvpKeyContext SignContext(EVP_PKEY* key, std::string_view digestOid) {
    EvpKeyContext context(EVP_PKEY_CTX_new(key, nullptr));
    if (!context || EVP_PKEY_sign_init(context.get()) <= 0 ||
        EVP_PKEY_CTX_set_signature_md(context.get(), DigestByOid(digestOid)) <= 0) {
        ThrowCrypto(NTE_FAIL);
    }
    return context;
}

}  // namespace

Algorithm SignatureAlgorithmFor(EVP_PKEY* key, std::string_view digestOid) {
    const std::string keyOid = KeyOidOf(key);
    if (keyOid == oid::kRsa) return {keyOid, {0x05, 0x00}};
    if (IsGost(keyOid)) return {keyOid, {}};
    for (const SignatureRow& row : SignatureTable()) {
        if (row.keyOid == keyOid && row.digestOid != nullptr && row.digestOid == digestOid) {
            return {row.oid, {}};
        }
    }
    throw Error(NTE_BAD_ALGID);
}

Bytes SignDigest(EVP_PKEY* key, std::string_view digestOid, ByteView digest) {
    if (digest.size() != DigestSize(digestOid)) throw Error(NTE_FAIL);
    const EvpKeyContext context = SignContext(key, digestOid);
    std::size_t size = 0;
    if (EVP_PKEY_sign(context.get(), nullptr, &size, digest.data(), digest.size()) <= 0) {
        ThrowCrypto(NTE_FAIL);
    }
    Bytes signature(size);
    if (EVP_PKEY_sign(context.get(), signature.data(), &size, digest.data(), digest.size()) <= 0) {
        ThrowCrypto(NTE_FAIL);
    }
    signature.resize(size);
    return signature;
}

void VerifyDigest(EVP_PKEY* key, const Algorithm& signatureAlgorithm, std::string_view digestOid,
                  ByteView digest, ByteView signature) {
    const SignatureRow* row = FindSignature(signatureAlgorithm.oid, KeyOidOf(key));
    const bool broken = digestOid == oid::kMd5 || digestOid == oid::kRipemd160;
    if (row == nullptr || broken || (row->digestOid != nullptr && row->digestOid != digestOid)) {
        throw Error(NTE_BAD_ALGID);
    }
    // The engine would overlook a byte too many behind a GOST signature.
    const bool sized = !IsGost(row->keyOid) ||
                       signature.size() == static_cast<std::size_t>(EVP_PKEY_get_size(key));
    if (!sized || digest.size() != DigestSize(digestOid)) throw Error(NTE_BAD_SIGNATURE);
    const EvpKeyContext context = VerifyContext(key, row->scheme, digestOid);
    if (row->scheme == Scheme::Pss)
        ApplyPss(context.get(), signatureAlgorithm.parameters, digestOid);
    if (EVP_PKEY_verify(context.get(), signature.data(), signature.size(), digest.data(),
                        digest.size()) != 1) {
        ThrowCrypto(NTE_BAD_SIGNATURE);
    }
    // A success may leave notes of the algorithms tried on the way.
    ERR_clear_error();
}

}  // namespace platform
