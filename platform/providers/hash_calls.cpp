// Hashes over caller's data, as handles.
#include <algorithm>

#include "platform/base/output.h"
#include "platform/providers/provider.h"

namespace platform {
namespace {

// The object behind HCRYPTHASH.
class Hash : public Object {
  public:
    static constexpr Kind kKind = Kind::Hash;
    explicit Hash(const AlgorithmRow& row) : Object(kKind), row_(row), digest_(row.oid) {}

    [[nodiscard]] const AlgorithmRow& Row() const { return row_; }
    [[nodiscard]] DWORD Size() const { return row_.bits / 8; }
    [[nodiscard]] Bytes Value() const { return digest_.Value(); }
    void Update(ByteView data) { digest_.Update(data); }

  private:
    const AlgorithmRow& row_;
    Digest digest_;
};

// A provider hashes with what it lists and nothing else.
const AlgorithmRow& HashOf(const ProviderRow& provider, ALG_ID algorithm) {
    const AlgorithmRow* row = FindAlgorithm(algorithm, CRYPT_HASH_ALG_OID_GROUP_ID);
    const auto& listed = provider.algorithms;
    if (row == nullptr || std::ranges::find(listed, algorithm) == listed.end()) {
        throw Error(NTE_BAD_ALGID);
    }
    return *row;
}

std::shared_ptr<Hash> HashAt(HCRYPTHASH handle) {
    return Resolve<Hash>(handle, ERROR_INVALID_PARAMETER);
}

void GetParam(const Hash& hash, DWORD param, BYTE* data, DWORD* size) {
    switch (param) {
        case HP_ALGID:
            return CopyNumber(hash.Row().id, data, size);
        case HP_HASHSIZE:
            return CopyNumber(hash.Size(), data, size);
        case HP_HASHVAL:
            return CopyOut(hash.Value(), data, size);
        default:
            throw Error(NTE_BAD_TYPE);
    }
}

}  // namespace
}  // namespace platform

using namespace platform;

BOOL WINAPI CryptCreateHash(HCRYPTPROV provider, ALG_ID algorithm, HCRYPTKEY key, DWORD flags,
                            HCRYPTHASH* hash) {
    return GuardedBool([&] {
        const auto object = ProviderOf(provider);
        if (hash == nullptr) throw Error(ERROR_INVALID_PARAMETER);
        if (flags != 0) throw Error(NTE_BAD_FLAGS);
        // Keyed hashes are not among the algorithms.
        if (key != 0) throw Error(NTE_BAD_KEY);
        *hash = reinterpret_cast<HCRYPTHASH>(
            Publish(std::make_shared<Hash>(HashOf(object->Row(), algorithm))));
    });
}

BOOL WINAPI CryptHashData(HCRYPTHASH hash, const BYTE* data, DWORD size, DWORD flags) {
    return GuardedBool([&] {
        const auto object = HashAt(hash);
        if (flags != 0) throw Error(NTE_BAD_FLAGS);
        if (data == nullptr && size != 0) throw Error(ERROR_INVALID_PARAMETER);
        object->Update(ViewOf(data, size));
    });
}

BOOL WINAPI CryptGetHashParam(HCRYPTHASH hash, DWORD param, BYTE* data, DWORD* size, DWORD flags) {
    return GuardedBool([&] {
        const auto object = HashAt(hash);
        if (flags != 0) throw Error(NTE_BAD_FLAGS);
        GetParam(*object, param, data, size);
    });
}

BOOL WINAPI CryptDestroyHash(HCRYPTHASH hash) {
    return GuardedBool([&] {
        ReleaseHandle(reinterpret_cast<const void*>(hash), Kind::Hash, ERROR_INVALID_PARAMETER);
    });
}
