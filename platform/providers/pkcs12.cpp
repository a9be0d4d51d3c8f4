// PKCS #12 files with GOST keys.
#include "platform/providers/pkcs12.h"

#include "platform/gost/derivation.h"
#include "platform/providers/algorithms.h"
#include "platform/providers/gost_ciphers.h"
#include "platform/providers/gost_key.h"
#include "platform/providers/key_file.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

using Pbes2 = std::unique_ptr<PBE2PARAM, Freer<PBE2PARAM_free>>;
using Pbkdf2 = std::unique_ptr<PBKDF2PARAM, Freer<PBKDF2PARAM_free>>;
using Certificate = std::unique_ptr<X509, Freer<X509_free>>;
using File = std::unique_ptr<PKCS12, Freer<PKCS12_free>>;

constexpr const char* kPbes2 = "1.2.840.113549.1.5.13";
constexpr const char* kPbkdf2 = "1.2.840.113549.1.5.12";
constexpr const char* kHmac94 = "1.2.643.2.2.10";
constexpr const char* kHmac256 = "1.2.643.7.1.1.4.1";
constexpr const char* kHmac512 = "1.2.643.7.1.1.4.2";
// A stranger's file must not keep the process busy for hours.
constexpr long kMostIterations = 10'000'000;

void FreeSafes(STACK_OF(PKCS7) * safes) { sk_PKCS7_pop_free(safes, PKCS7_free); }
void FreeBags(STACK_OF(PKCS12_SAFEBAG) * bags) {
    sk_PKCS12_SAFEBAG_pop_free(bags, PKCS12_SAFEBAG_free);
}
using Safes = std::unique_ptr<STACK_OF(PKCS7), Freer<FreeSafes>>;
using Bags = std::unique_ptr<STACK_OF(PKCS12_SAFEBAG), Freer<FreeBags>>;

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
    return count > 0 && count <= kMostIterations ? static_cast<std::uint32_t>(count) : 0;
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

Secret Decrypt(const Algorithm& cipher, ByteView key, ByteView encrypted) {
    const CipherContext context = StartDecryption(cipher, key);
    Bytes plain(encrypted.size() + Cipher::kSlack);
    std::size_t first = 0;
    std::size_t last = 0;
    const bool good = context->Update(encrypted, plain.data(), first) &&
                      context->Finish(plain.data() + first, last);
    Secret secret(ByteView(plain).first(good ? first + last : 0));
    Wipe(plain);
    return secret;
}

