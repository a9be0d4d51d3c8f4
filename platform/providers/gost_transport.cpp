// Key transports of GOST keys.
#include "platform/providers/gost_transport.h"

#include <openssl/rand.h>

#include <array>

#include "platform/gost/block.h"
#include "platform/gost/cipher89.h"
#include "platform/gost/derivation.h"
#include "platform/providers/algorithms.h"

namespace platform {
namespace {

struct KeyInfo {
    ASN1_OCTET_STRING* encryptedKey;
    ASN1_OCTET_STRING* checkValue;
};
struct AgreementInfo {
    ASN1_OBJECT* parameterSet;
    GostPublicInfo* ephemeralKey;
    ASN1_OCTET_STRING* keyMaterial;
};
struct KeyTransport {
    KeyInfo* keyInfo;
    AgreementInfo* agreement;
};
struct ExportedKey {
    ASN1_OCTET_STRING* exported;
    GostPublicInfo* ephemeralKey;
    ASN1_OCTET_STRING* keyMaterial;
};

// clang-format off
ASN1_SEQUENCE(KeyInfo) = {
    ASN1_SIMPLE(KeyInfo, encryptedKey, ASN1_OCTET_STRING),
    ASN1_SIMPLE(KeyInfo, checkValue, ASN1_OCTET_STRING),
} static_ASN1_SEQUENCE_END(KeyInfo)

ASN1_SEQUENCE(AgreementInfo) = {
    ASN1_SIMPLE(AgreementInfo, parameterSet, ASN1_OBJECT),
    ASN1_IMP_OPT(AgreementInfo, ephemeralKey, GostPublicInfo, 0),
    ASN1_SIMPLE(AgreementInfo, keyMaterial, ASN1_OCTET_STRING),
} static_ASN1_SEQUENCE_END(AgreementInfo)

ASN1_SEQUENCE(KeyTransport) = {
    ASN1_SIMPLE(KeyTransport, keyInfo, KeyInfo),
    ASN1_IMP(KeyTransport, agreement, AgreementInfo, 0),
} static_ASN1_SEQUENCE_END(KeyTransport)

ASN1_SEQUENCE(ExportedKey) = {
    ASN1_SIMPLE(ExportedKey, exported, ASN1_OCTET_STRING),
    ASN1_SIMPLE(ExportedKey, ephemeralKey, GostPublicInfo),
    ASN1_OPT(ExportedKey, keyMaterial, ASN1_OCTET_STRING),
} static_ASN1_SEQUENCE_END(ExportedKey)
    // clang-format on

