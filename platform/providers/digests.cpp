// Digests by identifier.
#include <map>

#include "platform/gost/digest94.h"
#include "platform/gost/streebog.h"
#include "platform/providers/algorithms.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

using EvpDigestContext = std::unique_ptr<EVP_MD_CTX, Freer<EVP_MD_CTX_free>>;

class NativeRunning : public Digest::Running {
  public:
    explicit NativeRunning(const EVP_MD* digest) : context_(EVP_MD_CTX_new()) {
        if (!context_ || EVP_DigestInit_ex(context_.get(), digest, nullptr) != 1) {
            ThrowCrypto(NTE_FAIL);
        }
    }
    void Update(ByteView data) override {
        if (EVP_DigestUpdate(context_.get(), data.data(), data.size()) != 1) ThrowCrypto(NTE_FAIL);
    }
    [[nodiscard]] Bytes Value() const override {
        const EvpDigestContext copy(EVP_MD_CTX_new());
        if (!copy || EVP_MD_CTX_copy_ex(copy.get(), context_.get()) != 1) ThrowCrypto(NTE_FAIL);
        Bytes value(EVP_MAX_MD_SIZE);
        unsigned size = 0;
        if (EVP_DigestFinal_ex(copy.get(), value.data(), &size) != 1) ThrowCrypto(NTE_FAIL);
        value.resize(size);
        return value;
    }

  private:
    EvpDigestContext context_;
};

template <class Digest>
class GostRunning : public platform::Digest::Running {
  public:
    explicit GostRunning(const Digest& digest) : digest_(digest) {}
    void Update(ByteView data) override { digest_.Update(data); }
    [[nodiscard]] Bytes Value() const override { return digest_.Value(); }

  private:
    Digest digest_;
};

std::unique_ptr<Digest::Running> Start(std::string_view oid) {
    if (oid == oid::kGostR3411_94) {
        return std::make_unique<GostRunning<gost::Digest94>>(gost::Digest94());
    }
    if (oid == oid::kGostR3411_2012_256 || oid == oid::kGostR3411_2012_512) {
        return std::make_unique<GostRunning<gost::Streebog>>(gost::Streebog(DigestSize(oid)));
    }
    return std::make_unique<NativeRunning>(NativeDigest(oid));
}

}  // namespace

const EVP_MD* NativeDigest(std::string_view oid) {
    // Never destroyed: OpenSSL's own clean-up at exit may run first.
    static auto* const known = new std::map<std::string, const EVP_MD*, std::less<>>;
    const auto found = known->find(oid);
    if (found != known->end()) return found->second;
    const bool listed = FindAlgorithm(oid, CRYPT_HASH_ALG_OID_GROUP_ID) != nullptr && !IsGost(oid);
    const EVP_MD* digest =
        listed ? EVP_MD_fetch(nullptr, std::string(oid).c_str(), nullptr) : nullptr;
    if (digest == nullptr) ThrowCrypto(NTE_BAD_ALGID);
    known->emplace(oid, digest);
    return digest;
}

std::size_t DigestSize(std::string_view oid) {
    const AlgorithmRow* row = FindAlgorithm(oid, CRYPT_HASH_ALG_OID_GROUP_ID);
    if (row == nullptr) throw Error(NTE_BAD_ALGID, std::string(oid));
    return row->bits / 8;
}

Digest::Digest(std::string_view oid) : oid_(oid), running_(Start(oid)) {}

void Digest::Update(ByteView data) {
    if (!data.empty()) running_->Update(data);
}

Bytes Digest::Value() const { return running_->Value(); }

Bytes DigestOf(std::string_view oid, ByteView data) {
    Digest digest(oid);
    digest.Update(data);
    return digest.Value();
}

}  // namespace platform
