#include <openssl/err.h>
#include <openssl/provider.h>
#include <openssl/rand.h>

#include <algorithm>
#include <map>

#include "platform/providers/algorithms.h"
#include "platform/providers/engine.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

// Old ciphers live in a module of their own. It is loaded beside the default one, which
// stays the first choice for all that it has.
void LoadLegacy() {
    static OSSL_PROVIDER* const legacy = OSSL_PROVIDER_try_load(nullptr, "legacy", 1);
    if (legacy == nullptr) ERR_clear_error();
}

// Only ciphers in CBC mode: a stream mode has no padding, so a message opened with a
// wrong key would pass for a good one.
const EVP_CIPHER* FetchCbc(const std::string& oid) {
    EVP_CIPHER* cipher = EVP_CIPHER_fetch(nullptr, oid.c_str(), nullptr);
    if (cipher == nullptr) {
        LoadLegacy();
        cipher = EVP_CIPHER_fetch(nullptr, oid.c_str(), nullptr);
    }
    if (cipher != nullptr && EVP_CIPHER_get_mode(cipher) != EVP_CIPH_CBC_MODE) {
        EVP_CIPHER_free(cipher);
        cipher = nullptr;
    }
    ERR_clear_error();
    return cipher;
}

// GOST R 34.12 changes keys after a section whose length the CMS profile fixes.
struct GostRow {
    const char* oid;
    int ivLength;  // in the parameters
    bool namesParameterSet;
    int section;  // 0: the parameter set tells
};
constexpr GostRow kGostCiphers[] = {
    {oid::kGost28147_89, 8, true, 0},
    {oid::kMagmaCtrAcpkm, 12, false, 8 * 1024},
    {oid::kKuznyechikCtrAcpkm, 16, false, 256 * 1024},
};

// RFC 4357 and RFC 7836. The engine takes any other for its own default, which would
// open a message to nonsense.
constexpr std::string_view kGostParameterSets[] = {
    "1.2.643.2.2.31.0", "1.2.643.2.2.31.1", "1.2.643.2.2.31.2",
    "1.2.643.2.2.31.3", "1.2.643.2.2.31.4", "1.2.643.7.1.2.5.1.1",
};

const GostRow* FindGost(std::string_view oid) {
    for (const GostRow& row : kGostCiphers) {
        if (row.oid == oid) return &row;
    }
    return nullptr;
}

const EVP_CIPHER* Lookup(std::string_view oid) {
    // A short name would be fetched too; identifiers are digits and dots.
    if (oid.empty() || oid.find_first_not_of("0123456789.") != std::string_view::npos) {
        return nullptr;
    }
    if (!IsGost(oid)) return FetchCbc(std::string(oid));
    return FindGost(oid) == nullptr ? nullptr : GostCipher(oid);
}

CipherContext ContextOf(std::string_view oid, int encrypt) {
    CipherContext context(EVP_CIPHER_CTX_new());
    const EVP_CIPHER* cipher = CipherByOid(oid);
    if (!context ||
        EVP_CipherInit_ex(context.get(), cipher, nullptr, nullptr, nullptr, encrypt) != 1) {
        ThrowCrypto(NTE_FAIL);
    }
    return context;
}

void FreeSequence(ASN1_SEQUENCE_ANY* items) { sk_ASN1_TYPE_pop_free(items, ASN1_TYPE_free); }
using Asn1Sequence = std::unique_ptr<ASN1_SEQUENCE_ANY, Freer<FreeSequence>>;

bool IsIv(const ASN1_TYPE* item, int length) {
    return item->type == V_ASN1_OCTET_STRING &&
           ASN1_STRING_length(item->value.octet_string) == length;
}

bool IsParameterSet(const ASN1_TYPE* item) {
    return item->type == V_ASN1_OBJECT &&
           std::ranges::find(kGostParameterSets, DottedOf(item->value.object)) !=
               std::end(kGostParameterSets);
}

