// What GOST does in PKCS #12 files.
#include "platform/providers/pkcs12.h"

#include <limits>
#include <optional>

#include "platform/gost/derivation.h"
#include "platform/gost/stack.h"
#include "platform/providers/algorithms.h"
#include "platform/providers/gost_ciphers.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

using Pbes2 = std::unique_ptr<PBE2PARAM, Freer<PBE2PARAM_free>>;
using Pbkdf2 = std::unique_ptr<PBKDF2PARAM, Freer<PBKDF2PARAM_free>>;

constexpr const char* kHmacSha1 = "1.2.840.113549.2.7";
constexpr const char* kHmac94 = "1.2.643.2.2.10";
constexpr const char* kHmac256 = "1.2.643.7.1.1.4.1";
constexpr const char* kHmac512 = "1.2.643.7.1.1.4.2";

// PFX: OpenSSL keeps the content of its own record to itself.
struct Pfx {
    ASN1_INTEGER* version;
    PKCS7* safe;
    ASN1_TYPE* mac;
};

// clang-format off
ASN1_SEQUENCE(Pfx) = {
    ASN1_SIMPLE(Pfx, version, ASN1_INTEGER),
    ASN1_SIMPLE(Pfx, safe, PKCS7),
    ASN1_OPT(Pfx, mac, ASN1_ANY),
} static_ASN1_SEQUENCE_END(Pfx)
    // clang-format on

    // The pseudorandom functions of PBKDF2 and the digests that they are made of.
    struct PrfRow {
    const char* oid;
    const char* digestOid;
};
constexpr PrfRow kPrfs[] = {
    {kHmacSha1, oid::kSha1},
    {"1.2.840.113549.2.8", oid::kSha224},
    {"1.2.840.113549.2.9", oid::kSha256},
    {"1.2.840.113549.2.10", oid::kSha384},
    {"1.2.840.113549.2.11", oid::kSha512},
    {kHmac94, oid::kGostR3411_94},
    {kHmac256, oid::kGostR3411_2012_256},
    {kHmac512, oid::kGostR3411_2012_512},
};

const PrfRow* FindPrf(std::string_view oid) {
    for (const PrfRow& row : kPrfs) {
        if (row.oid == oid) return &row;
    }
    return nullptr;
}

// A count that a file gives; 0 when it makes no sense.
std::uint32_t CountOf(const ASN1_INTEGER* integer) {
    const long count = ASN1_INTEGER_get(integer);
    const bool sensible = count > 0 && count <= std::numeric_limits<std::int32_t>::max();
    return sensible ? static_cast<std::uint32_t>(count) : 0;
}

Secret DeriveNatively(const EVP_MD* digest, ByteView password, ByteView salt,
                      std::uint32_t iterations, std::size_t size) {
    Bytes key(size);
    const auto* text = reinterpret_cast<const char*>(password.data());
    if (PKCS5_PBKDF2_HMAC(text, static_cast<int>(password.size()), salt.data(),
                          static_cast<int>(salt.size()), static_cast<int>(iterations), digest,
                          static_cast<int>(size), key.data()) != 1) {
        ThrowCrypto(NTE_FAIL);
    }
    Secret secret{ByteView(key)};
    Wipe(key);
    return secret;
}

Secret Derive(std::string_view prf, ByteView password, ByteView salt, std::uint32_t iterations,
              std::size_t size) {
    if (prf == kHmac94) return gost::Pbkdf2(gost::Digest94(), password, salt, iterations, size);
    if (prf == kHmac256) return gost::Pbkdf2(gost::Streebog(32), password, salt, iterations, size);
    if (prf == kHmac512) return gost::Pbkdf2(gost::Streebog(64), password, salt, iterations, size);
    const EVP_MD* digest = NativeDigest(FindPrf(prf)->digestOid);
    return DeriveNatively(digest, password, salt, iterations, size);
}

// What PBES2 has in it.
struct Sealing {
    Pbkdf2 derivation;
    std::string prf;
    Algorithm cipher;
};

// Nothing for parameters that are no such thing. Throws NTE_BAD_ALGID for what is not known.
std::optional<Sealing> SealingOf(const X509_ALGOR* algorithm) {
    const auto parameters = DecodeWhole<Pbes2>(&d2i_PBE2PARAM, EncodedParametersOf(algorithm));
    if (!parameters) return std::nullopt;
    const std::string derivation = DottedOf(parameters->keyfunc->algorithm);
    if (OBJ_obj2nid(parameters->keyfunc->algorithm) != NID_id_pbkdf2) {
        throw Error(NTE_BAD_ALGID, derivation);
    }
    Sealing sealing;
    sealing.derivation =
        DecodeWhole<Pbkdf2>(&d2i_PBKDF2PARAM, EncodedParametersOf(parameters->keyfunc));
    if (!sealing.derivation) return std::nullopt;
    const X509_ALGOR* prf = sealing.derivation->prf;
    sealing.prf = prf == nullptr ? kHmacSha1 : DottedOf(prf->algorithm);
    const X509_ALGOR* cipher = parameters->encryption;
    sealing.cipher = {DottedOf(cipher->algorithm), EncodedParametersOf(cipher)};
    return sealing;
}

