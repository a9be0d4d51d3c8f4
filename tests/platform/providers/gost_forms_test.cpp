// GOST in the forms that other programs write: the modes of GOST 28147-89 with every parameter
// set, keys under a password, and private keys in each published encoding.
#include <openssl/bn.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "platform/der/der.h"
#include "platform/gost/cipher89.h"
#include "platform/gost/curve_table.h"
#include "platform/providers/gost_key.h"
#include "platform/providers/key_file.h"
#include "tests/support/engine.h"
#include "tests/support/workshop.h"

namespace platform::testing {
namespace {

using der::Element;
using der::kOctetString;
using der::kSequence;

// ---- modes --------------------------------------------------------------------------

constexpr const char* kCipherSets[] = {"1.2.643.2.2.31.1", "1.2.643.2.2.31.2", "1.2.643.2.2.31.3",
                                       "1.2.643.2.2.31.4", "1.2.643.7.1.2.5.1.1"};

std::string EncryptByOpenssl(const std::string& set, ByteView key, ByteView iv) {
    setenv("CRYPT_PARAMS", set.c_str(), 1);
    OpenSsl("enc -engine gost -gost89 -e -nopad -nosalt -K " + Hex(key) + " -iv " + Hex(iv) +
            " -in plain -out sealed");
    unsetenv("CRYPT_PARAMS");
    return Hex(ReadFile("sealed"));
}

TEST(GostForms, ModesFollowTheEngine) {
    SKIP_WITHOUT_ENGINE();
    // Past four changes of the key.
    const Bytes plain = Pattern(5 * 1024 + 8 * 9);
    const Bytes key = Pattern(32);
    const Bytes iv = FromHex("fffffffffefefefe");
    WriteFile("plain", plain);
    for (const char* set : kCipherSets) {
        SCOPED_TRACE(set);
        const gost::Key89 key89(*gost::FindSubstitution(set), key);
        Bytes out = plain;
        gost::Feedback89(key89, iv, true, true).Turn(out.data(), out.data(), out.size());
        EXPECT_EQ(Hex(out), EncryptByOpenssl(set, key, iv));
    }
}

// ---- keys under a password (with OMAC the engine makes none) -------------------------

TEST(GostForms, KeysUnderAPassword) {
    SKIP_WITHOUT_ENGINE();
    const struct {
        const char* key;
        const char* cipher;
        const char* prf;
    } rows[] = {
        {"gost2001", "gost89", "id-HMACGostR3411-94"},
        {"gost256", "gost89", "id-tc26-hmac-gost-3411-2012-256"},
        {"gost256", "magma-ctr-acpkm", "id-tc26-hmac-gost-3411-2012-256"},
        {"gost256", "kuznyechik-ctr-acpkm", "id-tc26-hmac-gost-3411-2012-512"},
        {"gost256", "magma-ctr-acpkm", "hmacWithSHA256"},
        {"gost512", "kuznyechik-ctr-acpkm", "hmacWithSHA1"},
        {"gost256", "aes-256-cbc", "id-tc26-hmac-gost-3411-2012-256"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.cipher) + " " + row.prf);
        CertificateOf(row.key);
        OpenSsl(std::string("pkcs8 -engine gost -topk8 -passout pass:secret -iter 2000 -in ") +
                row.key + ".key -out sealed.pem -v2 " + row.cipher + " -v2prf " + row.prf);
        const auto file = ParseKeyFile(ReadFile("sealed.pem"));
        ASSERT_TRUE(file && file->encrypted);
        const AnyKey key = OpenKeyFile(*file, Secret(ViewOf(std::string_view("secret"))));
        EXPECT_TRUE(key && key.Matches(PublicKey(row.key)));
        EXPECT_EQ(CodeOf([&] {
                      if (!OpenKeyFile(*file, Secret(ViewOf(std::string_view("Secret"))))) {
                          throw Error(SCARD_W_WRONG_CHV);
                      }
                  }),
                  Code(static_cast<LONG>(SCARD_W_WRONG_CHV)));
    }
}

// ---- encodings of private keys --------------------------------------------------------

using Number = std::unique_ptr<BIGNUM, decltype(&BN_free)>;
Number NumberOf(ByteView lowestFirst) {
    return {BN_lebin2bn(lowestFirst.data(), static_cast<int>(lowestFirst.size()), nullptr),
            &BN_free};
}

// The key divided by the masks, and then the masks (RFC 9548, 4).
Bytes Masked(ByteView key, std::string_view order, std::size_t masks) {
    BIGNUM* q = nullptr;
    BN_hex2bn(&q, std::string(order).c_str());
    BN_CTX* context = BN_CTX_new();
    Number left = NumberOf(key);
    Bytes parts(key.size());
    for (std::size_t i = 0; i < masks; ++i) {
        Bytes mask(key.size());
        for (std::size_t j = 0; j + 1 < mask.size(); ++j) {
            mask[j] = static_cast<std::uint8_t>(j * 37 + i + 5);
        }
        const Number inverse(BN_mod_inverse(nullptr, NumberOf(mask).get(), q, context), &BN_free);
        BN_mod_mul(left.get(), left.get(), inverse.get(), q, context);
        parts.insert(parts.end(), mask.begin(), mask.end());
    }
    BN_bn2lebinpad(left.get(), parts.data(), static_cast<int>(key.size()));
    BN_CTX_free(context);
    BN_free(q);
    return parts;
}

Bytes BigEndianInteger(ByteView key) {
    Bytes octets(key.rbegin(), key.rend());
    octets.insert(octets.begin(), 0);
    while (octets.size() > 1 && octets[0] == 0 && octets[1] < 0x80) octets.erase(octets.begin());
    return Element(0x02, octets);
}

TEST(GostForms, PrivateKeysInEveryEncoding) {
    SKIP_WITHOUT_ENGINE();
    const struct {
        const char* name;
        const char* set;
    } keys[] = {{"gost2001", "1.2.643.2.2.35.1"},
                {"gost256t", "1.2.643.7.1.2.1.1.1"},
                {"gost512", "1.2.643.7.1.2.1.2.1"}};
    for (const auto& [name, set] : keys) {
        CertificateOf(name);
        const AnyKey pair = PrivateKey(name);
        const ByteView k = pair.Gost()->privateKey.View();
        const std::string_view order = gost::FindCurveRow(set)->q;
        const Bytes masked = Masked(k, order, 1);
        const Bytes zero(k.size());
        Bytes q;
        {
            BIGNUM* number = nullptr;
            BN_hex2bn(&number, std::string(order).c_str());
            q.resize(k.size());
            BN_bn2lebinpad(number, q.data(), static_cast<int>(q.size()));
            BN_free(number);
        }
        const auto octets = [](ByteView value) { return Element(kOctetString, value); };
        const struct {
            const char* form;
            Bytes content;
            bool read;
        } rows[] = {
            {"bare number", Copy(k), true},
            {"OCTET STRING", octets(k), true},
            {"INTEGER", BigEndianInteger(k), true},
            {"masked", masked, true},
            {"masked twice, OCTET STRING", octets(Masked(k, order, 2)), true},
            {"masked, with the public key",
             Element(kSequence, {octets(masked), octets(pair.Gost()->publicKey)}), true},
            {"one octet short", Copy(k.first(k.size() - 1)), false},
            {"a half mask", Bytes(masked.begin(), masked.end() - 1), false},
            {"zero", zero, false},
            {"a mask of zero", octets(Bytes(2 * k.size())), false},
            {"the order", q, false},
            {"negative INTEGER", FromHex("0201ff"), false},
            {"INTEGER past the size", Element(0x02, Bytes(k.size() + 1, 0x11)), false},
            {"empty", {}, false},
        };
        for (const auto& row : rows) {
            const Bytes algorithm =
                Element(kSequence, {der::Oid(pair.Gost()->oid), pair.Gost()->parameters});
            const Bytes info =
                Element(kSequence, {der::Integer(0), algorithm, octets(row.content)});
            const AnyKey key = OpenKeyFile({false, Secret(info)}, {});
            EXPECT_EQ(static_cast<bool>(key), row.read) << name << ", " << row.form;
            if (key) {
                EXPECT_TRUE(key.Matches(PublicKey(name))) << name << ", " << row.form;
            }
        }
    }
}

// A number that looks like an element is a number; a 512-bit key names no digest.
TEST(GostForms, BareNumbersAndParameters) {
    for (const char* head : {"041e", "021e", "301e"}) {
        const Bytes bare = FromHex(head + std::string(60, '1'));
        const Bytes algorithm = Element(
            kSequence, {der::Oid(oid::kGostR3410_2012_256), FromHex("300906072a850302022301")});
        const Bytes info =
            Element(kSequence, {der::Integer(0), algorithm, Element(kOctetString, bare)});
        const AnyKey key = OpenKeyFile({false, Secret(info)}, {});
        ASSERT_TRUE(key) << head;
        EXPECT_EQ(Hex(key.Gost()->privateKey.View()), Hex(bare));
    }
    EXPECT_EQ(Hex(NewGostKey(oid::kGostR3410_2012_512)->parameters), "300b06092a8503070102010201");
}

}  // namespace
}  // namespace platform::testing
