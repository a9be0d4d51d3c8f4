// Failures of OpenSSL as the platform's, and identifiers as its objects and back.
#include "platform/providers/openssl.h"

namespace platform {

void ThrowCrypto(LONG code) {
    ERR_clear_error();
    throw Error(code);
}

Asn1Object ObjectOf(std::string_view oid) {
    Asn1Object object(OBJ_txt2obj(std::string(oid).c_str(), 1));
    if (!object) ThrowCrypto(CRYPT_E_OID_FORMAT);
    return object;
}

std::string DottedOf(const ASN1_OBJECT* object) {
    // Enough for nearly all; others are written once more.
    std::string text(96, '\0');
    const auto write = [&] {
        return OBJ_obj2txt(text.data(), static_cast<int>(text.size()), object, 1);
    };
    const int length = write();
    if (length <= 0) ThrowCrypto(CRYPT_E_OID_FORMAT);
    const auto size = static_cast<std::size_t>(length);
    if (size >= text.size()) {
        text.resize(size + 1);
        write();
    }
    text.resize(size);
    return text;
}

Bytes EncodedParametersOf(const X509_ALGOR* algorithm) {
    if (algorithm->parameter == nullptr) return {};
    return EncodeWhole<ASN1_TYPE>(&i2d_ASN1_TYPE, algorithm->parameter);
}

}  // namespace platform
