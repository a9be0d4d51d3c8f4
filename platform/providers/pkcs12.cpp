// What GOST does in PKCS #12 files.
#include "platform/providers/pkcs12.h"

#include <limits>

#include "platform/gost/derivation.h"
#include "platform/providers/algorithms.h"
#include "platform/providers/gost_ciphers.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

using Pbes2 = std::unique_ptr<PBE2PARAM, Freer<PBE2PARAM_free>>;
using Pbkdf2 = std::unique_ptr<PBKDF2PARAM, Freer<PBKDF2PARAM_free>>;

constexpr const char* kPbes2 = "1.2.840.113549.1.5.13";
constexpr const char* kPbkdf2 = "1.2.840.113549.1.5.12";
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

    Bytes ParametersOf(const X509_ALGOR* algorithm) {
    if (algorithm->parameter == nullptr) return {};
    return EncodeWhole<ASN1_TYPE>(&i2d_ASN1_TYPE, algorithm->parameter);
}

// A count that a file gives; 0 when it makes no sense.
std::uint32_t CountOf(const ASN1_INTEGER* integer) {
    const long count = ASN1_INTEGER_get(integer);
    const bool sensible = count > 0 && count <= std::numeric_limits<std::int32_t>::max();
    return sensible ? static_cast<std::uint32_t>(count) : 0;
}

Secret Derive(std::string_view prf, ByteView password, ByteView salt, std::uint32_t iterations,
              std::size_t size) {
    if (prf == kHmac94) return gost::Pbkdf2(gost::Digest94(), password, salt, iterations, size);
    if (prf == kHmac256) return gost::Pbkdf2(gost::Streebog(32), password, salt, iterations, size);
    if (prf == kHmac512) return gost::Pbkdf2(gost::Streebog(64), password, salt, iterations, size);
    return Secret();
}

Secret DeriveCipherKey(const PBE2PARAM& parameters, const Secret& password) {
    if (DottedOf(parameters.keyfunc->algorithm) != kPbkdf2) return Secret();
    const auto derivation = DecodeWhole<Pbkdf2>(&d2i_PBKDF2PARAM, ParametersOf(parameters.keyfunc));
    if (!derivation || derivation->prf == nullptr ||
        derivation->salt->type != V_ASN1_OCTET_STRING) {
        return Secret();
    }
    const std::uint32_t iterations = CountOf(derivation->iter);
    if (iterations == 0) return Secret();
    return Derive(DottedOf(derivation->prf->algorithm), password.View(),
                  ViewOf(derivation->salt->value.octet_string), iterations, kGostKeyLength);
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
                      context->Finish(plain.data() + first, last) && Equal(context->Code(), code);
    Secret secret(ByteView(plain).first(good ? first + last : 0));
    Wipe(plain);
    return secret;
}

}  // namespace

Secret DecryptGostPbes2(const X509_ALGOR* algorithm, ByteView encrypted, const Secret& password) {
    const auto parameters = DecodeWhole<Pbes2>(&d2i_PBE2PARAM, ParametersOf(algorithm));
    if (!parameters) return Secret();
    const Secret key = DeriveCipherKey(*parameters, password);
    if (key.Empty()) return Secret();
    const X509_ALGOR* cipher = parameters->encryption;
    try {
        return Decrypt({DottedOf(cipher->algorithm), ParametersOf(cipher)}, key.View(), encrypted);
    } catch (const Error&) {
        return Secret();
    }
}

bool UsesGost(const X509_ALGOR* algorithm) {
    const auto parameters = DecodeWhole<Pbes2>(&d2i_PBE2PARAM, ParametersOf(algorithm));
    ERR_clear_error();
    return DottedOf(algorithm->algorithm) == kPbes2 && parameters &&
           IsGostCipher(DottedOf(parameters->encryption->algorithm));
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
        const Secret key = Derive(prf, password.View(), ViewOf(salt), iterations, 96);
        gost::Hmac mac(digest, key.View().last(32));
        mac.Update(content);
        return Equal(mac.Value(), ViewOf(code));
    };
    if (digestOid == oid::kGostR3411_94) return fits(gost::Digest94(), kHmac94);
    if (digestOid == oid::kGostR3411_2012_256) return fits(gost::Streebog(32), kHmac256);
    return digestOid == oid::kGostR3411_2012_512 && fits(gost::Streebog(64), kHmac512);
}

}  // namespace platform
