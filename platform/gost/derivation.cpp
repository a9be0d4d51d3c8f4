// Derivations of RFC 7836 and RFC 9189.
#include "platform/gost/derivation.h"

#include "platform/base/error.h"

namespace platform::gost {

namespace {

Secret Tree(ByteView key, std::string_view label, ByteView seed, std::size_t size) {
    const std::size_t bits = size * 8;
    const std::uint8_t length[] = {static_cast<std::uint8_t>(bits >> 8),
                                   static_cast<std::uint8_t>(bits)};
    static constexpr std::uint8_t kZero[] = {0};
    Bytes derived(size);
    std::uint8_t index = 1;
    for (auto at = derived.begin(); at != derived.end(); ++index) {
        Hmac<Streebog> mac(Streebog(32), key);
        mac.Update({&index, 1});
        mac.Update(ViewOf(label));
        mac.Update(kZero);
        mac.Update(seed);
        mac.Update(length);
        Bytes part = mac.Value();
        at = std::ranges::copy(part, at).out;
        Wipe(part);
    }
    Secret secret{ByteView(derived)};
    Wipe(derived);
    return secret;
}

template <class Digest>
Secret Hashed(Digest digest, const Secret& point) {
    digest.Update(point.View());
    Bytes value = digest.Value();
    Secret secret{ByteView(value)};
    Wipe(value);
    return secret;
}

}  // namespace

Secret KdfTree(ByteView key, std::string_view label, ByteView seed, std::size_t size) {
    return OnWipedStack([&] { return Tree(key, label, seed, size); });
}

Secret Vko(const Curve& curve, VkoDigest digest, ByteView privateKey, ByteView publicKey,
           ByteView ukm) {
    const Secret point = curve.Agree(privateKey, publicKey, ukm);
    switch (digest) {
        case VkoDigest::Gost94:
            return OnWipedStack([&] { return Hashed(Digest94(), point); });
        case VkoDigest::Streebog256:
            return OnWipedStack([&] { return Hashed(Streebog(32), point); });
        default:
            return OnWipedStack([&] { return Hashed(Streebog(64), point); });
    }
}

Secret Keg(const Curve& curve, ByteView privateKey, ByteView publicKey, ByteView ukm) {
    if (ukm.size() != 32) throw Error(NTE_BAD_LEN);
    // The number is written highest octet first here, and zero counts as one.
    Bytes number(ukm.rend() - 16, ukm.rend());
    if (std::all_of(number.begin(), number.end(), [](std::uint8_t octet) { return octet == 0; })) {
        number[0] = 1;
    }
    if (curve.Size() == 64)
        return Vko(curve, VkoDigest::Streebog512, privateKey, publicKey, number);
    const Secret shared = Vko(curve, VkoDigest::Streebog256, privateKey, publicKey, number);
    return KdfTree(shared.View(), "kdf tree", ukm.subspan(16, 8), 64);
}

}  // namespace platform::gost
