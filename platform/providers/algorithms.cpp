// The tables of algorithms, providers and signatures.
#include "platform/providers/algorithms.h"

#include <algorithm>
#include <array>

namespace platform {
namespace {

constexpr DWORD kHash = CRYPT_HASH_ALG_OID_GROUP_ID;
constexpr DWORD kCipher = CRYPT_ENCRYPT_ALG_OID_GROUP_ID;
constexpr DWORD kPublicKey = CRYPT_PUBKEY_ALG_OID_GROUP_ID;

// Short names fit the 20 bytes of a listing record, long ones its 40. An identifier of a
// key algorithm finds its first row: the exchange key.
constexpr AlgorithmRow kAlgorithms[] = {
    // clang-format off
    {CALG_SHA1, kHash, oid::kSha1, "SHA-1",
     "SHA-1", 160, 160, 160},
    {CALG_SHA_256, kHash, oid::kSha256, "SHA-256",
     "SHA-256", 256, 256, 256},
    {CALG_SHA_384, kHash, oid::kSha384, "SHA-384",
     "SHA-384", 384, 384, 384},
    {CALG_SHA_512, kHash, oid::kSha512, "SHA-512",
     "SHA-512", 512, 512, 512},
    {kSha224, kHash, oid::kSha224, "SHA-224",
     "SHA-224", 224, 224, 224},
    {kRipemd160, kHash, oid::kRipemd160, "RIPEMD-160",
     "RIPEMD-160", 160, 160, 160},
    {CALG_MD5, kHash, oid::kMd5, "MD5",
     "MD5", 128, 128, 128},
    {kGostR3411_94, kHash, oid::kGostR3411_94, "GOST R 34.11-94",
     "GOST R 34.11-94", 256, 256, 256},
    {kGostR3411_2012_256, kHash, oid::kGostR3411_2012_256, "GOST 34.11-2012 256",
     "GOST R 34.11-2012, 256 bit", 256, 256, 256},
    {kGostR3411_2012_512, kHash, oid::kGostR3411_2012_512, "GOST 34.11-2012 512",
     "GOST R 34.11-2012, 512 bit", 512, 512, 512},

    {CALG_AES_256, kCipher, "2.16.840.1.101.3.4.1.42", "AES-256-CBC",
     "AES-256-CBC", 256, 256, 256},
    {CALG_AES_128, kCipher, "2.16.840.1.101.3.4.1.2", "AES-128-CBC",
     "AES-128-CBC", 128, 128, 128},
    {CALG_AES_192, kCipher, "2.16.840.1.101.3.4.1.22", "AES-192-CBC",
     "AES-192-CBC", 192, 192, 192},
    {CALG_3DES, kCipher, "1.2.840.113549.3.7", "3DES-CBC",
     "Triple DES, CBC", 192, 192, 192},
    {kGost28147_89, kCipher, oid::kGost28147_89, "GOST 28147-89",
     "GOST 28147-89", 256, 256, 256},
    {kMagmaCtrAcpkm, kCipher, oid::kMagmaCtrAcpkm, "Magma CTR-ACPKM",
     "GOST R 34.12-2015 Magma, CTR-ACPKM", 256, 256, 256},
    {kKuznyechikCtrAcpkm, kCipher, oid::kKuznyechikCtrAcpkm, "Kuznyechik CTR",
     "GOST R 34.12-2015 Kuznyechik, CTR-ACPKM", 256, 256, 256},
    {kMagmaCtrAcpkmOmac, kCipher, oid::kMagmaCtrAcpkmOmac, "Magma CTR OMAC",
     "GOST 34.12-2015 Magma, CTR-ACPKM-OMAC", 256, 256, 256},
    {kKuznyechikCtrAcpkmOmac, kCipher, oid::kKuznyechikCtrAcpkmOmac, "Kuznyechik OMAC",
     "GOST 34.12 Kuznyechik, CTR-ACPKM-OMAC", 256, 256, 256},

    {CALG_RSA_KEYX, kPublicKey, oid::kRsa, "RSA_KEYX",
     "RSA key exchange", 2048, 1024, 16384},
    {CALG_RSA_SIGN, kPublicKey, oid::kRsa, "RSA_SIGN",
     "RSA signature", 2048, 1024, 16384},
    {kRsaPssSign, kPublicKey, oid::kRsaPss, "RSA_PSS",
     "RSA signature, PSS", 2048, 1024, 16384},
    {CALG_ECDSA, kPublicKey, oid::kEc, "ECDSA",
     "ECDSA signature", 256, 256, 521},
    {kGostR3410_2001Exchange, kPublicKey, oid::kGostR3410_2001, "GOST 34.10-2001 DH",
     "GOST R 34.10-2001, exchange", 256, 256, 256},
    {kGostR3410_2001Sign, kPublicKey, oid::kGostR3410_2001, "GOST R 34.10-2001",
     "GOST R 34.10-2001, signature", 256, 256, 256},
    {kGostR3410_2012_256Exchange, kPublicKey, oid::kGostR3410_2012_256, "34.10-2012 256 DH",
     "GOST R 34.10-2012, 256 bit, exchange", 256, 256, 256},
    {kGostR3410_2012_256Sign, kPublicKey, oid::kGostR3410_2012_256, "GOST 34.10-2012 256",
     "GOST R 34.10-2012, 256 bit, signature", 256, 256, 256},
    {kGostR3410_2012_512Exchange, kPublicKey, oid::kGostR3410_2012_512, "34.10-2012 512 DH",
     "GOST R 34.10-2012, 512 bit, exchange", 512, 512, 512},
    {kGostR3410_2012_512Sign, kPublicKey, oid::kGostR3410_2012_512, "GOST 34.10-2012 512",
     "GOST R 34.10-2012, 512 bit, signature", 512, 512, 512},
    // clang-format on
};

constexpr ALG_ID kRsaList[] = {CALG_SHA_256, CALG_AES_256, CALG_RSA_KEYX, CALG_RSA_SIGN, CALG_SHA1,
                               CALG_SHA_384, CALG_SHA_512, CALG_AES_128,  CALG_AES_192,  CALG_3DES,
                               kSha224,      kRipemd160,   CALG_MD5,      kRsaPssSign};
constexpr ALG_ID kEcdsaList[] = {CALG_SHA_256, CALG_ECDSA, CALG_SHA1, CALG_SHA_384, CALG_SHA_512};
constexpr ALG_ID kGost2001List[] = {kGostR3411_94, kGost28147_89, kGostR3410_2001Exchange,
                                    kGostR3410_2001Sign};
constexpr ALG_ID kGost2012_256List[] = {
    kGostR3411_2012_256,         kGost28147_89,          kMagmaCtrAcpkm,
    kMagmaCtrAcpkmOmac,          kKuznyechikCtrAcpkm,    kKuznyechikCtrAcpkmOmac,
    kGostR3410_2012_256Exchange, kGostR3410_2012_256Sign};
constexpr ALG_ID kGost2012_512List[] = {
    kGostR3411_2012_512,         kGost28147_89,          kMagmaCtrAcpkm,
    kMagmaCtrAcpkmOmac,          kKuznyechikCtrAcpkm,    kKuznyechikCtrAcpkmOmac,
    kGostR3410_2012_512Exchange, kGostR3410_2012_512Sign};

constexpr ProviderRow kProviders[] = {
    {kTypeRsa, "Kestrel RSA Provider", "RSA (Signature and Key Exchange)", oid::kRsa, CALG_RSA_SIGN,
     CALG_RSA_KEYX, kRsaList},
    {kTypeEcdsa, "Kestrel ECDSA Provider", "ECDSA (Signature)", oid::kEc, CALG_ECDSA, CALG_ECDSA,
     kEcdsaList},
    {kTypeRsaAes, "Kestrel RSA and AES Provider", "RSA and AES", oid::kRsa, CALG_RSA_SIGN,
     CALG_RSA_KEYX, kRsaList},
    {kTypeGost2001, "Kestrel GOST R 34.10-2001 Provider", "GOST R 34.10-2001", oid::kGostR3410_2001,
     kGostR3410_2001Sign, kGostR3410_2001Exchange, kGost2001List},
    {kTypeGost2012_256, "Kestrel GOST R 34.10-2012 256 bit Provider", "GOST R 34.10-2012, 256 bit",
     oid::kGostR3410_2012_256, kGostR3410_2012_256Sign, kGostR3410_2012_256Exchange,
     kGost2012_256List},
    {kTypeGost2012_512, "Kestrel GOST R 34.10-2012 512 bit Provider", "GOST R 34.10-2012, 512 bit",
     oid::kGostR3410_2012_512, kGostR3410_2012_512Sign, kGostR3410_2012_512Exchange,
     kGost2012_512List},
};

constexpr SignatureRow kSignatures[] = {
    {oid::kRsa, oid::kRsa, nullptr, Scheme::Pkcs1},
    {"1.2.840.113549.1.1.5", oid::kRsa, oid::kSha1, Scheme::Pkcs1},
    {"1.2.840.113549.1.1.14", oid::kRsa, oid::kSha224, Scheme::Pkcs1},
    {"1.2.840.113549.1.1.11", oid::kRsa, oid::kSha256, Scheme::Pkcs1},
    {"1.2.840.113549.1.1.12", oid::kRsa, oid::kSha384, Scheme::Pkcs1},
    {"1.2.840.113549.1.1.13", oid::kRsa, oid::kSha512, Scheme::Pkcs1},
    {oid::kRsaPss, oid::kRsa, nullptr, Scheme::Pss},
    {oid::kRsaPss, oid::kRsaPss, nullptr, Scheme::Pss},
    {"1.2.840.10045.4.1", oid::kEc, oid::kSha1, Scheme::Plain},
    {"1.2.840.10045.4.3.1", oid::kEc, oid::kSha224, Scheme::Plain},
    {"1.2.840.10045.4.3.2", oid::kEc, oid::kSha256, Scheme::Plain},
    {"1.2.840.10045.4.3.3", oid::kEc, oid::kSha384, Scheme::Plain},
    {"1.2.840.10045.4.3.4", oid::kEc, oid::kSha512, Scheme::Plain},
    {oid::kEc, oid::kEc, nullptr, Scheme::Plain},
    {oid::kGostR3410_2001, oid::kGostR3410_2001, oid::kGostR3411_94, Scheme::Plain},
    {"1.2.643.2.2.3", oid::kGostR3410_2001, oid::kGostR3411_94, Scheme::Plain},
    {oid::kGostR3410_2012_256, oid::kGostR3410_2012_256, oid::kGostR3411_2012_256, Scheme::Plain},
    {"1.2.643.7.1.1.3.2", oid::kGostR3410_2012_256, oid::kGostR3411_2012_256, Scheme::Plain},
    {oid::kGostR3410_2012_512, oid::kGostR3410_2012_512, oid::kGostR3411_2012_512, Scheme::Plain},
    {"1.2.643.7.1.1.3.3", oid::kGostR3410_2012_512, oid::kGostR3411_2012_512, Scheme::Plain},
};

template <class Row, std::size_t count, class Fits>
const Row* FindRow(const Row (&rows)[count], Fits fits) {
    const Row* row = std::find_if(std::begin(rows), std::end(rows), fits);
    return row == std::end(rows) ? nullptr : row;
}

CipherSetting cipherSetting = nullptr;

bool InGroup(const AlgorithmRow& row, DWORD group) { return group == 0 || row.group == group; }

}  // namespace

std::span<const AlgorithmRow> AlgorithmTable() { return kAlgorithms; }

const AlgorithmRow* FindAlgorithm(ALG_ID id, DWORD group) {
    return FindRow(kAlgorithms,
                   [&](const auto& row) { return row.id == id && InGroup(row, group); });
}

const AlgorithmRow* FindAlgorithm(std::string_view oid, DWORD group) {
    return FindRow(kAlgorithms,
                   [&](const auto& row) { return row.oid == oid && InGroup(row, group); });
}

std::span<const ProviderRow> ProviderTable() { return kProviders; }

const ProviderRow* FindProvider(DWORD type) {
    return FindRow(kProviders, [&](const auto& row) { return row.type == type; });
}

bool Serves(const ProviderRow& provider, std::string_view keyOid) {
    return provider.keyOid == (keyOid == oid::kRsaPss ? oid::kRsa : keyOid);
}

std::vector<ALG_ID> AlgorithmsInOrder(const ProviderRow& row) {
    std::vector<ALG_ID> order(row.algorithms.begin(), row.algorithms.end());
    const std::string chosen = cipherSetting == nullptr ? "" : cipherSetting();
    if (chosen.empty() || !IsGost(row.keyOid)) return order;
    const AlgorithmRow* cipher = IsGost(chosen) ? FindAlgorithm(chosen, kCipher) : nullptr;
    if (cipher == nullptr) throw Error(NTE_BAD_ALGID, chosen);
    const auto at = std::find(order.begin(), order.end(), cipher->id);
    if (at != order.end()) std::rotate(order.begin(), at, at + 1);
    return order;
}

void SetCipherSetting(CipherSetting read) { cipherSetting = read; }

bool SameFamily(DWORD first, DWORD second) {
    const ProviderRow* one = FindProvider(first);
    const ProviderRow* other = FindProvider(second);
    return one != nullptr && other != nullptr && one->keyOid == std::string_view(other->keyOid);
}

std::span<const SignatureRow> SignatureTable() { return kSignatures; }

bool IsGost(std::string_view oid) {
    return oid.starts_with("1.2.643.2.2.") || oid.starts_with("1.2.643.7.1.");
}

}  // namespace platform
