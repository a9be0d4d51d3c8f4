// The algorithm and provider tables: every identifier, name and order that a listing
// shows comes from one row here.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/providers/crypto.h"

namespace platform {

// Identifiers of the GOST algorithms. The class bits are the documented ones; the number
// of GOST R 34.11-94 is known to time-stamp policies, the others are this system's own.
inline constexpr ALG_ID kGostR3411_94 = ALG_CLASS_HASH | 0x1E;
inline constexpr ALG_ID kGostR3411_2012_256 = ALG_CLASS_HASH | 0x41;
inline constexpr ALG_ID kGostR3411_2012_512 = ALG_CLASS_HASH | 0x42;
// For stamps of old: they check imprints, and sign nothing.
inline constexpr ALG_ID kRipemd160 = ALG_CLASS_HASH | 0x07;
inline constexpr ALG_ID kSha224 = ALG_CLASS_HASH | 0x43;
inline constexpr ALG_ID kGost28147_89 = ALG_CLASS_DATA_ENCRYPT | 0x641;
inline constexpr ALG_ID kMagmaCtrAcpkm = ALG_CLASS_DATA_ENCRYPT | 0x642;
inline constexpr ALG_ID kKuznyechikCtrAcpkm = ALG_CLASS_DATA_ENCRYPT | 0x643;
inline constexpr ALG_ID kRsaPssSign = ALG_CLASS_SIGNATURE | 0x44;
inline constexpr ALG_ID kMagmaCtrAcpkmOmac = ALG_CLASS_DATA_ENCRYPT | 0x644;
inline constexpr ALG_ID kKuznyechikCtrAcpkmOmac = ALG_CLASS_DATA_ENCRYPT | 0x645;
inline constexpr ALG_ID kGostR3410_2001Sign = ALG_CLASS_SIGNATURE | 0x41;
inline constexpr ALG_ID kGostR3410_2012_256Sign = ALG_CLASS_SIGNATURE | 0x42;
inline constexpr ALG_ID kGostR3410_2012_512Sign = ALG_CLASS_SIGNATURE | 0x43;
inline constexpr ALG_ID kGostR3410_2001Exchange = ALG_CLASS_KEY_EXCHANGE | 0x41;
inline constexpr ALG_ID kGostR3410_2012_256Exchange = ALG_CLASS_KEY_EXCHANGE | 0x42;
inline constexpr ALG_ID kGostR3410_2012_512Exchange = ALG_CLASS_KEY_EXCHANGE | 0x43;

inline constexpr DWORD kTypeRsa = PROV_RSA_FULL;
inline constexpr DWORD kTypeRsaAes = PROV_RSA_AES;
inline constexpr DWORD kTypeEcdsa = 16;
inline constexpr DWORD kTypeGost2001 = 75;
inline constexpr DWORD kTypeGost2012_256 = 80;
inline constexpr DWORD kTypeGost2012_512 = 81;

namespace oid {

inline constexpr const char* kRsa = "1.2.840.113549.1.1.1";
inline constexpr const char* kRsaOaep = "1.2.840.113549.1.1.7";
inline constexpr const char* kRsaPss = "1.2.840.113549.1.1.10";
inline constexpr const char* kEc = "1.2.840.10045.2.1";
inline constexpr const char* kSha1 = "1.3.14.3.2.26";
inline constexpr const char* kMd5 = "1.2.840.113549.2.5";
inline constexpr const char* kRipemd160 = "1.3.36.3.2.1";
inline constexpr const char* kSha224 = "2.16.840.1.101.3.4.2.4";
inline constexpr const char* kSha256 = "2.16.840.1.101.3.4.2.1";
inline constexpr const char* kSha384 = "2.16.840.1.101.3.4.2.2";
inline constexpr const char* kSha512 = "2.16.840.1.101.3.4.2.3";
inline constexpr const char* kGostR3410_2001 = "1.2.643.2.2.19";
inline constexpr const char* kGostR3410_2012_256 = "1.2.643.7.1.1.1.1";
inline constexpr const char* kGostR3410_2012_512 = "1.2.643.7.1.1.1.2";
inline constexpr const char* kGostR3411_94 = "1.2.643.2.2.9";
inline constexpr const char* kGostR3411_2012_256 = "1.2.643.7.1.1.2.2";
inline constexpr const char* kGostR3411_2012_512 = "1.2.643.7.1.1.2.3";
inline constexpr const char* kGost28147_89 = "1.2.643.2.2.21";
inline constexpr const char* kMagmaCtrAcpkm = "1.2.643.7.1.1.5.1.1";
inline constexpr const char* kKuznyechikCtrAcpkm = "1.2.643.7.1.1.5.2.1";
inline constexpr const char* kMagmaCtrAcpkmOmac = "1.2.643.7.1.1.5.1.2";
inline constexpr const char* kKuznyechikCtrAcpkmOmac = "1.2.643.7.1.1.5.2.2";
// Of two keys: an ephemeral one of 2001 (RFC 4490, 4.1.1), and those of 2012.
inline constexpr const char* kAgreement2001 = "1.2.643.2.2.96";
inline constexpr const char* kAgreement2012_256 = "1.2.643.7.1.1.6.1";
inline constexpr const char* kAgreement2012_512 = "1.2.643.7.1.1.6.2";
// The wraps of RFC 4357: 6.1 and 6.3.
inline constexpr const char* kPlainWrap89 = "1.2.643.2.2.13.0";
inline constexpr const char* kDiversifiedWrap89 = "1.2.643.2.2.13.1";
inline constexpr const char* kMagmaWrap = "1.2.643.7.1.1.7.1.1";
inline constexpr const char* kKuznyechikWrap = "1.2.643.7.1.1.7.2.1";

}  // namespace oid

// One provider: the default of its type.
struct ProviderRow {
    DWORD type;
    const char* name;
    const char* typeName;
    const char* keyOid;
    ALG_ID signatureKey;  // what KP_ALGID says of a key of either specification
    ALG_ID exchangeKey;
    // In the order of listings: the first hash and the first cipher are the ones that
    // new messages use.
    std::span<const ALG_ID> algorithms;
};
std::span<const ProviderRow> ProviderTable();
const ProviderRow* FindProvider(DWORD type);  // null when unknown
// Whether its containers take keys of this algorithm. Those that may sign by RSASSA-PSS alone
// (RFC 4055, 1.2) are RSA keys, too.
bool Serves(const ProviderRow& provider, std::string_view keyOid);
// The same list with the cipher first that the setting names, when the list has it. Throws
// NTE_BAD_ALGID when the setting names no cipher of GOST.
std::vector<ALG_ID> AlgorithmsInOrder(const ProviderRow& row);
// The dotted identifier of the cipher that goes first for GOST keys; empty: no choice. Settings
// are read above this floor, so what reads this one is brought from there.
using CipherSetting = std::string (*)();
void SetCipherSetting(CipherSetting read);
// Types whose providers read one another's containers.
bool SameFamily(DWORD first, DWORD second);

enum class Scheme { Pkcs1, Pss, Plain };

// A signature algorithm: the key it goes with and the digest it fixes (null: any).
struct SignatureRow {
    const char* oid;
    const char* keyOid;
    const char* digestOid;
    Scheme scheme;
};
// Several rows may name one algorithm.
std::span<const SignatureRow> SignatureTable();

bool IsGost(std::string_view oid);

}  // namespace platform
