// Signing and verifying of digest values.
#include <openssl/err.h>

#include <algorithm>

#include "platform/providers/algorithms.h"
#include "platform/providers/gost_key.h"
#include "platform/providers/openssl.h"
#include "platform/providers/rsa_parameters.h"

namespace platform {
namespace {

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
    if (EVP_PKEY_CTX_set_signature_md(context.get(), NativeDigest(digestOid)) <= 0) {
        ThrowCrypto(NTE_BAD_SIGNATURE);
    }
    return context;
}

EvpKeyContext SignContext(EVP_PKEY* key, std::string_view digestOid) {
    EvpKeyContext context(EVP_PKEY_CTX_new(key, nullptr));
    if (!context || EVP_PKEY_sign_init(context.get()) <= 0) ThrowCrypto(NTE_FAIL);
    if (EVP_PKEY_is_a(key, "RSA-PSS") == 1) {
        UsePss(context.get(), digestOid);
    } else if (EVP_PKEY_CTX_set_signature_md(context.get(), NativeDigest(digestOid)) <= 0) {
        ThrowCrypto(NTE_FAIL);
    }
    return context;
}

Bytes SignNatively(EVP_PKEY* key, std::string_view digestOid, ByteView digest) {
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

void VerifyNatively(EVP_PKEY* key, Scheme scheme, ByteView parameters, std::string_view digestOid,
                    ByteView digest, ByteView signature) {
    const EvpKeyContext context = VerifyContext(key, scheme, digestOid);
    if (scheme == Scheme::Pss) ApplyPss(context.get(), parameters, digestOid);
    if (EVP_PKEY_verify(context.get(), signature.data(), signature.size(), digest.data(),
                        digest.size()) != 1) {
        ThrowCrypto(NTE_BAD_SIGNATURE);
    }
    // A success may leave notes of the algorithms tried on the way.
    ERR_clear_error();
}

}  // namespace

Algorithm SignatureAlgorithmFor(const AnyKey& key, std::string_view digestOid) {
    const std::string keyOid = key.Oid();
    if (keyOid == oid::kRsa) return {keyOid, {0x05, 0x00}};
    if (keyOid == oid::kRsaPss) return {keyOid, PssParametersFor(digestOid)};
    if (IsGost(keyOid)) return {keyOid, {}};
    for (const SignatureRow& row : SignatureTable()) {
        if (row.keyOid == keyOid && row.digestOid != nullptr && row.digestOid == digestOid) {
            return {row.oid, {}};
        }
    }
    throw Error(NTE_BAD_ALGID);
}

Bytes SignDigest(const AnyKey& key, std::string_view digestOid, ByteView digest) {
    if (digest.size() != DigestSize(digestOid)) throw Error(NTE_FAIL);
    if (key.Gost() == nullptr) return SignNatively(key.Native(), digestOid, digest);
    const GostKey& gost = *key.Gost();
    if (FindSignature(gost.oid, gost.oid)->digestOid != digestOid) throw Error(NTE_FAIL);
    return gost.curve->Sign(gost.privateKey.View(), digest);
}

void VerifyDigest(const AnyKey& key, const Algorithm& signatureAlgorithm,
                  std::string_view digestOid, ByteView digest, ByteView signature) {
    const SignatureRow* row = FindSignature(signatureAlgorithm.oid, key.Oid());
    const bool broken = digestOid == oid::kMd5 || digestOid == oid::kRipemd160;
    if (row == nullptr || broken || (row->digestOid != nullptr && row->digestOid != digestOid)) {
        throw Error(NTE_BAD_ALGID);
    }
    if (digest.size() != DigestSize(digestOid)) throw Error(NTE_BAD_SIGNATURE);
    if (key.Gost() == nullptr) {
        return VerifyNatively(key.Native(), row->scheme, signatureAlgorithm.parameters, digestOid,
                              digest, signature);
    }
    if (!key.Gost()->curve->Verify(key.Gost()->publicKey, digest, signature)) {
        throw Error(NTE_BAD_SIGNATURE);
    }
}

}  // namespace platform