// The code of RFC 9548, 3: the last 32 of 96 octets that PBKDF2 makes of the password.
bool GostMacFits(PKCS12* file, const Secret& password, std::string_view digestOid) {
    const ASN1_OCTET_STRING* code = nullptr;
    const ASN1_OCTET_STRING* salt = nullptr;
    const ASN1_INTEGER* count = nullptr;
    PKCS12_get0_mac(&code, nullptr, &salt, &count, file);
    const std::uint32_t iterations = count == nullptr ? 1 : CountOf(count);
    const auto pfx = DecodeItem<Pfx>(ASN1_ITEM_rptr(Pfx), EncodeWhole<PKCS12>(&i2d_PKCS12, file));
    if (iterations == 0 || !pfx || PKCS7_type_is_data(pfx->safe) == 0) return false;
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

bool UsesGost(const X509_ALGOR* algorithm) {
    const auto parameters = DecodeWhole<Pbes2>(&d2i_PBE2PARAM, ParametersOf(algorithm));
    ERR_clear_error();
    return DottedOf(algorithm->algorithm) == kPbes2 && parameters &&
           IsGostCipher(DottedOf(parameters->encryption->algorithm));
}

PrivateKeyInfo DecryptKey(const X509_SIG* sealed, const Secret& password) {
    const X509_ALGOR* algorithm = nullptr;
    const ASN1_OCTET_STRING* encrypted = nullptr;
    X509_SIG_get0(sealed, &algorithm, &encrypted);
    if (UsesGost(algorithm)) {
        const Secret plain = DecryptGostPbes2(algorithm, ViewOf(encrypted), password);
        return DecodeWhole<PrivateKeyInfo>(&d2i_PKCS8_PRIV_KEY_INFO, plain.View());
    }
    const std::string_view text = password.Text();
    return PrivateKeyInfo(PKCS8_decrypt(sealed, text.data(), static_cast<int>(text.size())));
}

Bags DecryptBags(PKCS7* safe, const Secret& password) {
    const PKCS7_ENC_CONTENT* content = safe->d.encrypted->enc_data;
    if (content->enc_data == nullptr) return nullptr;
    if (!UsesGost(content->algorithm)) {
        const std::string_view text = password.Text();
        return Bags(PKCS12_unpack_p7encdata(safe, text.data(), static_cast<int>(text.size())));
    }
    const Secret plain = DecryptGostPbes2(content->algorithm, ViewOf(content->enc_data), password);
    const unsigned char* at = plain.View().data();
    return Bags(reinterpret_cast<STACK_OF(PKCS12_SAFEBAG)*>(ASN1_item_d2i(
        nullptr, &at, static_cast<long>(plain.View().size()), ASN1_ITEM_rptr(PKCS12_SAFEBAGS))));
}

Bags BagsOf(PKCS7* safe, const Secret& password) {
    if (PKCS7_type_is_data(safe) != 0) return Bags(PKCS12_unpack_p7data(safe));
    if (PKCS7_type_is_encrypted(safe) != 0) return DecryptBags(safe, password);
    return nullptr;
}

void TakeBag(const PKCS12_SAFEBAG* bag, const Secret& password, Pkcs12Bags& bags) {
    const int type = PKCS12_SAFEBAG_get_nid(bag);
    if (type == NID_certBag) {
        if (const Certificate certificate{PKCS12_SAFEBAG_get1_cert(bag)}) {
            bags.certificates.push_back(EncodeWhole<X509>(&i2d_X509, certificate.get()));
        }
    } else if (!bags.key && type == NID_keyBag) {
        bags.key = KeyFromInfo(PKCS12_SAFEBAG_get0_p8inf(bag));
    } else if (!bags.key && type == NID_pkcs8ShroudedKeyBag) {
        const PrivateKeyInfo info = DecryptKey(PKCS12_SAFEBAG_get0_pkcs8(bag), password);
        if (info) bags.key = KeyFromInfo(info.get());
    }
}

void Require(bool good) {
    if (!good) ThrowCrypto(NTE_FAIL);
}

using BagStack = STACK_OF(PKCS12_SAFEBAG) *;

// Both bags carry the name and the number that tie them together.
void Label(PKCS12_SAFEBAG* bag, const std::string& name, ByteView id) {
    Require(bag != nullptr &&
            PKCS12_add_localkeyid(bag, const_cast<unsigned char*>(id.data()),
                                  static_cast<int>(id.size())) == 1 &&
            PKCS12_add_friendlyname_utf8(bag, name.c_str(), static_cast<int>(name.size())) == 1);
}

// What PKCS12_create does, which takes OpenSSL's keys alone.
File MakeGostFile(const GostKey& key, X509* certificate, const std::string& name,
                  const char* password) {
    constexpr int kIterations = PKCS12_DEFAULT_ITER;
    Digest digest("1.3.14.3.2.26");
    digest.Update(EncodeWhole<X509>(&i2d_X509, certificate));
    const Bytes id = digest.Value();
    BagStack certificates = nullptr;
    BagStack keys = nullptr;
    STACK_OF(PKCS7)* safes = nullptr;
    PKCS12_SAFEBAG* certificateBag = PKCS12_add_cert(&certificates, certificate);
    const Bags certificatesHolder(certificates);
    Label(certificateBag, name, id);
    const PrivateKeyInfo info = EncodeGostPrivateKey(key);
    PKCS12_SAFEBAG* keyBag = PKCS12_SAFEBAG_create_pkcs8_encrypt(
        NID_aes_256_cbc, password, -1, nullptr, 0, kIterations, info.get());
    Require(keyBag != nullptr);
    keys = sk_PKCS12_SAFEBAG_new_null();
    const Bags keysHolder(keys);
    Require(keys != nullptr && sk_PKCS12_SAFEBAG_push(keys, keyBag) > 0);
    Label(keyBag, name, id);
    const bool packed =
        PKCS12_add_safe(&safes, certificates, NID_aes_256_cbc, kIterations, password) == 1 &&
        PKCS12_add_safe(&safes, keys, -1, 0, nullptr) == 1;
    const Safes safesHolder(safes);
    Require(packed);
    File file(PKCS12_add_safes(safes, 0));
    Require(file &&
            PKCS12_set_mac(file.get(), password, -1, nullptr, 0, kIterations, EVP_sha256()) == 1);
    return file;
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

bool CheckPkcs12Mac(PKCS12* file, const Secret& password) {
    if (PKCS12_mac_present(file) == 0) return true;
    const X509_ALGOR* algorithm = nullptr;
    PKCS12_get0_mac(nullptr, &algorithm, nullptr, nullptr, file);
    const std::string digest = DottedOf(algorithm->algorithm);
    if (IsGost(digest)) return GostMacFits(file, password, digest);
    const std::string_view text = password.Text();
    const bool good = PKCS12_verify_mac(file, text.data(), static_cast<int>(text.size())) == 1 ||
                      (text.empty() && PKCS12_verify_mac(file, nullptr, 0) == 1);
    ERR_clear_error();
    return good;
}

bool ReadPkcs12Bags(PKCS12* file, const Secret& password, Pkcs12Bags& bags) {
    const Safes safes(CheckPkcs12Mac(file, password) ? PKCS12_unpack_authsafes(file) : nullptr);
    for (int i = 0; safes && i < sk_PKCS7_num(safes.get()); ++i) {
        const Bags list = BagsOf(sk_PKCS7_value(safes.get(), i), password);
        for (int j = 0; list && j < sk_PKCS12_SAFEBAG_num(list.get()); ++j) {
            TakeBag(sk_PKCS12_SAFEBAG_value(list.get(), j), password, bags);
        }
    }
    ERR_clear_error();
    return static_cast<bool>(bags.key);
}

Bytes EncodePkcs12(const AnyKey& key, ByteView certificate, const std::string& name,
                   const Secret& password) {
    const auto parsed = DecodeWhole<Certificate>(&d2i_X509, certificate);
    Require(static_cast<bool>(parsed));
    Bytes text = Copy(password.View());
    text.push_back(0);
    const Secret terminated{ByteView(text)};
    Wipe(text);
    const char* pass = terminated.Text().data();
    const File file = key.Gost() != nullptr
                          ? MakeGostFile(*key.Gost(), parsed.get(), name, pass)
                          : File(PKCS12_create(pass, name.c_str(), key.Native(), parsed.get(),
                                               nullptr, NID_aes_256_cbc, NID_aes_256_cbc, 0, 0, 0));
    Require(static_cast<bool>(file));
    return EncodeWhole<PKCS12>(&i2d_PKCS12, file.get());
}

}  // namespace platform
