// A time-stamp response by OpenSSL's decoders.
#include "tests/stamps/reference.h"

#include <openssl/pkcs7.h>
#include <openssl/ts.h>
#include <openssl/x509.h>

#include <memory>

namespace stamps_tests {
namespace {

template <class T, auto Encode>
std::string Der(T* value) {
    unsigned char* bytes = nullptr;
    const int length = Encode(value, &bytes);
    const std::string der(reinterpret_cast<char*>(bytes), static_cast<std::size_t>(length));
    OPENSSL_free(bytes);
    return der;
}

template <class T, auto Decode, auto Free>
auto Parse(const std::string& der) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(der.data());
    return std::unique_ptr<T, decltype([](T* value) { Free(value); })>(
        Decode(nullptr, &bytes, static_cast<long>(der.size())));
}

std::string Text(const ASN1_STRING* value) {
    return {reinterpret_cast<const char*>(ASN1_STRING_get0_data(value)),
            static_cast<std::size_t>(ASN1_STRING_length(value))};
}

// The content bytes of an INTEGER; all of these are small enough for a one-byte length.
std::string Content(const ASN1_INTEGER* value) {
    return value == nullptr ? "" : Der<const ASN1_INTEGER, i2d_ASN1_INTEGER>(value).substr(2);
}

std::string Oid(const ASN1_OBJECT* object) {
    char text[128];
    OBJ_obj2txt(text, sizeof(text), object, 1);
    return text;
}

std::string Oid(const X509_ALGOR* algorithm) {
    const ASN1_OBJECT* object = nullptr;
    X509_ALGOR_get0(&object, nullptr, nullptr, algorithm);
    return Oid(object);
}

std::uint32_t Number(const ASN1_INTEGER* value) {
    return value == nullptr ? 0 : static_cast<std::uint32_t>(ASN1_INTEGER_get(value));
}

void ReadInfo(TS_TST_INFO* info, Reference& reference) {
    TS_MSG_IMPRINT* imprint = TS_TST_INFO_get_msg_imprint(info);
    reference.version = std::to_string(TS_TST_INFO_get_version(info));
    reference.policy = Oid(TS_TST_INFO_get_policy_id(info));
    reference.hashOid = Oid(TS_MSG_IMPRINT_get_algo(imprint));
    reference.hash = Text(TS_MSG_IMPRINT_get_msg(imprint));
    reference.serial = Content(TS_TST_INFO_get_serial(info));
    reference.genTime = Text(TS_TST_INFO_get_time(info));
    reference.ordering = TS_TST_INFO_get_ordering(info) != 0;
    reference.nonce = Content(TS_TST_INFO_get_nonce(info));
    if (GENERAL_NAME* const tsa = TS_TST_INFO_get_tsa(info)) {
        reference.tsa = Der<GENERAL_NAME, i2d_GENERAL_NAME>(tsa);
    }
    const TS_ACCURACY* const accuracy = TS_TST_INFO_get_accuracy(info);
    reference.hasAccuracy = accuracy != nullptr;
    if (accuracy == nullptr) return;
    reference.seconds = Number(TS_ACCURACY_get_seconds(accuracy));
    reference.millis = Number(TS_ACCURACY_get_millis(accuracy));
    reference.micros = Number(TS_ACCURACY_get_micros(accuracy));
}

void ReadSigner(PKCS7* token, Reference& reference) {
    PKCS7_SIGNER_INFO* const signer = sk_PKCS7_SIGNER_INFO_value(PKCS7_get_signer_info(token), 0);
    X509_NAME* const issuer = signer->issuer_and_serial->issuer;
    reference.signerVersion = Number(signer->version);
    reference.issuer = Der<X509_NAME, i2d_X509_NAME>(issuer);
    reference.signerSerial = Content(signer->issuer_and_serial->serial);
    reference.digestOid = Oid(signer->digest_alg);
    reference.signatureOid = Oid(signer->digest_enc_alg);
    reference.signature = Text(signer->enc_digest);
    for (int i = 0; i < sk_X509_ATTRIBUTE_num(signer->auth_attr); ++i) {
        X509_ATTRIBUTE* const attribute = sk_X509_ATTRIBUTE_value(signer->auth_attr, i);
        reference.attributes.emplace_back(
            Oid(X509_ATTRIBUTE_get0_object(attribute)),
            Der<ASN1_TYPE, i2d_ASN1_TYPE>(X509_ATTRIBUTE_get0_type(attribute, 0)));
    }
    STACK_OF(X509)* const certificates = token->d.sign->cert;
    for (int i = 0; i < sk_X509_num(certificates); ++i) {
        reference.certificates.push_back(Der<X509, i2d_X509>(sk_X509_value(certificates, i)));
    }
}

}  // namespace

Reference ReadResponse(const std::string& response) {
    const auto parsed = Parse<TS_RESP, d2i_TS_RESP, TS_RESP_free>(response);
    Reference reference;
    if (parsed == nullptr || TS_RESP_get_token(parsed.get()) == nullptr) return reference;
    reference.token = Der<PKCS7, i2d_PKCS7>(TS_RESP_get_token(parsed.get()));
    ReadInfo(TS_RESP_get_tst_info(parsed.get()), reference);
    ReadSigner(TS_RESP_get_token(parsed.get()), reference);
    return reference;
}

std::string WithUnsignedAttribute(const std::string& token, const std::string& oid,
                                  const std::string& text) {
    const auto parsed = Parse<PKCS7, d2i_PKCS7, PKCS7_free>(token);
    ASN1_STRING* const value = ASN1_IA5STRING_new();
    ASN1_STRING_set(value, text.data(), static_cast<int>(text.size()));
    const int type = OBJ_create(oid.c_str(), nullptr, nullptr);
    PKCS7_add_attribute(sk_PKCS7_SIGNER_INFO_value(PKCS7_get_signer_info(parsed.get()), 0), type,
                        V_ASN1_IA5STRING, value);
    return Der<PKCS7, i2d_PKCS7>(parsed.get());
}

std::string NonceOf(const std::string& request) {
    const auto parsed = Parse<TS_REQ, d2i_TS_REQ, TS_REQ_free>(request);
    return Content(TS_REQ_get_nonce(parsed.get()));
}

}  // namespace stamps_tests
