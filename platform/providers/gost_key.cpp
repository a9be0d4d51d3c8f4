// Encodings of GOST R 34.10 keys.
#include "platform/providers/gost_key.h"

#include <algorithm>
#include <optional>

#include "platform/providers/algorithms.h"

namespace platform {
namespace {

struct KeyParameters {
    ASN1_OBJECT* set;
    ASN1_OBJECT* digestSet;
    ASN1_OBJECT* cipherSet;
};

// clang-format off
ASN1_SEQUENCE(KeyParameters) = {
    ASN1_SIMPLE(KeyParameters, set, ASN1_OBJECT),
    ASN1_OPT(KeyParameters, digestSet, ASN1_OBJECT),
    ASN1_OPT(KeyParameters, cipherSet, ASN1_OBJECT),
} static_ASN1_SEQUENCE_END(KeyParameters)
    // clang-format on

    struct KeyRow {
    const char* oid;
    std::size_t size;
    const char* set;        // of fresh keys
    const char* digestSet;  // beside it; null: absent (RFC 9215, 4.2)
};
constexpr KeyRow kKeys[] = {
    {oid::kGostR3410_2001, 32, "1.2.643.2.2.35.1", "1.2.643.2.2.30.1"},
    {oid::kGostR3410_2012_256, 32, "1.2.643.2.2.35.1", oid::kGostR3411_2012_256},
    {oid::kGostR3410_2012_512, 64, "1.2.643.7.1.2.1.2.1", nullptr},
};

const KeyRow* FindKey(std::string_view oid) {
    for (const KeyRow& row : kKeys) {
        if (row.oid == oid) return &row;
    }
    return nullptr;
}

// Null when the parameters name no set that goes with the algorithm.
const gost::Curve* CurveOf(const KeyRow& row, ByteView parameters) {
    const auto value = DecodeItem<KeyParameters>(ASN1_ITEM_rptr(KeyParameters), parameters);
    if (!value) return nullptr;
    const gost::Curve* curve = gost::Curve::Find(DottedOf(value->set));
    return curve != nullptr && curve->Size() == row.size ? curve : nullptr;
}

std::shared_ptr<GostKey> WithParameters(const X509_ALGOR* algorithm) {
    const KeyRow* row = FindKey(DottedOf(algorithm->algorithm));
    if (row == nullptr) return nullptr;
    auto key = std::make_shared<GostKey>();
    key->oid = row->oid;
    key->parameters = EncodedParametersOf(algorithm);
    key->curve = CurveOf(*row, key->parameters);
    return key;
}

Asn1Type TypeOf(ByteView der) { return DecodeWhole<Asn1Type>(&d2i_ASN1_TYPE, der); }

// The contents of the element that `der` begins with, which is cut off there; nothing when it
// begins with no element of that tag. OpenSSL's own values of keys would leave them in memory.
std::optional<ByteView> TakeElement(ByteView& der, int tag) {
    const unsigned char* at = der.data();
    long length = 0;
    int found = 0;
    int space = 0;
    const int form = ASN1_get_object(&at, &length, &found, &space, static_cast<long>(der.size()));
    const int wanted = tag == V_ASN1_SEQUENCE ? V_ASN1_CONSTRUCTED : 0;
    if (form != wanted || found != tag || space != V_ASN1_UNIVERSAL) return std::nullopt;
    const ByteView contents(at, static_cast<std::size_t>(length));
    der = der.subspan(static_cast<std::size_t>(at - der.data()) + contents.size());
    return contents;
}

// The contents of an element that fills `der`.
std::optional<ByteView> Whole(ByteView der, int tag) {
    const auto contents = TakeElement(der, tag);
    return der.empty() ? contents : std::nullopt;
}

// The number in an INTEGER, lowest octet first; empty when it is negative or longer than `size`.
Secret FromInteger(ByteView integer, std::size_t size) {
    if (integer.empty() || integer[0] >= 0x80) return Secret();
    if (integer[0] == 0) integer = integer.subspan(1);
    if (integer.size() > size) return Secret();
    Bytes octets(size);
    std::copy(integer.rbegin(), integer.rend(), octets.begin());
    Secret secret{ByteView(octets)};
    Wipe(octets);
    return secret;
}

// A masked key with its public one beside it.
std::optional<ByteView> MaskedOf(ByteView der) {
    auto pair = Whole(der, V_ASN1_SEQUENCE);
    if (!pair) return std::nullopt;
    const auto masked = TakeElement(*pair, V_ASN1_OCTET_STRING);
    return Whole(*pair, V_ASN1_OCTET_STRING) ? masked : std::nullopt;
}

// The octets of the key, parts of a masked one in a row; empty when the form is unknown. A number
// of the right length is the bare one: one in 65,536 of them looks like an element, too.
Secret KeyOctets(ByteView content, std::size_t size) {
    if (content.size() == size) return Secret(content);
    if (const auto string = Whole(content, V_ASN1_OCTET_STRING)) return Secret(*string);
    if (const auto integer = Whole(content, V_ASN1_INTEGER)) return FromInteger(*integer, size);
    if (const auto masked = MaskedOf(content)) return Secret(*masked);
    return Secret(content);
}

Bytes EncodeParameters(const KeyRow& row) {
    KeyParameters parameters{};
    const Asn1Object set = ObjectOf(row.set);
    const Asn1Object digestSet = row.digestSet == nullptr ? nullptr : ObjectOf(row.digestSet);
    parameters.set = set.get();
    parameters.digestSet = digestSet.get();
    return EncodeItem(ASN1_ITEM_rptr(KeyParameters), &parameters);
}

}  // namespace

// clang-format off
ASN1_SEQUENCE(GostPublicInfo) = {
    ASN1_SIMPLE(GostPublicInfo, algorithm, X509_ALGOR),
    ASN1_SIMPLE(GostPublicInfo, key, ASN1_BIT_STRING),
} ASN1_SEQUENCE_END(GostPublicInfo)
    // clang-format on

