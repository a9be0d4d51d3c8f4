// Keys from secrets: HMAC, PBKDF2 (RFC 8018) and the derivations of RFC 7836 and RFC 9189.
#pragma once

#include <algorithm>
#include <cstdint>

#include "platform/base/bytes.h"
#include "platform/gost/curve.h"
#include "platform/gost/digest94.h"
#include "platform/gost/stack.h"
#include "platform/gost/streebog.h"

namespace platform::gost {

// HMAC (RFC 2104) over a digest of this folder; a copy goes on by itself.
template <class Digest>
class Hmac {
  public:
    Hmac(const Digest& fresh, ByteView key) : inner_(fresh), outer_(fresh) {
        Bytes block(Digest::kBlock);
        if (key.size() > block.size()) {
            Digest digest = fresh;
            digest.Update(key);
            Bytes shorter = digest.Value();
            std::ranges::copy(shorter, block.begin());
            Wipe(shorter);
        } else {
            std::ranges::copy(key, block.begin());
        }
        for (auto& octet : block) octet ^= 0x36;
        inner_.Update(block);
        for (auto& octet : block) octet ^= 0x36 ^ 0x5C;
        outer_.Update(block);
        Wipe(block);
    }
    void Update(ByteView data) { inner_.Update(data); }
    [[nodiscard]] Bytes Value() const {
        Digest outer = outer_;
        Bytes inner = inner_.Value();
        outer.Update(inner);
        Wipe(inner);
        return outer.Value();
    }

  private:
    Digest inner_;
    Digest outer_;
};

// The block of PBKDF2 with that index (RFC 8018, 5.2).
template <class Digest>
Bytes BlockOfPbkdf2(const Hmac<Digest>& keyed, ByteView salt, std::uint32_t index,
                    std::uint32_t iterations) {
    Hmac<Digest> first = keyed;
    first.Update(salt);
    const std::uint8_t number[] = {
        static_cast<std::uint8_t>(index >> 24), static_cast<std::uint8_t>(index >> 16),
        static_cast<std::uint8_t>(index >> 8), static_cast<std::uint8_t>(index)};
    first.Update(number);
    Bytes last = first.Value();
    Bytes sum = last;
    for (std::uint32_t i = 1; i < iterations; ++i) {
        Hmac<Digest> next = keyed;
        next.Update(last);
        Wipe(last);
        last = next.Value();
        for (std::size_t j = 0; j < sum.size(); ++j) sum[j] ^= last[j];
    }
    Wipe(last);
    return sum;
}

template <class Digest>
Secret Pbkdf2(const Digest& fresh, ByteView password, ByteView salt, std::uint32_t iterations,
              std::size_t size) {
    return OnWipedStack([&] {
        const Hmac<Digest> keyed(fresh, password);
        Bytes key(size);
        std::uint32_t index = 1;
        for (std::size_t done = 0; done < size; ++index) {
            Bytes block = BlockOfPbkdf2(keyed, salt, index, iterations);
            const std::size_t part = std::min(block.size(), size - done);
            std::copy_n(block.begin(), part, &key[done]);
            done += part;
            Wipe(block);
        }
        Secret secret{ByteView(key)};
        Wipe(key);
        return secret;
    });
}

// KDF_TREE_GOSTR3411_2012_256 with a counter of one octet (RFC 7836, 4.5); `size` octets, a
// multiple of 32. With 32 it is KDF_GOSTR3411_2012_256.
Secret KdfTree(ByteView key, std::string_view label, ByteView seed, std::size_t size);

// VKO (RFC 4357, 5.2; RFC 7836, 4.3). Keying material has its lowest octet first. Throws as
// Curve::Agree does.
enum class VkoDigest { Gost94, Streebog256, Streebog512 };
Secret Vko(const Curve& curve, VkoDigest digest, ByteView privateKey, ByteView publicKey,
           ByteView ukm);

// KEG (RFC 9189, 8.3.1): 64 octets from 32 of keying material.
Secret Keg(const Curve& curve, ByteView privateKey, ByteView publicKey, ByteView ukm);

}  // namespace platform::gost
