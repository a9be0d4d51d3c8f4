// Key agreements of GOST keys.
#include "platform/providers/gost_agreement.h"

#include "platform/providers/algorithms.h"
#include "platform/providers/gost_transport.h"

namespace platform {
namespace {

// GOST28147-89-KeyWrapParameters. The keying material of the message serves the wrap, too.
struct WrapParameters {
    ASN1_OBJECT* set;
    ASN1_OCTET_STRING* ukm;
};
struct EncryptedKey {
    ASN1_OCTET_STRING* encrypted;
    ASN1_OCTET_STRING* mask;
    ASN1_OCTET_STRING* mac;
};

// clang-format off
ASN1_SEQUENCE(WrapParameters) = {
    ASN1_SIMPLE(WrapParameters, set, ASN1_OBJECT),
    ASN1_OPT(WrapParameters, ukm, ASN1_OCTET_STRING),
} static_ASN1_SEQUENCE_END(WrapParameters)

ASN1_SEQUENCE(EncryptedKey) = {
    ASN1_SIMPLE(EncryptedKey, encrypted, ASN1_OCTET_STRING),
    ASN1_IMP_OPT(EncryptedKey, mask, ASN1_OCTET_STRING, 0),
    ASN1_SIMPLE(EncryptedKey, mac, ASN1_OCTET_STRING),
} static_ASN1_SEQUENCE_END(EncryptedKey)
    // clang-format on

    Algorithm AlgorithmOf(ByteView der) {
    const auto value = DecodeWhole<AlgorithmHolder>(&d2i_X509_ALGOR, der);
    if (!value) ThrowCrypto(NTE_BAD_ALGID);
    Algorithm algorithm{DottedOf(value->algorithm), {}};
    if (value->parameter != nullptr) {
        algorithm.parameters = EncodeWhole<ASN1_TYPE>(&i2d_ASN1_TYPE, value->parameter);
    }
    return algorithm;
}

// The wrap that a message names. Either the agreement is named first and the wrap is its
// parameter (RFC 5652, 6.2.2), or the other way round, as with KExp15. Throws NTE_BAD_ALGID.
Algorithm WrapOf(const GostKey& key, const Algorithm& keyEncryption) {
    const std::string_view own = key.oid == oid::kGostR3410_2001       ? oid::kAgreement2001
                                 : key.oid == oid::kGostR3410_2012_256 ? oid::kAgreement2012_256
                                                                       : oid::kAgreement2012_512;
    const Algorithm inner = AlgorithmOf(keyEncryption.parameters);
    if (keyEncryption.oid == own) return inner;
    if (IsWrap15(keyEncryption.oid) && inner.oid == own) return {keyEncryption.oid, {}};
    throw Error(NTE_BAD_ALGID, keyEncryption.oid);
}

// Parameters that are absent are those of the receiver's key (RFC 5753, 3.1.1).
SharedGostKey OriginatorOf(const GostKey& key, ByteView der) {
    const auto info = DecodeItem<GostPublicInfo>(ASN1_ITEM_rptr(GostPublicInfo), der);
    if (!info) throw Error(NTE_BAD_DATA);
    ASN1_TYPE*& parameters = info->algorithm->parameter;
    if (parameters == nullptr || parameters->type == V_ASN1_NULL) {
        ASN1_TYPE_free(parameters);
        const unsigned char* at = key.parameters.data();
        parameters = d2i_ASN1_TYPE(nullptr, &at, static_cast<long>(key.parameters.size()));
    }
    return PeerOf(key, info.get());
}

Secret OpenUnder89(const GostKey& key, const GostKey& peer, const Algorithm& wrap, ByteView ukm,
                   ByteView encryptedKey) {
    const auto parameters =
        DecodeItem<WrapParameters>(ASN1_ITEM_rptr(WrapParameters), wrap.parameters);
    const auto value = DecodeItem<EncryptedKey>(ASN1_ITEM_rptr(EncryptedKey), encryptedKey);
    const bool usable = parameters && value && value->mask == nullptr &&
                        (parameters->ukm == nullptr || Equal(ViewOf(parameters->ukm), ukm));
    if (!usable) throw Error(NTE_BAD_DATA);
    const gost::Wrap89 form =
        wrap.oid == oid::kPlainWrap89 ? gost::Wrap89::Plain : gost::Wrap89::Diversified;
    return Open89(form, DottedOf(parameters->set), key, peer, ukm, {value->encrypted, value->mac});
}

}  // namespace

Secret OpenGostAgreement(const GostKey& key, const KeyAgreement& agreement, ByteView encryptedKey) {
    const Algorithm wrap = WrapOf(key, agreement.keyEncryption);
    const bool old = wrap.oid == oid::kPlainWrap89 || wrap.oid == oid::kDiversifiedWrap89;
    // KEG is defined for keys of 2012.
    const bool fits = old || (IsWrap15(wrap.oid) && key.oid != oid::kGostR3410_2001);
    if (!fits) throw Error(NTE_BAD_ALGID, wrap.oid);
    const SharedGostKey peer = OriginatorOf(key, agreement.originatorKey);
    return old ? OpenUnder89(key, *peer, wrap, agreement.ukm, encryptedKey)
               : Open15(wrap.oid, key, *peer, agreement.ukm, encryptedKey);
}

}  // namespace platform