    template <std::size_t size>
    std::array<std::uint8_t, size> RandomOctets() {
    std::array<std::uint8_t, size> octets;
    if (RAND_bytes(octets.data(), static_cast<int>(size)) != 1) ThrowCrypto(NTE_FAIL);
    return octets;
}

template <class T>
Item<T> NewItem(const ASN1_ITEM* item) {
    Item<T> value(reinterpret_cast<T*>(ASN1_item_new(item)), {item});
    if (!value) ThrowCrypto(NTE_NO_MEMORY);
    return value;
}

void Set(ASN1_OCTET_STRING* text, ByteView octets) {
    if (ASN1_OCTET_STRING_set(text, octets.data(), static_cast<int>(octets.size())) != 1) {
        ThrowCrypto(NTE_NO_MEMORY);
    }
}

// A fresh pair on the recipient's curve.
GostKey EphemeralFor(const GostKey& recipient) {
    GostKey key = recipient;
    key.privateKey = key.curve->NewPrivate();
    key.publicKey = key.curve->PublicOf(key.privateKey.View());
    return key;
}

// ---- GOST 28147-89 ----------------------------------------------------------------

gost::VkoDigest DigestFor(const GostKey& key) {
    return key.oid == oid::kGostR3410_2001 ? gost::VkoDigest::Gost94 : gost::VkoDigest::Streebog256;
}

// Receivers of 2001 keys may know none of the later parameter sets.
std::string_view CipherSetFor(const GostKey& key) {
    return key.oid == oid::kGostR3410_2001 ? gost::kCipherSetA : gost::kCipherSetZ;
}

Bytes Wrap89(const GostKey& recipient, ByteView contentKey) {
    const GostKey ephemeral = EphemeralFor(recipient);
    const auto ukm = RandomOctets<8>();
    const Secret kek = gost::Vko(*recipient.curve, DigestFor(recipient),
                                 ephemeral.privateKey.View(), recipient.publicKey, ukm);
    const std::string_view set = CipherSetFor(recipient);
    const gost::WrappedKey wrapped = gost::WrapKey89(
        gost::Wrap89::Diversified, *gost::FindSubstitution(set), kek.View(), ukm, contentKey);
    const auto transport = NewItem<KeyTransport>(ASN1_ITEM_rptr(KeyTransport));
    Set(transport->keyInfo->encryptedKey, wrapped.encrypted);
    Set(transport->keyInfo->checkValue, wrapped.mac);
    transport->agreement->parameterSet = ObjectOf(set).release();
    transport->agreement->ephemeralKey = GostPublicInfoOf(ephemeral).release();
    Set(transport->agreement->keyMaterial, ukm);
    return EncodeItem(ASN1_ITEM_rptr(KeyTransport), transport.get());
}

bool HasLength(const ASN1_OCTET_STRING* text, std::size_t length) {
    return ViewOf(text).size() == length;
}

Secret Unwrap89(const GostKey& key, ByteView der) {
    const auto transport = DecodeItem<KeyTransport>(ASN1_ITEM_rptr(KeyTransport), der);
    if (!transport) throw Error(NTE_BAD_DATA);
    const KeyInfo& info = *transport->keyInfo;
    const AgreementInfo& agreement = *transport->agreement;
    return Open89(gost::Wrap89::Diversified, DottedOf(agreement.parameterSet), key,
                  *PeerOf(key, agreement.ephemeralKey), ViewOf(agreement.keyMaterial),
                  {info.encryptedKey, info.checkValue});
}

// ---- GOST R 34.12 -----------------------------------------------------------------

struct Wrap15 {
    const char* oid;
    const char* cipherOid;
    const char* codedCipherOid;
    std::unique_ptr<gost::BlockCipher> (*cipher)(ByteView key);
};
constexpr Wrap15 kWraps[] = {
    {oid::kMagmaWrap, oid::kMagmaCtrAcpkm, oid::kMagmaCtrAcpkmOmac, &gost::NewMagma},
    {oid::kKuznyechikWrap, oid::kKuznyechikCtrAcpkm, oid::kKuznyechikCtrAcpkmOmac,
     &gost::NewKuznyechik},
};

const Wrap15* FindWrap(std::string_view oid) {
    for (const Wrap15& wrap : kWraps) {
        if (wrap.oid == oid) return &wrap;
    }
    return nullptr;
}

const Wrap15* WrapForCipher(std::string_view cipherOid) {
    for (const Wrap15& wrap : kWraps) {
        if (wrap.cipherOid == cipherOid || wrap.codedCipherOid == cipherOid) return &wrap;
    }
    return nullptr;
}

// The two keys of KExp15 and its IV, from one agreement (RFC 9189, 8.2.1).
struct Export {
    Secret keys;
    Bytes iv;
    std::unique_ptr<gost::BlockCipher> cipher;

