#include "platform/providers/gost_transport.h"

#include <openssl/asn1t.h>
#include <openssl/err.h>
#include <openssl/x509.h>

#include <memory>

namespace platform {
namespace {

// The engine decodes with the same templates, so what passes here is what it will see.
struct KeyInfo {
    ASN1_OCTET_STRING* encryptedKey;
    ASN1_OCTET_STRING* checkValue;
};
struct AgreementInfo {
    ASN1_OBJECT* parameterSet;
    X509_PUBKEY* ephemeralKey;
    ASN1_OCTET_STRING* keyMaterial;
};
struct KeyTransport {
    KeyInfo* keyInfo;
    AgreementInfo* agreement;
};
struct ExportedKey {
    ASN1_OCTET_STRING* exported;
    X509_PUBKEY* ephemeralKey;
    ASN1_OCTET_STRING* keyMaterial;
};

// clang-format off
ASN1_SEQUENCE(KeyInfo) = {
    ASN1_SIMPLE(KeyInfo, encryptedKey, ASN1_OCTET_STRING),
    ASN1_SIMPLE(KeyInfo, checkValue, ASN1_OCTET_STRING),
} static_ASN1_SEQUENCE_END(KeyInfo)

ASN1_SEQUENCE(AgreementInfo) = {
    ASN1_SIMPLE(AgreementInfo, parameterSet, ASN1_OBJECT),
    ASN1_IMP_OPT(AgreementInfo, ephemeralKey, X509_PUBKEY, 0),
    ASN1_SIMPLE(AgreementInfo, keyMaterial, ASN1_OCTET_STRING),
} static_ASN1_SEQUENCE_END(AgreementInfo)

ASN1_SEQUENCE(KeyTransport) = {
    ASN1_SIMPLE(KeyTransport, keyInfo, KeyInfo),
    ASN1_IMP(KeyTransport, agreement, AgreementInfo, 0),
} static_ASN1_SEQUENCE_END(KeyTransport)

ASN1_SEQUENCE(ExportedKey) = {
    ASN1_SIMPLE(ExportedKey, exported, ASN1_OCTET_STRING),
    ASN1_SIMPLE(ExportedKey, ephemeralKey, X509_PUBKEY),
    ASN1_OPT(ExportedKey, keyMaterial, ASN1_OCTET_STRING),
} static_ASN1_SEQUENCE_END(ExportedKey)
    // clang-format on

    struct ValueDeleter {
    const ASN1_ITEM* item;
    void operator()(ASN1_VALUE* value) const { ASN1_item_free(value, item); }
};
using Value = std::unique_ptr<ASN1_VALUE, ValueDeleter>;

Value Decode(ByteView der, const ASN1_ITEM* item) {
    const unsigned char* at = der.data();
    Value value(ASN1_item_d2i(nullptr, &at, static_cast<long>(der.size()), item), {item});
    if (!value) ERR_clear_error();
    return value;
}

bool HasLength(const ASN1_OCTET_STRING* text, std::size_t length) {
    return ASN1_STRING_length(text) == static_cast<int>(length);
}

}  // namespace

bool IsGostKeyTransport(ByteView der) {
    const Value value = Decode(der, ASN1_ITEM_rptr(KeyTransport));
    if (!value) return false;
    const auto* const transport = reinterpret_cast<const KeyTransport*>(value.get());
    return HasLength(transport->keyInfo->encryptedKey, 32) &&
           HasLength(transport->keyInfo->checkValue, 4) &&
           HasLength(transport->agreement->keyMaterial, 8);
}

bool IsGostExportedKey(ByteView der, std::size_t macLength) {
    const Value value = Decode(der, ASN1_ITEM_rptr(ExportedKey));
    if (!value) return false;
    const auto* const key = reinterpret_cast<const ExportedKey*>(value.get());
    return HasLength(key->exported, 32 + macLength);
}

}  // namespace platform
