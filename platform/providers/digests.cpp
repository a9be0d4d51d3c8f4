#include <map>

#include "platform/providers/algorithms.h"
#include "platform/providers/engine.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

const EVP_MD* Lookup(std::string_view oid) {
    if (FindAlgorithm(oid, CRYPT_HASH_ALG_OID_GROUP_ID) == nullptr) return nullptr;
    if (IsGost(oid)) return GostDigest(oid);
    return EVP_MD_fetch(nullptr, std::string(oid).c_str(), nullptr);
}

}  // namespace

const EVP_MD* DigestByOid(std::string_view oid) {
    // Never destroyed: OpenSSL's own clean-up at exit may run first.
    static auto* const known = new std::map<std::string, const EVP_MD*, std::less<>>;
    const auto found = known->find(oid);
    if (found != known->end()) return found->second;
    const EVP_MD* digest = Lookup(oid);
    if (digest == nullptr) ThrowCrypto(NTE_BAD_ALGID);
    known->emplace(oid, digest);
    return digest;
}

Digest::Digest(std::string_view oid) : oid_(oid), context_(EVP_MD_CTX_new()) {
    if (!context_ || EVP_DigestInit_ex(context_.get(), DigestByOid(oid), nullptr) != 1) {
        ThrowCrypto(NTE_FAIL);
    }
}

void Digest::Update(ByteView data) {
    if (data.empty()) return;
    if (EVP_DigestUpdate(context_.get(), data.data(), data.size()) != 1) ThrowCrypto(NTE_FAIL);
}

Bytes Digest::Value() const {
    const std::unique_ptr<EVP_MD_CTX, Deleter> copy(EVP_MD_CTX_new());
    if (!copy || EVP_MD_CTX_copy_ex(copy.get(), context_.get()) != 1) ThrowCrypto(NTE_FAIL);
    Bytes value(EVP_MAX_MD_SIZE);
    unsigned size = 0;
    if (EVP_DigestFinal_ex(copy.get(), value.data(), &size) != 1) ThrowCrypto(NTE_FAIL);
    value.resize(size);
    return value;
}

}  // namespace platform
