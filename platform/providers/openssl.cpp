#include "platform/providers/openssl.h"

#include <openssl/err.h>

#include "platform/providers/algorithms.h"

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

int NidOf(std::string_view oid) {
    const Asn1Object object(OBJ_txt2obj(std::string(oid).c_str(), 1));
    if (!object) ERR_clear_error();
    return object ? OBJ_obj2nid(object.get()) : NID_undef;
}

std::string DottedOf(const ASN1_OBJECT* object) {
    const int length = OBJ_obj2txt(nullptr, 0, object, 1);
    if (length <= 0) ThrowCrypto(CRYPT_E_OID_FORMAT);
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    OBJ_obj2txt(text.data(), static_cast<int>(text.size()), object, 1);
    text.pop_back();
    return text;
}

std::string KeyOidOf(const EVP_PKEY* key) {
    const ASN1_OBJECT* object = OBJ_nid2obj(EVP_PKEY_get_base_id(key));
    return object == nullptr ? std::string() : DottedOf(object);
}

}  // namespace platform