Secret DeriveCipherKey(const Sealing& sealing, const Secret& password) {
    const PBKDF2PARAM& derivation = *sealing.derivation;
    const std::uint32_t iterations = CountOf(derivation.iter);
    if (iterations == 0 || derivation.salt->type != V_ASN1_OCTET_STRING) return Secret();
    return Derive(sealing.prf, password.View(), ViewOf(derivation.salt->value.octet_string),
                  iterations, CipherKeyLength(sealing.cipher));
}

// A code stands behind the text (RFC 9337, 5.1.2).
Secret Decrypt(const Algorithm& cipher, ByteView key, ByteView encrypted) {
    const CipherContext context = StartDecryption(cipher, key);
    if (encrypted.size() < context->CodeSize()) return Secret();
    const ByteView code = encrypted.last(context->CodeSize());
    encrypted = encrypted.first(encrypted.size() - code.size());
    Bytes plain(encrypted.size() + Cipher::kSlack);
    std::size_t first = 0;
    std::size_t last = 0;
    const bool good = context->Update(encrypted, plain.data(), first) &&
                      context->Finish(plain.data() + first, last) &&
                      SameCode(context->Code(), code);
    Secret secret(ByteView(plain).first(good ? first + last : 0));
    Wipe(plain);
    return secret;
}

}  // namespace

Secret DecryptGostPbes2(const X509_ALGOR* algorithm, ByteView encrypted, const Secret& password) {
    const std::optional<Sealing> sealing = SealingOf(algorithm);
    if (!sealing) return Secret();
    if (FindPrf(sealing->prf) == nullptr) throw Error(NTE_BAD_ALGID, sealing->prf);
    try {
        return gost::OnWipedStack([&] {
            const Secret key = DeriveCipherKey(*sealing, password);
            return key.Empty() ? Secret() : Decrypt(sealing->cipher, key.View(), encrypted);
        });
    } catch (const Error& error) {
        if (error.Code() != static_cast<DWORD>(NTE_BAD_ALGID)) return Secret();
        throw Error(NTE_BAD_ALGID, sealing->cipher.oid);
    }
}

bool UsesGost(const X509_ALGOR* algorithm) {
    const std::string oid = DottedOf(algorithm->algorithm);
    const int nid = OBJ_obj2nid(algorithm->algorithm);
    if (nid != NID_pbes2) {
        if (EVP_PBE_find(EVP_PBE_TYPE_OUTER, nid, nullptr, nullptr, nullptr) != 1) {
            ERR_clear_error();
            throw Error(NTE_BAD_ALGID, oid);
        }
        return false;
    }
    const std::optional<Sealing> sealing = SealingOf(algorithm);
    ERR_clear_error();
    if (!sealing) return false;
    if (IsGostCipher(sealing->cipher.oid) || IsGost(sealing->prf)) return true;
    // OpenSSL has more of both than stand here.
    const int cipher = OBJ_txt2nid(sealing->cipher.oid.c_str());
    const int prf = OBJ_txt2nid(sealing->prf.c_str());
    if (EVP_get_cipherbynid(cipher) == nullptr) throw Error(NTE_BAD_ALGID, sealing->cipher.oid);
    if (EVP_PBE_find(EVP_PBE_TYPE_PRF, prf, nullptr, nullptr, nullptr) != 1) {
        ERR_clear_error();
        throw Error(NTE_BAD_ALGID, sealing->prf);
    }
    return false;
}

// The last 32 of 96 octets that PBKDF2 makes of the password.
bool GostMacFits(PKCS12* file, const Secret& password) {
    const ASN1_OCTET_STRING* code = nullptr;
    const ASN1_OCTET_STRING* salt = nullptr;
    const ASN1_INTEGER* count = nullptr;
    const X509_ALGOR* algorithm = nullptr;
    PKCS12_get0_mac(&code, &algorithm, &salt, &count, file);
    const std::string digestOid = DottedOf(algorithm->algorithm);
    const std::uint32_t iterations = count == nullptr ? 1 : CountOf(count);
    const auto pfx = DecodeItem<Pfx>(ASN1_ITEM_rptr(Pfx), EncodeWhole<PKCS12>(&i2d_PKCS12, file));
    const bool readable = pfx && PKCS7_type_is_data(pfx->safe) != 0 && pfx->safe->d.data != nullptr;
    if (iterations == 0 || !readable) return false;
    const ByteView content = ViewOf(pfx->safe->d.data);
    const auto fits = [&](const auto& digest, std::string_view prf) {
        return gost::OnWipedStack([&] {
            const Secret key = Derive(prf, password.View(), ViewOf(salt), iterations, 96);
            gost::Hmac mac(digest, key.View().last(32));
            mac.Update(content);
            return SameCode(mac.Value(), ViewOf(code));
        });
    };
    if (digestOid == oid::kGostR3411_94) return fits(gost::Digest94(), kHmac94);
    if (digestOid == oid::kGostR3411_2012_256) return fits(gost::Streebog(32), kHmac256);
    return digestOid == oid::kGostR3411_2012_512 && fits(gost::Streebog(64), kHmac512);
}

}  // namespace platform
