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
    const int length = OBJ_obj2txt(nullptr, 0, object, 1);
    if (length <= 0) ThrowCrypto(CRYPT_E_OID_FORMAT);
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    OBJ_obj2txt(text.data(), static_cast<int>(text.size()), object, 1);
    text.pop_back();
    return text;
}

}  // namespace platform
