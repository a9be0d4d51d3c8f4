// Content ciphers of GOST and their parameters.
#include "platform/providers/gost_ciphers.h"

#include <openssl/rand.h>

#include "platform/gost/block.h"
#include "platform/gost/cipher89.h"
#include "platform/gost/derivation.h"
#include "platform/providers/algorithms.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

// GOST28147-89-Parameters, and those of GOST R 34.12, which have no set.
struct CipherParameters {
    ASN1_OCTET_STRING* iv;
    ASN1_OBJECT* set;
};

// clang-format off
ASN1_SEQUENCE(CipherParameters) = {
    ASN1_SIMPLE(CipherParameters, iv, ASN1_OCTET_STRING),
    ASN1_OPT(CipherParameters, set, ASN1_OBJECT),
} static_ASN1_SEQUENCE_END(CipherParameters)
    // clang-format on

    struct CipherRow {
    const char* oid;
    std::size_t ivLength;  // in the parameters; the second part of a longer one is for keys
    std::size_t usedOfIv;  // by the cipher itself
    std::size_t section;   // after which the key changes
    bool authenticates;    // with OMAC under a key of its own
    std::unique_ptr<gost::BlockCipher> (*cipher)(ByteView key);  // null: GOST 28147-89
};
constexpr CipherRow kCiphers[] = {
    {oid::kGost28147_89, 8, 8, 0, false, nullptr},
    {oid::kMagmaCtrAcpkm, 12, 4, 8 * 1024, false, &gost::NewMagma},
    {oid::kMagmaCtrAcpkmOmac, 12, 4, 8 * 1024, true, &gost::NewMagma},
    {oid::kKuznyechikCtrAcpkm, 16, 8, 256 * 1024, false, &gost::NewKuznyechik},
    {oid::kKuznyechikCtrAcpkmOmac, 16, 8, 256 * 1024, true, &gost::NewKuznyechik},
};

const CipherRow* FindRow(std::string_view oid) {
    for (const CipherRow& row : kCiphers) {
        if (row.oid == oid) return &row;
    }
    return nullptr;
}

// A stream has no padding: nothing is left for the end, and nothing can fail.
class GostCipher : public Cipher {
  public:
    explicit GostCipher(std::unique_ptr<gost::StreamCipher> cipher) : cipher_(std::move(cipher)) {}
    bool Update(ByteView in, std::uint8_t* out, std::size_t& written) override {
        cipher_->Turn(in.data(), out, in.size());
        written = in.size();
        return true;
    }
    bool Finish(std::uint8_t*, std::size_t& written) override {
        written = 0;
        return true;
    }

  private:
    std::unique_ptr<gost::StreamCipher> cipher_;
};

// With a code over the plain text, which the cipher then encrypts, too.
class OmacCipher : public GostCipher {
  public:
    OmacCipher(std::unique_ptr<gost::StreamCipher> cipher, std::unique_ptr<gost::BlockCipher> mac,
               bool encrypts)
        : GostCipher(std::move(cipher)),
          codeSize_(mac->Size()),
          mac_(std::move(mac)),
          encrypts_(encrypts) {}
    bool Update(ByteView in, std::uint8_t* out, std::size_t& written) override {
        if (encrypts_) mac_.Update(in);
        (void)GostCipher::Update(in, out, written);
        if (!encrypts_) mac_.Update({out, written});
        return true;
    }
    [[nodiscard]] std::size_t CodeSize() const override { return codeSize_; }
    Bytes Code() override {
        Bytes code = mac_.Value();
        std::size_t written = 0;
        (void)GostCipher::Update(code, code.data(), written);
        return code;
    }

  private:
    std::size_t codeSize_;
    gost::Omac mac_;
    bool encrypts_;
};

