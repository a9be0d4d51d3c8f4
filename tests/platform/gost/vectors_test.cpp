// The GOST primitives against the worked examples of their standards.
#include <gtest/gtest.h>

#include <algorithm>

#include "platform/gost/block.h"
#include "platform/gost/cipher89.h"
#include "platform/gost/curve.h"
#include "platform/gost/derivation.h"
#include "tests/support/workshop.h"

namespace platform::gost {
namespace {

using testing::Code;
using testing::CodeOf;
using testing::FromHex;

// Numbers in the standards stand with their highest octet first.
Bytes Number(std::string_view digits) {
    Bytes octets = FromHex(digits);
    std::reverse(octets.begin(), octets.end());
    return octets;
}

// ---- digests ------------------------------------------------------------------

// RFC 5831, 7.3, and the digests of the same messages that are published for the set of RFC 4357.
constexpr struct {
    const char* name;
    const char* set;
    const char* message;
    const char* value;
} kDigests94[] = {
    {"test, empty", "1.2.643.2.2.30.0", "",
     "ce85b99cc46752fffee35cab9a7b0278abb4c2d2055cff685af4912c49490f8d"},
    {"test, 50", "1.2.643.2.2.30.0", "Suppose the original message has length = 50 bytes",
     "471aba57a60a770d3a76130635c1fbea4ef14de51f78b4ae57dd893b62f55208"},
    {"common, 50", "1.2.643.2.2.30.1", "Suppose the original message has length = 50 bytes",
     "c3730c5cbccacf915ac292676f21e8bd4ef75331d9405e5f1a61dc3130a65011"},
};

TEST(Gost, Digest94FollowsTheStandard) {
    for (const auto& row : kDigests94) {
        for (std::size_t piece : {1, 31, 64}) {
            Digest94 digest(*FindSubstitution(row.set));
            for (std::string_view left = row.message; !left.empty();) {
                digest.Update(ViewOf(left.substr(0, piece)));
                left.remove_prefix(std::min(piece, left.size()));
            }
            EXPECT_EQ(Hex(digest.Value()), row.value) << row.name << " by " << piece;
        }
    }
}

TEST(Gost, StreebogFollowsTheStandard) {
    // RFC 6986, 10: both messages.
    const Bytes first = Copy(ViewOf(
        std::string_view("012345678901234567890123456789012345678901234567890123456789012")));
    const Bytes second = FromHex(
        "d1e520e2e5f2f0e82c20d1f2f0e8e1eee6e820e2edf3f6e82c20e2e5fef2fa20f120eceef0ff20f1f2f0e5ebe0"
        "ece820ede020f5f0e0e1f0fbff20efebfaeafb20c8e3eef0e5e2fb");
    const struct {
        const Bytes& message;
        std::size_t size;
        const char* value;
    } rows[] = {
        {first, 64,
         "1b54d01a4af5b9d5cc3d86d68d285462b19abc2475222f35c085122be4ba1ffa"
         "00ad30f8767b3a82384c6574f024c311e2a481332b08ef7f41797891c1646f48"},
        {second, 64,
         "1e88e62226bfca6f9994f1f2d51569e0daf8475a3b0fe61a5300eee46d961376"
         "035fe83549ada2b8620fcd7c496ce5b33f0cb9dddc2b6460143b03dabac9fb28"},
        {second, 32, "9dd2fe4e90409e5da87f53976d7405b0c0cac628fc669a741d50063c557e8f50"},
    };
    for (const auto& row : rows) {
        for (std::size_t cut = 0; cut <= row.message.size(); ++cut) {
            Streebog digest(row.size);
            digest.Update(ByteView(row.message).first(cut));
            digest.Update(ByteView(row.message).subspan(cut));
            EXPECT_EQ(Hex(digest.Value()), row.value) << cut;
        }
    }
}

// ---- block ciphers --------------------------------------------------------------

TEST(Gost, BlockCiphersFollowTheStandard) {
    constexpr const char* kKuznyechikKey =
        "8899aabbccddeeff0011223344556677fedcba98765432100123456789abcdef";
    constexpr const char* kMagmaKey =
        "ffeeddccbbaa99887766554433221100f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff";
    constexpr const char* kText =
        "1122334455667700ffeeddccbbaa998800112233445566778899aabbcceeff0a"
        "112233445566778899aabbcceeff0a002233445566778899aabbcceeff0a0011";
    // RFC 7801, 5.5; RFC 8891, A.3; GOST R 34.13, A.1.6 and A.2.6.
    const struct {
        const char* name;
        std::unique_ptr<BlockCipher> cipher;
        const char* plain;
        const char* sealed;
        const char* macText;
        const char* mac;
    } rows[] = {
        {"Kuznyechik", NewKuznyechik(FromHex(kKuznyechikKey)), "1122334455667700ffeeddccbbaa9988",
         "7f679d90bebc24305a468d42b9d4edcd", kText, "336f4d296059fbe3"},
        {"Magma", NewMagma(FromHex(kMagmaKey)), "fedcba9876543210", "4ee901e5c2d8ca3d",
         "92def06b3c130a59db54c704f8189d204a98fb2e67a8024c8912409b17b57e41", "154e7210"},
    };
    for (const auto& row : rows) {
        Bytes block = FromHex(row.plain);
        row.cipher->Encrypt(block.data(), block.data(), 1);
        EXPECT_EQ(Hex(block), row.sealed) << row.name;
        Omac mac(row.cipher->WithKey(
            FromHex(std::string_view(row.name) == "Magma" ? kMagmaKey : kKuznyechikKey)));
        mac.Update(FromHex(row.macText));
        EXPECT_TRUE(Hex(mac.Value()).starts_with(row.mac)) << row.name << Hex(mac.Value());
    }
    // RFC 8645, A.1: sections of two blocks.
    Bytes text = FromHex(std::string(kText) +
                         "33445566778899aabbcceeff0a001122445566778899aabbcceeff0a00112233"
                         "5566778899aabbcceeff0a0011223344");
    CounterAcpkm counter(NewKuznyechik(FromHex(kKuznyechikKey)), FromHex("1234567890abcef0"), 32);
    counter.Turn(text.data(), text.data(), 5);
    counter.Turn(text.data() + 5, text.data() + 5, text.size() - 5);
    EXPECT_EQ(Hex(text),
              "f195d8bec10ed1dbd57b5fa240bda1b885eee733f6a13e5df33ce4b33c45dee4"
              "4bceeb8f646f4c55001706275e85e800587c4df568d094393e4834afd0805046"
              "cf30f57686aeece11cfc6c316b8a896edffd07ec813636460c4f3b743423163e"
              "6409a9c282fac8d469d221e7fbd6de5d");
}

// ---- curves ---------------------------------------------------------------------

// RFC 7091, 7.1.3: the signature of the example verifies, and nothing near it does.
TEST(Gost, SignaturesFollowTheStandard) {
    const Curve& curve = *Curve::Find("1.2.643.2.2.35.0");
    const Bytes key =
        curve.PublicOf(Number("7a929ade789bb9be10ed359dd39a72c11b60961f49397eee1d19ce9891ec3b28"));
    const Bytes digest = Number("2dfbc1b372d89a1188c09c52e0eec61fce52032ab1022e8e67ece6672b043ee5");
    const std::string r = "41aa28d2f1ab148280cd9ed56feda41974053554a42767b83ad043fd39dc0493";
    const std::string s = "01456c64ba4642a1653c235a98a60249bcd6d3f746b631df928014f6c5bf9c40";
    const std::string zero(64, '0');
    const std::string order = "8000000000000000000000000000000150fe8a1892976154c59cfc193accf5b3";
    const struct {
        const char* name;
        std::string signature;
        bool good;
    } rows[] = {
        {"as published", s + r, true},
        {"r of zero", s + zero, false},
        {"s of zero", zero + r, false},
        {"r of the order", s + order, false},
        {"s of the order", order + r, false},
        {"all ones", std::string(128, 'f'), false},
        {"short", s, false},
        {"long", s + r + "00", false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(curve.Verify(key, digest, FromHex(row.signature)), row.good) << row.name;
    }
    EXPECT_FALSE(curve.Verify(key, ByteView(digest).first(31), FromHex(s + r)));
    // 7.2.3 has 512 bits.
    const Curve& wide = *Curve::Find("1.2.643.7.1.2.1.2.0");
    EXPECT_TRUE(wide.Verify(
        wide.PublicOf(Number("0ba6048aadae241ba40936d47756d7c93091a0e8514669700ee7508e508b1020"
                             "72e8123b2200a0563322dad2827e2714a2636b7bfd18aadfc62967821fa18dd4")),
        Number("3754f3cfacc9e0615c4f4a7c4d8dab531b09b6f9c170c533a71d147035b0c591"
               "7184ee536593f4414339976c647c5d5a407adedb1d560c4fc6777d2972075b8c"),
        FromHex("1081b394696ffe8e6585e7a9362d26b6325f56778aadbc081c0bfbe933d52ff5"
                "823ce288e8c4f362526080df7f70ce406a6eeb1f56919cb92a9853bde73e5b4a"
                "2f86fa60a081091a23dd795e1e3c689ee512a3c82ee0dcc2643c78eea8fcacd3"
                "5492558486b20f1c9ec197c90699850260c93bcbcd9c5c3317e19344e173ae36")));
}

// RFC 7836, B: agreement, derivation.
TEST(Gost, AgreementFollowsTheStandard) {
    const Curve& curve = *Curve::Find("1.2.643.7.1.2.1.2.1");
    const Bytes a = FromHex(
        "c990ecd972fce84ec4db022778f50fcac726f46708384b8d458304962d7147f8"
        "c2db41cef22c90b102f2968404f9b9be6d47c79692d81826b32b8daca43cb667");
    const Bytes b = FromHex(
        "48c859f7b6f11585887cc05ec6ef1390cfea739b1a18c0d4662293ef63b79e3b"
        "8014070b44918590b4b996acfea4edfbbbcccc8c06edd8bf5bda92a51392d0db");
    const Bytes ukm = FromHex("1d80603c8544c727");
    const struct {
        VkoDigest digest;
        const char* value;
    } rows[] = {
        {VkoDigest::Streebog256,
         "c9a9a77320e2cc559ed72dce6f47e2192ccea95fa648670582c054c0ef36c221"},
        {VkoDigest::Streebog512,
         "79f002a96940ce7bde3259a52e015297adaad84597a0d205b50e3e1719f97bfa"
         "7ee1d2661fa9979a5aa235b558a7e6d9f88f982dd63fc35a8ec0dd5e242d3bdf"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Hex(Vko(curve, row.digest, a, curve.PublicOf(b), ukm).View()), row.value);
        EXPECT_EQ(Hex(Vko(curve, row.digest, b, curve.PublicOf(a), ukm).View()), row.value);
    }
    const Bytes key = FromHex("000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f");
    EXPECT_EQ(Hex(KdfTree(key, "\x26\xBD\xB8\x78", FromHex("af21434145656378"), 32).View()),
              "a1aa5f7de402d7b3d323f2991c8d4534013137010a83754fd0af6d7cd4922ed9");
    EXPECT_EQ(Hex(KdfTree(key, "\x26\xBD\xB8\x78", FromHex("af21434145656378"), 64).View()),
              "22b6837845c6bef65ea71672b265831086d3c76aebe6dae91cad51d83f79d16b"
              "074c9330599d7f8d712fca54392f4ddde93751206b3584c8f43f9e6dc51531f9");
    Hmac<Streebog> mac(Streebog(64), key);
    mac.Update(FromHex("0126bdb87800af214341456563780100"));
    EXPECT_EQ(Hex(mac.Value()),
              "a59bab22ecae19c65fbde6e5f4e9f5d8549d31f037f9df9b905500e171923a77"
              "3d5f1530f2ed7e964cb2eedc29e9ad2f3afe93b2814f79f5000ffc0366c251e6");
}

// R 50.1.111-2016, B.
TEST(Gost, PasswordsFollowTheStandard) {
    const Secret key = Pbkdf2(Streebog(64), ViewOf(std::string_view("password")),
                              ViewOf(std::string_view("salt")), 2, 64);
    EXPECT_EQ(Hex(key.View()),
              "5a585bafdfbb6e8830d6d68aa3b43ac00d2e4aebce01c9b31c2caed56f0236d4"
              "d34b2b8fbd2c4e89d54d46f50e47d45bbac301571743119e8d3c42ba66d348de");
}

// How often the octets stand on the part of the stack that a call before has used.
[[gnu::noinline]] std::size_t CountBelow(ByteView octets) {
    std::uint8_t below[12 * 1024];
    __asm__ volatile("" : : "r"(below) : "memory");
    std::size_t count = 0;
    for (std::size_t at = 0; at + octets.size() <= sizeof below; ++at) {
        count += std::equal(octets.begin(), octets.end(), below + at) ? 1 : 0;
    }
    return count;
}

TEST(Gost, NoSecretStaysOnTheStack) {
    for (const char* set : {"1.2.643.2.2.35.1", "1.2.643.7.1.2.1.1.1", "1.2.643.7.1.2.1.2.1"}) {
        const Curve& curve = *Curve::Find(set);
        const Secret key = curve.NewPrivate();
        const Bytes peer = curve.PublicOf(curve.NewPrivate().View());
        const Secret shared = curve.Agree(key.View(), peer, FromHex("05"));
        EXPECT_EQ(CountBelow(shared.View().first(curve.Size())), 0) << set;
        const Secret kek = Vko(curve, VkoDigest::Streebog256, key.View(), peer, FromHex("05"));
        EXPECT_EQ(CountBelow(kek.View()), 0) << set;
        (void)curve.Sign(key.View(), Bytes(curve.Size(), 3));
        EXPECT_EQ(CountBelow(key.View()), 0) << set;
    }
}

TEST(Gost, BadKeysAreRefused) {
    EXPECT_EQ(Curve::Find("1.2.643.2.2.35.9"), nullptr);
    EXPECT_EQ(FindSubstitution("1.2.643.2.2.31.9"), nullptr);
    for (const char* set : {"1.2.643.2.2.35.1", "1.2.643.7.1.2.1.1.1", "1.2.643.7.1.2.1.2.3"}) {
        SCOPED_TRACE(set);
        const Curve& curve = *Curve::Find(set);
        const Secret good = curve.NewPrivate();
        const Bytes point = curve.PublicOf(good.View());
        Bytes off = point;
        off[0] ^= 1;
        const Bytes ones(2 * curve.Size(), 0xFF);
        const struct {
            const char* name;
            Bytes key;
            bool usable;
        } rows[] = {
            {"good", point, true},
            {"off the curve", off, false},
            {"zeros", Bytes(point.size()), false},
            {"above the prime", ones, false},
            {"short", Bytes(point.begin(), point.end() - 1), false},
        };
        for (const auto& row : rows) {
            EXPECT_EQ(curve.IsPublic(row.key), row.usable) << row.name;
            EXPECT_EQ(CodeOf([&] { (void)curve.Agree(good.View(), row.key, FromHex("01")); }),
                      row.usable ? 0 : Code(NTE_BAD_DATA))
                << row.name;
        }
        for (const Bytes& bad : {Bytes(curve.Size()), Bytes(curve.Size(), 0xFF),
                                 Bytes(curve.Size() - 1, 1), Bytes()}) {
            EXPECT_FALSE(curve.IsPrivate(bad));
            EXPECT_EQ(CodeOf([&] { (void)curve.Sign(bad, Bytes(curve.Size(), 1)); }),
                      Code(NTE_BAD_KEY));
        }
        // Keying material of zero leads to infinity, and so does a point of order two.
        EXPECT_EQ(CodeOf([&] { (void)curve.Agree(good.View(), point, FromHex("00")); }),
                  Code(NTE_BAD_DATA));
    }
}

TEST(Gost, KeysAreOfTheGroup) {
    // Points of the curve whose order is 1, 2 and 4 times the group's, and 2 and 4.
    const struct {
        const char* x;
        const char* y;
        bool usable;
    } points[] = {
        {"06", "c54232c00c62c5896e70741abb9b8660883859bb5e37025be8d262b92d0d5162", true},
        {"08", "ed3581bec3a800b4e42f823268b76d5802ff206853353b55a2b91452f2adfd07", false},
        {"0d", "7529c2d9a6f589a791e45dcd493ab520f44dd1ca51c607d5db34c6a64cbba6a3", false},
        {"0100fe73f595ff158e974b44d478d9588744fe5c192ac47ea63075dce7a14aaa", "00", false},
        {"7f7f80c60535007538b45a5d95c39353bc5d80d1f36a9dc0ace7c5118c2f5977",
         "7e7e82520f9f015faa1d0f18c14ab9fb35188275da3fd94206b74f34a48e0ecd", false},
    };
    const Curve& curve = *Curve::Find("1.2.643.7.1.2.1.1.1");
    for (const auto& row : points) {
        Bytes key = Number(row.x);
        key.resize(32);
        const Bytes y = Number(row.y);
        key.insert(key.end(), y.begin(), y.end());
        key.resize(64);
        EXPECT_EQ(curve.IsPublic(key), row.usable) << row.x;
    }
    // Private keys: the order, what is above it, and parts of a masked one beyond reason.
    Bytes order = Number("400000000000000000000000000000000fd8cddfc87b6635c115af556c360c67");
    Bytes next = order;
    ++next[0];
    const Bytes many(17 * 32, 1);
    for (const Bytes& bad : {order, next, many, Bytes(32), Bytes()}) {
        EXPECT_EQ(CodeOf([&] { (void)curve.Unmask(bad); }), Code(NTE_BAD_KEY));
    }
    EXPECT_EQ(CodeOf([&] { (void)curve.Unmask(ByteView(many).first(16 * 32)); }), 0U);
}

TEST(Gost, WrapsAreOfOneLength) {
    const Substitution& set = *FindSubstitution(kCipherSetA);
    for (const Wrap89 form : {Wrap89::Plain, Wrap89::Diversified}) {
        for (const std::size_t size : {0, 31, 33}) {
            EXPECT_EQ(CodeOf([&] {
                          (void)UnwrapKey89(form, set, Bytes(32), Bytes(8), Bytes(size), Bytes(4));
                      }),
                      Code(NTE_BAD_LEN));
        }
    }
}

// Blocks side by side give what they give one by one, and pieces what the whole gives.
TEST(Gost, RoadsAgree) {
    Bytes text(5000);
    for (std::size_t i = 0; i < text.size(); ++i)
        text[i] = static_cast<std::uint8_t>(i * 7 + i / 9);
    const Key89 key(*FindSubstitution(kCipherSetZ), Bytes(32, 0x5A));
    const Bytes iv(8, 1);
    Bytes sealed = text;
    Feedback89(key, iv, true, true).Turn(sealed.data(), sealed.data(), sealed.size());
    for (const std::size_t piece :
         {std::size_t{1}, std::size_t{129}, std::size_t{1024}, text.size()}) {
        Bytes opened = sealed;
        Feedback89 cipher(key, iv, true, false);
        for (std::size_t at = 0; at < opened.size(); at += piece) {
            cipher.Turn(&opened[at], &opened[at], std::min(piece, opened.size() - at));
        }
        EXPECT_TRUE(opened == text) << piece;
    }
    Bytes together(8 * 37);
    key.EncryptBlocks(text.data(), together.data(), 37);
    for (std::size_t i = 0; i < together.size(); i += 8) {
        Bytes alone(8);
        key.EncryptBlocks(&text[i], alone.data(), 1);
        EXPECT_TRUE(Equal(alone, ByteView(together).subspan(i, 8))) << i;
    }
}

}  // namespace
}  // namespace platform::gost
