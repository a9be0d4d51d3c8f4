// The price of a signature by the kind of its key.
#include "platform/chain/budget.h"

#include <array>
#include <string_view>

#include "platform/certs/compare.h"
#include "platform/providers/algorithms.h"

namespace platform {
namespace {

// P-256 as the parameters of a key name it; no other curve is as quick.
constexpr std::array<std::uint8_t, 10> kP256 = {0x06, 0x08, 0x2A, 0x86, 0x48,
                                                0xCE, 0x3D, 0x03, 0x01, 0x07};

std::uint64_t PriceOf(const CERT_PUBLIC_KEY_INFO& key) {
    const std::string_view algorithm = key.Algorithm.pszObjId;
    if (algorithm == oid::kRsa || algorithm == oid::kRsaPss) {
        // Modulus and exponent: either may be long.
        return 10 * std::uint64_t{key.PublicKey.cbData} * key.PublicKey.cbData;
    }
    return Equal(ViewOf(key.Algorithm.Parameters), kP256) ? 150'000 : 2'000'000;
}

}  // namespace

bool Budget::Spend(std::uint64_t units) {
    const bool reaches = !exhausted_ && units <= left_;
    if (!reaches || (whole_ != nullptr && !whole_->Spend(units))) {
        exhausted_ = true;
        return false;
    }
    left_ -= units;
    return true;
}

bool Budget::SpendSignature(const CERT_PUBLIC_KEY_INFO& key, std::size_t size) {
    return Spend(PriceOf(key) + 2 * std::uint64_t{size});
}

}  // namespace platform