// A key for the cipher and one for the code, from the second part of the IV.
CipherContext StartWithOmac(const CipherRow& row, ByteView key, ByteView iv, bool encrypts) {
    const Secret keys = gost::KdfTree(key, "kdf tree", iv.subspan(row.usedOfIv), 64);
    return std::make_unique<OmacCipher>(
        std::make_unique<gost::CounterAcpkm>(row.cipher(keys.View().first(32)),
                                             iv.first(row.usedOfIv), row.section),
        row.cipher(keys.View().last(32)), encrypts);
}

// The set for tests alone is published without meshing (RFC 4357, 11.2).
constexpr std::string_view kTestSet = "1.2.643.2.2.31.0";

CipherContext Start(const CipherRow& row, ByteView key, ByteView iv, std::string_view set,
                    bool encrypts) {
    if (key.size() != kGostKeyLength) throw Error(NTE_BAD_LEN);
    if (row.authenticates) return StartWithOmac(row, key, iv, encrypts);
    std::unique_ptr<gost::StreamCipher> cipher;
    if (row.cipher == nullptr) {
        cipher = std::make_unique<gost::Feedback89>(gost::Key89(*gost::FindSubstitution(set), key),
                                                    iv, set != kTestSet, encrypts);
    } else {
        cipher = std::make_unique<gost::CounterAcpkm>(row.cipher(key), iv.first(row.usedOfIv),
                                                      row.section);
    }
    return std::make_unique<GostCipher>(std::move(cipher));
}

Bytes EncodeParameters(ByteView iv, std::string_view set) {
    const OctetString octets(ASN1_OCTET_STRING_new());
    const Asn1Object object = set.empty() ? nullptr : ObjectOf(set);
    if (!octets ||
        ASN1_OCTET_STRING_set(octets.get(), iv.data(), static_cast<int>(iv.size())) != 1) {
        ThrowCrypto(NTE_NO_MEMORY);
    }
    const CipherParameters parameters{octets.get(), object.get()};
    return EncodeItem(ASN1_ITEM_rptr(CipherParameters), &parameters);
}

// Sets of digests go by identifiers of the same family.
bool IsCipherSet(std::string_view set) {
    return !set.starts_with("1.2.643.2.2.30.") && gost::FindSubstitution(set) != nullptr;
}

}  // namespace

bool IsGostCipher(std::string_view oid) { return FindRow(oid) != nullptr; }

CipherContext StartGostEncryption(std::string_view oid, Algorithm& algorithm, Secret& key) {
    const CipherRow& row = *FindRow(oid);
    Bytes content(kGostKeyLength);
    Bytes iv(row.ivLength);
    const bool made = RAND_priv_bytes(content.data(), static_cast<int>(content.size())) == 1 &&
                      RAND_bytes(iv.data(), static_cast<int>(iv.size())) == 1;
    key = Secret(content);
    Wipe(content);
    if (!made) ThrowCrypto(NTE_FAIL);
    const std::string_view set = row.cipher == nullptr ? gost::kCipherSetZ : "";
    algorithm = {std::string(oid), EncodeParameters(iv, set)};
    return Start(row, key.View(), iv, set, true);
}

CipherContext StartGostDecryption(const Algorithm& algorithm, ByteView key) {
    const CipherRow& row = *FindRow(algorithm.oid);
    const auto parameters =
        DecodeItem<CipherParameters>(ASN1_ITEM_rptr(CipherParameters), algorithm.parameters);
    const bool shaped = parameters && ViewOf(parameters->iv).size() == row.ivLength &&
                        (parameters->set != nullptr) == (row.cipher == nullptr);
    if (!shaped) ThrowCrypto(CRYPT_E_ASN1_CORRUPT);
    const std::string set = parameters->set == nullptr ? "" : DottedOf(parameters->set);
    if (row.cipher == nullptr && !IsCipherSet(set)) throw Error(CRYPT_E_ASN1_CORRUPT);
    return Start(row, key, ViewOf(parameters->iv), set, false);
}

}  // namespace platform