    Export(const Wrap15& wrap, const gost::Curve& curve, ByteView privateKey, ByteView publicKey,
           ByteView ukm)
        : keys(gost::Keg(curve, privateKey, publicKey, ukm)), cipher(wrap.cipher(CipherKey())) {
        iv = Copy(ukm.subspan(24, cipher->Size() / 2));
    }
    [[nodiscard]] ByteView MacKey() const { return keys.View().first(32); }
    [[nodiscard]] ByteView CipherKey() const { return keys.View().last(32); }
};

Bytes WrapWith(const Wrap15& wrap, const GostKey& recipient, ByteView contentKey) {
    const GostKey ephemeral = EphemeralFor(recipient);
    const auto ukm = RandomOctets<32>();
    const Export keys(wrap, *recipient.curve, ephemeral.privateKey.View(), recipient.publicKey,
                      ukm);
    const auto exported = NewItem<ExportedKey>(ASN1_ITEM_rptr(ExportedKey));
    Set(exported->exported,
        gost::WrapKey15(*keys.cipher, keys.MacKey(), keys.CipherKey(), keys.iv, contentKey));
    ASN1_item_free(reinterpret_cast<ASN1_VALUE*>(exported->ephemeralKey),
                   ASN1_ITEM_rptr(GostPublicInfo));
    exported->ephemeralKey = GostPublicInfoOf(ephemeral).release();
    exported->keyMaterial = ASN1_OCTET_STRING_new();
    if (exported->keyMaterial == nullptr) ThrowCrypto(NTE_NO_MEMORY);
    Set(exported->keyMaterial, ukm);
    return EncodeItem(ASN1_ITEM_rptr(ExportedKey), exported.get());
}

Secret UnwrapWith(const Wrap15& wrap, const GostKey& key, ByteView der) {
    const auto exported = DecodeItem<ExportedKey>(ASN1_ITEM_rptr(ExportedKey), der);
    if (!exported || exported->keyMaterial == nullptr) throw Error(NTE_BAD_DATA);
    return Open15(wrap.oid, key, *PeerOf(key, exported->ephemeralKey),
                  ViewOf(exported->keyMaterial), ViewOf(exported->exported));
}

}  // namespace

Algorithm GostTransportFor(const GostKey& recipient, std::string_view cipherOid) {
    const Wrap15* wrap = WrapForCipher(cipherOid);
    if (wrap == nullptr) return {recipient.oid, recipient.parameters};
    if (recipient.oid == oid::kGostR3410_2001) throw Error(NTE_BAD_ALGID);
    // SEQUENCE { the agreement that goes with the key }: 1.2.643.7.1.1.6.1 or .2.
    const std::uint8_t last = recipient.oid == oid::kGostR3410_2012_256 ? 1 : 2;
    return {wrap->oid, {0x30, 0x0A, 0x06, 0x08, 0x2A, 0x85, 0x03, 0x07, 0x01, 0x01, 0x06, last}};
}

Bytes WrapGostKey(const GostKey& recipient, std::string_view cipherOid, ByteView contentKey) {
    const Wrap15* wrap = WrapForCipher(cipherOid);
    if (contentKey.size() != 32) throw Error(NTE_BAD_LEN);
    return wrap != nullptr ? WrapWith(*wrap, recipient, contentKey) : Wrap89(recipient, contentKey);
}

Secret UnwrapGostKey(const GostKey& key, const Algorithm& keyEncryption, ByteView wrapped) {
    const Wrap15* wrap = FindWrap(keyEncryption.oid);
    // KEG is defined for keys of 2012.
    const bool fits =
        wrap != nullptr ? key.oid != oid::kGostR3410_2001 : keyEncryption.oid == key.oid;
    if (!fits) throw Error(NTE_BAD_ALGID, keyEncryption.oid);
    return wrap != nullptr ? UnwrapWith(*wrap, key, wrapped) : Unwrap89(key, wrapped);
}

SharedGostKey PeerOf(const GostKey& key, const GostPublicInfo* info) {
    SharedGostKey peer;
    try {
        if (info != nullptr) peer = ReadGostPublicKey(*info);
    } catch (const Error&) {
        peer = nullptr;
    }
    if (!peer || peer->curve != key.curve) throw Error(NTE_BAD_DATA);
    return peer;
}

Secret Open89(gost::Wrap89 form, std::string_view set, const GostKey& key, const GostKey& peer,
              ByteView ukm, const Sealed89& sealed) {
    const gost::Substitution* substitution = gost::FindSubstitution(set);
    if (substitution == nullptr || !HasLength(sealed.encrypted, 32) || !HasLength(sealed.mac, 4) ||
        ukm.size() != 8) {
        throw Error(NTE_BAD_DATA);
    }
    const Secret kek =
        gost::Vko(*key.curve, DigestFor(key), key.privateKey.View(), peer.publicKey, ukm);
    auto contentKey = gost::UnwrapKey89(form, *substitution, kek.View(), ukm,
                                        ViewOf(sealed.encrypted), ViewOf(sealed.mac));
    if (!contentKey) throw Error(NTE_BAD_DATA);
    return *std::move(contentKey);
}

bool IsWrap15(std::string_view oid) { return FindWrap(oid) != nullptr; }

Secret Open15(std::string_view wrapOid, const GostKey& key, const GostKey& peer, ByteView ukm,
              ByteView wrapped) {
    if (ukm.size() != 32) throw Error(NTE_BAD_DATA);
    const Export keys(*FindWrap(wrapOid), *key.curve, key.privateKey.View(), peer.publicKey, ukm);
    if (wrapped.size() != 32 + keys.cipher->Size()) throw Error(NTE_BAD_DATA);
    auto contentKey =
        gost::UnwrapKey15(*keys.cipher, keys.MacKey(), keys.CipherKey(), keys.iv, wrapped);
    if (!contentKey) throw Error(NTE_BAD_DATA);
    return *std::move(contentKey);
}

}  // namespace platform