// The engine reads through null pointers when a part is missing, so the shape is checked
// before it sees the parameters (RFC 4490 4.1, RFC 9189 4.3).
bool WellFormed(const GostRow& row, ByteView der) {
    const auto items = DecodeWhole<Asn1Sequence>(&d2i_ASN1_SEQUENCE_ANY, der);
    if (!items || sk_ASN1_TYPE_num(items.get()) != (row.namesParameterSet ? 2 : 1)) return false;
    return IsIv(sk_ASN1_TYPE_value(items.get(), 0), row.ivLength) &&
           (!row.namesParameterSet || IsParameterSet(sk_ASN1_TYPE_value(items.get(), 1)));
}

// The context of a received message with its parameters in place and the key missing.
CipherContext ReceivedContext(const Algorithm& algorithm) {
    CipherContext context = ContextOf(algorithm.oid, 0);
    const GostRow* row = FindGost(algorithm.oid);
    if (row != nullptr && !WellFormed(*row, algorithm.parameters)) {
        ThrowCrypto(CRYPT_E_ASN1_CORRUPT);
    }
    const auto parameters = DecodeWhole<Asn1Type>(&d2i_ASN1_TYPE, algorithm.parameters);
    if (!parameters || EVP_CIPHER_asn1_to_param(context.get(), parameters.get()) <= 0) {
        ThrowCrypto(CRYPT_E_ASN1_CORRUPT);
    }
    return context;
}

void SetSection(EVP_CIPHER_CTX* context, std::string_view oid) {
    const GostRow* row = FindGost(oid);
    if (row == nullptr || row->section == 0) return;
    // The engine takes it after the key only.
    if (!SetGostKeySection(context, row->section)) ThrowCrypto(NTE_FAIL);
}

std::size_t KeyLengthOf(const EVP_CIPHER_CTX* context) {
    return static_cast<std::size_t>(EVP_CIPHER_CTX_get_key_length(context));
}

Bytes ParametersOf(EVP_CIPHER_CTX* context) {
    const Asn1Type parameters(ASN1_TYPE_new());
    if (!parameters || EVP_CIPHER_param_to_asn1(context, parameters.get()) <= 0) {
        ThrowCrypto(NTE_FAIL);
    }
    return EncodeWhole(&i2d_ASN1_TYPE, parameters.get());
}

}  // namespace

const EVP_CIPHER* CipherByOid(std::string_view oid) {
    // Never destroyed: OpenSSL's own clean-up at exit may run first.
    static auto* const known = new std::map<std::string, const EVP_CIPHER*, std::less<>>;
    const auto found = known->find(oid);
    if (found != known->end()) return found->second;
    const EVP_CIPHER* cipher = Lookup(oid);
    if (cipher == nullptr) ThrowCrypto(NTE_BAD_ALGID);
    known->emplace(oid, cipher);
    return cipher;
}

CipherContext StartEncryption(std::string_view oid, Algorithm& algorithm, Secret& key) {
    CipherContext context = ContextOf(oid, 1);
    Bytes content(KeyLengthOf(context.get()));
    Bytes iv(static_cast<std::size_t>(EVP_CIPHER_CTX_get_iv_length(context.get())));
    const bool ready =
        EVP_CIPHER_CTX_rand_key(context.get(), content.data()) > 0 &&
        RAND_bytes(iv.data(), static_cast<int>(iv.size())) == 1 &&
        EVP_EncryptInit_ex(context.get(), nullptr, nullptr, content.data(), iv.data()) == 1;
    key = Secret(content);
    Wipe(content);
    if (!ready) ThrowCrypto(NTE_FAIL);
    algorithm = {std::string(oid), ParametersOf(context.get())};
    SetSection(context.get(), oid);
    return context;
}

CipherContext StartDecryption(const Algorithm& algorithm, ByteView key) {
    CipherContext context = ReceivedContext(algorithm);
    if (key.size() != KeyLengthOf(context.get())) throw Error(NTE_BAD_LEN);
    if (EVP_DecryptInit_ex(context.get(), nullptr, nullptr, key.data(), nullptr) != 1) {
        ThrowCrypto(NTE_FAIL);
    }
    SetSection(context.get(), algorithm.oid);
    return context;
}

std::size_t CipherKeyLength(std::string_view oid) {
    return static_cast<std::size_t>(EVP_CIPHER_get_key_length(CipherByOid(oid)));
}

std::size_t CipherKeyLength(const Algorithm& algorithm) {
    return KeyLengthOf(ReceivedContext(algorithm).get());
}

}  // namespace platform