    SharedGostKey ReadGostPublicKey(ByteView der) {
    const auto info = DecodeItem<GostPublicInfo>(ASN1_ITEM_rptr(GostPublicInfo), der);
    return info ? ReadGostPublicKey(*info) : nullptr;
}

SharedGostKey ReadGostPublicKey(const GostPublicInfo& info) {
    const std::shared_ptr<GostKey> key = WithParameters(info.algorithm);
    if (!key) return nullptr;
    if (key->curve == nullptr) ThrowCrypto(NTE_BAD_ALGID);
    const auto point = DecodeWhole<OctetString>(&d2i_ASN1_OCTET_STRING, ViewOf(info.key));
    if (!point || !key->curve->IsPublic(ViewOf(point.get()))) ThrowCrypto(CRYPT_E_ASN1_BADTAG);
    key->publicKey = Copy(ViewOf(point.get()));
    return key;
}

// All bits count, zeros at the end too.
void SetBits(ASN1_BIT_STRING* bits, ByteView octets) {
    if (ASN1_STRING_set(bits, octets.data(), static_cast<int>(octets.size())) != 1) {
        ThrowCrypto(NTE_NO_MEMORY);
    }
    bits->flags = (bits->flags & ~7L) | ASN1_STRING_FLAG_BITS_LEFT;
}

GostPublicInfoHolder GostPublicInfoOf(const GostKey& key) {
    const ASN1_ITEM* item = ASN1_ITEM_rptr(GostPublicInfo);
    GostPublicInfoHolder info(reinterpret_cast<GostPublicInfo*>(ASN1_item_new(item)), {item});
    const OctetString point(ASN1_OCTET_STRING_new());
    if (!info || !point ||
        ASN1_OCTET_STRING_set(point.get(), key.publicKey.data(),
                              static_cast<int>(key.publicKey.size())) != 1) {
        ThrowCrypto(NTE_NO_MEMORY);
    }
    const Bytes inner = EncodeWhole<ASN1_OCTET_STRING>(&i2d_ASN1_OCTET_STRING, point.get());
    SetBits(info->key, inner);
    ASN1_OBJECT_free(info->algorithm->algorithm);
    info->algorithm->algorithm = ObjectOf(key.oid).release();
    info->algorithm->parameter = TypeOf(key.parameters).release();
    return info;
}

Bytes EncodeGostPublicKey(const GostKey& key) {
    return EncodeItem(ASN1_ITEM_rptr(GostPublicInfo), GostPublicInfoOf(key).get());
}

SharedGostKey ReadGostPrivateKey(const PKCS8_PRIV_KEY_INFO* info) {
    const X509_ALGOR* algorithm = nullptr;
    const unsigned char* content = nullptr;
    int length = 0;
    if (PKCS8_pkey_get0(nullptr, &content, &length, &algorithm, info) != 1) return nullptr;
    const std::shared_ptr<GostKey> key = WithParameters(algorithm);
    if (!key || key->curve == nullptr) return nullptr;
    try {
        const Secret octets =
            KeyOctets(ViewOf(content, static_cast<std::size_t>(length)), key->curve->Size());
        ERR_clear_error();
        key->privateKey = key->curve->Unmask(octets.View());
        key->publicKey = key->curve->PublicOf(key->privateKey.View());
    } catch (const Error&) {
        return nullptr;
    }
    return key;
}

PrivateKeyInfo EncodeGostPrivateKey(const GostKey& key) {
    PrivateKeyInfo info(PKCS8_PRIV_KEY_INFO_new());
    const ByteView octets = key.privateKey.View();
    std::unique_ptr<void, Freer<FreeMemory>> copy(OPENSSL_memdup(octets.data(), octets.size()));
    const unsigned char* at = key.parameters.data();
    std::unique_ptr<ASN1_STRING, Freer<ASN1_STRING_free>> parameters(ASN1_STRING_new());
    if (!info || !copy || !parameters ||
        ASN1_STRING_set(parameters.get(), at, static_cast<int>(key.parameters.size())) != 1 ||
        PKCS8_pkey_set0(info.get(), ObjectOf(key.oid).release(), 0, V_ASN1_SEQUENCE,
                        parameters.get(), static_cast<unsigned char*>(copy.get()),
                        static_cast<int>(octets.size())) != 1) {
        ThrowCrypto(NTE_NO_MEMORY);
    }
    (void)parameters.release();
    (void)copy.release();
    return info;
}

SharedGostKey NewGostKey(std::string_view oid) {
    const KeyRow* row = FindKey(oid);
    if (row == nullptr) throw Error(NTE_BAD_ALGID);
    auto key = std::make_shared<GostKey>();
    key->oid = row->oid;
    key->parameters = EncodeParameters(*row);
    key->curve = gost::Curve::Find(row->set);
    key->privateKey = key->curve->NewPrivate();
    key->publicKey = key->curve->PublicOf(key->privateKey.View());
    return key;
}

}  // namespace platform
