// The table of strengths.
#include "kestrelctl/message/strength.h"

#include <algorithm>
#include <map>
#include <tuple>

#include "platform/base/error.h"
#include "platform/certs/compare.h"
#include "platform/certs/signature.h"
#include "platform/der/der.h"
#include "platform/providers/algorithms.h"

namespace kestrelctl::message {
namespace {

using platform::Ticks;
namespace der = platform::der;
namespace oid = platform::oid;

// What the platform does not compute has a name all the same: such messages are shown.
constexpr struct {
    const char* oid;
    const char* name;
} kNames[] = {
    {"1.2.840.113549.2.2", "MD2"},
    {"1.2.840.113549.2.4", "MD4"},
    {"1.2.840.113549.1.1.4", "MD5 with RSA"},
    {"1.2.840.113549.1.1.5", "SHA-1 with RSA"},
    {"1.2.840.113549.1.1.11", "SHA-256 with RSA"},
    {"1.2.840.113549.1.1.12", "SHA-384 with RSA"},
    {"1.2.840.113549.1.1.13", "SHA-512 with RSA"},
    {"1.2.840.113549.1.1.14", "SHA-224 with RSA"},
    {oid::kRsa, "RSA"},
    {oid::kRsaOaep, "RSA, OAEP"},
    {oid::kRsaPss, "RSA, PSS"},
    {oid::kEc, "elliptic curve"},
    {"1.2.840.10045.4.1", "SHA-1 with ECDSA"},
    {"1.2.840.10045.4.3.1", "SHA-224 with ECDSA"},
    {"1.2.840.10045.4.3.2", "SHA-256 with ECDSA"},
    {"1.2.840.10045.4.3.3", "SHA-384 with ECDSA"},
    {"1.2.840.10045.4.3.4", "SHA-512 with ECDSA"},
    {"1.3.101.112", "Ed25519"},
    {oid::kGostR3410_2001, "GOST R 34.10-2001"},
    {oid::kGostR3410_2012_256, "GOST R 34.10-2012, 256 bit"},
    {oid::kGostR3410_2012_512, "GOST R 34.10-2012, 512 bit"},
    {"1.2.643.2.2.3", "GOST R 34.11-94 with GOST R 34.10-2001"},
    {"1.2.643.7.1.1.3.2", "GOST R 34.11-2012 with GOST R 34.10-2012, 256 bit"},
    {"1.2.643.7.1.1.3.3", "GOST R 34.11-2012 with GOST R 34.10-2012, 512 bit"},
    {"2.16.840.1.101.3.4.1.6", "AES-128-GCM"},
    {"2.16.840.1.101.3.4.1.26", "AES-192-GCM"},
    {"2.16.840.1.101.3.4.1.46", "AES-256-GCM"},
    {"1.2.840.113549.3.2", "RC2-CBC"},
    {"1.3.14.3.2.7", "DES-CBC"},
    {"2.16.840.1.101.3.4.1.5", "AES-128 key wrap"},
    {"2.16.840.1.101.3.4.1.25", "AES-192 key wrap"},
    {"2.16.840.1.101.3.4.1.45", "AES-256 key wrap"},
    {"1.2.840.113549.1.9.16.3.6", "3DES key wrap"},
    {"1.3.133.16.840.63.0.2", "ECDH, SHA-1"},
    {"1.3.132.1.11.0", "ECDH, SHA-224"},
    {"1.3.132.1.11.1", "ECDH, SHA-256"},
    {"1.3.132.1.11.2", "ECDH, SHA-384"},
    {"1.3.132.1.11.3", "ECDH, SHA-512"},
    {"1.2.840.113549.1.9.16.3.5", "ephemeral-static DH"},
    {"1.2.840.113549.1.9.16.3.19", "ECDH, HKDF with SHA-256"},
    {"1.2.840.10045.3.1.7", "P-256"},
    {"1.3.132.0.34", "P-384"},
    {"1.3.132.0.35", "P-521"},
    {"1.3.101.110", "X25519"},
    {"1.3.101.111", "X448"},
    {"1.2.840.113549.1.5.12", "PBKDF2"},
    {"1.2.840.113549.1.9.16.13.3", "key encapsulation"},
    {"1.2.840.113549.1.9.16.3.8", "zlib"},
    {"1.2.840.113549.1.9.16.3.9", "PWRI-KEK"},
};

constexpr Ticks Year(int year) {
    // Whole days from 1601 with the leap years between.
    const int past = year - 1601;
    const int days = past * 365 + past / 4 - past / 100 + past / 400;
    return static_cast<Ticks>(days) * 86'400 * platform::kTicksPerSecond;
}
constexpr Ticks kAlways = 0;

// Digests whose collisions can be made, and keys that can be broken, from the first day of a
// year on: NIST SP 800-131A for SHA-1, RSA and curves; GOST R 34.10-2001 and 34.11-94 may not
// sign after 2019.
constexpr struct {
    const char* oid;
    Ticks since;
    const char* english;
    const char* russian;
} kDigests[] = {
    {"1.2.840.113549.2.2", kAlways, "MD2", "MD2"},
    {"1.2.840.113549.2.4", kAlways, "MD4", "MD4"},
    {oid::kMd5, kAlways, "MD5", "MD5"},
    {oid::kSha1, Year(2014), "SHA-1, since 2014", "SHA-1, с 2014 года"},
    {oid::kRipemd160, Year(2014), "RIPEMD-160, since 2014", "RIPEMD-160, с 2014 года"},
    {oid::kGostR3411_94, Year(2020), "GOST R 34.11-94, since 2020", "ГОСТ Р 34.11-94, с 2020 года"},
};
constexpr struct {
    const char* oid;
    unsigned long below;  // bits
    Ticks since;
    const char* english;
    const char* russian;
} kKeys[] = {
    {oid::kRsa, 1024, kAlways, "RSA below 1024 bits", "RSA короче 1024 бит"},
    {oid::kRsaPss, 1024, kAlways, "RSA below 1024 bits", "RSA короче 1024 бит"},
    {oid::kRsa, 2048, Year(2014), "RSA below 2048 bits, since 2014",
     "RSA короче 2048 бит, с 2014 года"},
    {oid::kRsaPss, 2048, Year(2014), "RSA below 2048 bits, since 2014",
     "RSA короче 2048 бит, с 2014 года"},
    {oid::kEc, 224, Year(2014), "curves below 224 bits, since 2014",
     "кривые короче 224 бит, с 2014 года"},
    {oid::kGostR3410_2001, 512, Year(2020), "GOST R 34.10-2001, since 2020",
     "ГОСТ Р 34.10-2001, с 2020 года"},
};

// With 1 every value is its own signature; an even one belongs to no key pair (RFC 8017 3.1).
bool IsOpen(const CERT_PUBLIC_KEY_INFO& info) {
    const std::string_view kind = info.Algorithm.pszObjId;
    if (kind != oid::kRsa && kind != oid::kRsaPss) return false;
    der::Cursor key = der::Inside(platform::ViewOf(info.PublicKey), der::kSequence);
    key.Expect(der::kInteger);
    const platform::ByteView exponent = key.Expect(der::kInteger).contents;
    const bool negative = !exponent.empty() && exponent.front() >= 0x80;
    const bool one = exponent.size() == 1 && exponent.front() == 1;
    return exponent.empty() || negative || one || exponent.back() % 2 == 0;
}

std::optional<Detail> WeaknessOfMask(std::string_view algorithm, platform::ByteView parameters,
                                     Ticks time) {
    const auto why = WeaknessOfDigest(platform::MaskDigestUnder(algorithm, parameters), time);
    return why ? std::optional(why->Of("MGF1")) : why;
}

}  // namespace

std::string AlgorithmName(std::string_view wanted) {
    const auto* own =
        std::ranges::find_if(kNames, [&](const auto& row) { return row.oid == wanted; });
    if (own != std::end(kNames)) return own->name;
    const auto* row = platform::FindAlgorithm(wanted, 0);
    return row == nullptr ? std::string() : row->longName;
}

// Many files have one signer, and OpenSSL takes its time to decode a key.
KeyFacts KeyOf(const CERT_PUBLIC_KEY_INFO& info) {
    constexpr std::size_t kMostKept = 1'000;
    static std::map<std::tuple<std::string, platform::Bytes, platform::Bytes>, KeyFacts> kept;
    const std::tuple key{
        std::string(info.Algorithm.pszObjId),
        platform::Bytes(info.Algorithm.Parameters.pbData,
                        info.Algorithm.Parameters.pbData + info.Algorithm.Parameters.cbData),
        platform::Bytes(info.PublicKey.pbData, info.PublicKey.pbData + info.PublicKey.cbData)};
    if (const auto known = kept.find(key); known != kept.end()) return known->second;
    if (kept.size() >= kMostKept) kept.clear();
    KeyFacts facts{info.Algorithm.pszObjId, 0};
    try {
        facts.open = IsOpen(info);
        facts.bits = platform::PublicKeyFromInfo(info).Bits();
    } catch (const platform::Error&) {  // of another kind, or damaged: not known
    }
    return kept[key] = facts;
}

std::optional<Detail> WeaknessOfDigest(std::string_view wanted, Ticks time) {
    for (const auto& row : kDigests) {
        if (row.oid == wanted && time >= row.since) return Detail(row.english, row.russian);
    }
    return std::nullopt;
}

std::optional<Detail> WeaknessOfKey(const KeyFacts& key, Ticks time) {
    if (key.open)
        return Detail("RSA with the exponent 1, or an even one", "RSA с показателем 1 или чётным");
    for (const auto& row : kKeys) {
        if (row.oid == key.oid && key.bits < row.below && time >= row.since)
            return Detail(row.english, row.russian);
    }
    return std::nullopt;
}

std::optional<Detail> WeaknessOfSignature(const platform::Algorithm& digest,
                                          const platform::Algorithm& signature, Ticks time) {
    const auto why = WeaknessOfDigest(digest.oid, time);
    return why ? why : WeaknessOfMask(signature.oid, signature.parameters, time);
}

std::optional<Detail> WeaknessOfIssue(const platform::Certificate& certificate, Ticks time) {
    const CRYPT_ALGORITHM_IDENTIFIER& signature = certificate.Info().SignatureAlgorithm;
    const auto why = WeaknessOfDigest(platform::DigestUnder(signature), time);
    return why ? why
               : WeaknessOfMask(signature.pszObjId, platform::ViewOf(signature.Parameters), time);
}

}  // namespace kestrelctl::message
