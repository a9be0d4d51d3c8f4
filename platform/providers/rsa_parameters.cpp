// Parameters of RSA-PSS and RSA-OAEP.
#include "platform/providers/rsa_parameters.h"

#include "platform/providers/algorithms.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

std::string DigestNamed(const X509_ALGOR* algorithm) {
    return algorithm == nullptr ? oid::kSha1 : DottedOf(algorithm->algorithm);
}

AlgorithmHolder NewAlgorithm() {
    AlgorithmHolder algorithm(X509_ALGOR_new());
    if (!algorithm) ThrowCrypto(NTE_NO_MEMORY);
    return algorithm;
}

AlgorithmHolder AlgorithmOf(const EVP_MD* digest) {
    AlgorithmHolder algorithm = NewAlgorithm();
    X509_ALGOR_set_md(algorithm.get(), digest);
    return algorithm;
}

AlgorithmHolder MaskOf(const EVP_MD* digest) {
    AlgorithmHolder mask = NewAlgorithm();
    const AlgorithmHolder inner = AlgorithmOf(digest);
    ASN1_STRING* packed = ASN1_item_pack(inner.get(), ASN1_ITEM_rptr(X509_ALGOR), nullptr);
    if (packed == nullptr) ThrowCrypto(NTE_NO_MEMORY);
    X509_ALGOR_set0(mask.get(), OBJ_nid2obj(NID_mgf1), V_ASN1_SEQUENCE, packed);
    return mask;
}

std::string MaskDigestNamed(const X509_ALGOR* mask) {
    if (mask == nullptr) return oid::kSha1;
    if (OBJ_obj2nid(mask->algorithm) != NID_mgf1 || mask->parameter == nullptr ||
        mask->parameter->type != V_ASN1_SEQUENCE) {
        ThrowCrypto(NTE_BAD_ALGID);
    }
    const auto digest =
        DecodeWhole<AlgorithmHolder>(&d2i_X509_ALGOR, ViewOf(mask->parameter->value.sequence));
    if (!digest) ThrowCrypto(NTE_BAD_ALGID);
    return DottedOf(digest->algorithm);
}

// pSpecified with an octet string, the only source that RFC 8017 defines.
void ApplyLabel(EVP_PKEY_CTX* context, const X509_ALGOR* source) {
    if (source == nullptr) return;
    if (OBJ_obj2nid(source->algorithm) != NID_pSpecified || source->parameter == nullptr ||
        source->parameter->type != V_ASN1_OCTET_STRING) {
        ThrowCrypto(NTE_BAD_ALGID);
    }
    const ASN1_STRING* text = source->parameter->value.octet_string;
    const int size = ASN1_STRING_length(text);
    if (size == 0) return;
    std::unique_ptr<void, Freer<FreeMemory>> label(
        OPENSSL_memdup(ASN1_STRING_get0_data(text), static_cast<std::size_t>(size)));
    if (!label || EVP_PKEY_CTX_set0_rsa_oaep_label(context, label.get(), size) <= 0) {
        ThrowCrypto(NTE_BAD_ALGID);
    }
    static_cast<void>(label.release());  // the context has it now
}

}  // namespace

void ApplyPss(EVP_PKEY_CTX* context, ByteView der, std::string_view digestOid) {
    const auto parameters = DecodeWhole<PssParameters>(&d2i_RSA_PSS_PARAMS, der);
    if (!parameters) ThrowCrypto(NTE_BAD_ALGID);
    if (DigestNamed(parameters->hashAlgorithm) != digestOid) ThrowCrypto(NTE_BAD_ALGID);
    const long salt =
        parameters->saltLength == nullptr ? 20 : ASN1_INTEGER_get(parameters->saltLength);
    const bool usualTrailer =
        parameters->trailerField == nullptr || ASN1_INTEGER_get(parameters->trailerField) == 1;
    if (salt < 0 || salt > 4096 || !usualTrailer) ThrowCrypto(NTE_BAD_ALGID);
    const EVP_MD* mask = NativeDigest(MaskDigestNamed(parameters->maskGenAlgorithm));
    if (EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_PSS_PADDING) <= 0 ||
        EVP_PKEY_CTX_set_rsa_pss_saltlen(context, static_cast<int>(salt)) <= 0 ||
        EVP_PKEY_CTX_set_rsa_mgf1_md(context, mask) <= 0) {
        ThrowCrypto(NTE_BAD_SIGNATURE);
    }
}

Bytes PssParametersFor(std::string_view digestOid) {
    // SHA-1 is the default of all three, which DER leaves out.
    if (digestOid == oid::kSha1) return {0x30, 0x00};
    const EVP_MD* digest = NativeDigest(digestOid);
    const PssParameters parameters(RSA_PSS_PARAMS_new());
    if (!parameters) ThrowCrypto(NTE_NO_MEMORY);
    parameters->hashAlgorithm = AlgorithmOf(digest).release();
    parameters->maskGenAlgorithm = MaskOf(digest).release();
    parameters->saltLength = ASN1_INTEGER_new();
    if (ASN1_INTEGER_set(parameters->saltLength, EVP_MD_get_size(digest)) != 1) {
        ThrowCrypto(NTE_NO_MEMORY);
    }
    return EncodeWhole(&i2d_RSA_PSS_PARAMS, parameters.get());
}

void UsePss(EVP_PKEY_CTX* sign, std::string_view digestOid) {
    const EVP_MD* digest = NativeDigest(digestOid);
    if (EVP_PKEY_CTX_set_rsa_padding(sign, RSA_PKCS1_PSS_PADDING) <= 0 ||
        EVP_PKEY_CTX_set_signature_md(sign, digest) <= 0 ||
        EVP_PKEY_CTX_set_rsa_mgf1_md(sign, digest) <= 0 ||
        EVP_PKEY_CTX_set_rsa_pss_saltlen(sign, EVP_MD_get_size(digest)) <= 0) {
        ThrowCrypto(NTE_BAD_ALGID);
    }
}

std::string PssDigest(ByteView der) {
    const auto parameters = DecodeWhole<PssParameters>(&d2i_RSA_PSS_PARAMS, der);
    if (!parameters) ThrowCrypto(NTE_BAD_ALGID);
    return DigestNamed(parameters->hashAlgorithm);
}

std::string PssMaskDigest(ByteView der) {
    const auto parameters = DecodeWhole<PssParameters>(&d2i_RSA_PSS_PARAMS, der);
    if (!parameters) ThrowCrypto(NTE_BAD_ALGID);
    return MaskDigestNamed(parameters->maskGenAlgorithm);
}

void ApplyOaep(EVP_PKEY_CTX* context, ByteView der) {
    static constexpr std::uint8_t empty[] = {0x30, 0x00};
    const auto parameters =
        DecodeWhole<OaepParameters>(&d2i_RSA_OAEP_PARAMS, der.empty() ? ByteView(empty) : der);
    if (!parameters) ThrowCrypto(NTE_BAD_ALGID);
    const EVP_MD* digest = NativeDigest(DigestNamed(parameters->hashFunc));
    const EVP_MD* mask = NativeDigest(MaskDigestNamed(parameters->maskGenFunc));
    if (EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_OAEP_PADDING) <= 0 ||
        EVP_PKEY_CTX_set_rsa_oaep_md(context, digest) <= 0 ||
        EVP_PKEY_CTX_set_rsa_mgf1_md(context, mask) <= 0) {
        ThrowCrypto(NTE_BAD_ALGID);
    }
    ApplyLabel(context, parameters->pSourceFunc);
}

}  // namespace platform
