// Recipients by key identifier: RFC 5652 6.2.1 has both names, and other programs write this
// one (cms-1).
#include "messages/recipient.h"

#include <algorithm>
#include <vector>

#include "messages/message_params.h"

namespace kestrel {
namespace {

std::vector<BYTE> KeyIdentifierOf(PCCERT_CONTEXT certificate) {
    constexpr DWORD kProperty = CERT_KEY_IDENTIFIER_PROP_ID;
    DWORD size = 0;
    if (!CertGetCertificateContextProperty(certificate, kProperty, nullptr, &size)) return {};
    std::vector<BYTE> identifier(size);
    if (!CertGetCertificateContextProperty(certificate, kProperty, identifier.data(), &size)) {
        return {};
    }
    return identifier;
}

// The name that stands for a key identifier where a message has no other: one attribute, with
// the serial number 0 beside it.
std::vector<BYTE> NameOf(std::vector<BYTE> identifier) {
    char oid[] = szOID_KEYID_RDN;
    CERT_RDN_ATTR attribute{
        oid, CERT_RDN_OCTET_STRING, {static_cast<DWORD>(identifier.size()), identifier.data()}};
    CERT_RDN part{1, &attribute};
    CERT_NAME_INFO name{1, &part};
    DWORD size = 0;
    if (!CryptEncodeObject(X509_ASN_ENCODING, X509_NAME, &name, nullptr, &size)) return {};
    std::vector<BYTE> encoded(size);
    if (!CryptEncodeObject(X509_ASN_ENCODING, X509_NAME, &name, encoded.data(), &size)) return {};
    encoded.resize(size);
    return encoded;
}

bool IsNamed(const CERT_INFO& recipient, const std::vector<BYTE>& name) {
    const CRYPT_INTEGER_BLOB& serial = recipient.SerialNumber;
    return std::equal(name.begin(), name.end(), recipient.Issuer.pbData,
                      recipient.Issuer.pbData + recipient.Issuer.cbData) &&
           std::all_of(serial.pbData, serial.pbData + serial.cbData,
                       [](BYTE octet) { return octet == 0; });
}

}  // namespace

bool FindRecipientByKey(HCRYPTMSG message, PCCERT_CONTEXT certificate, DWORD count, DWORD& index) {
    const std::vector<BYTE> identifier = KeyIdentifierOf(certificate);
    if (identifier.empty()) return false;
    const std::vector<BYTE> name = NameOf(identifier);
    if (name.empty()) return false;
    std::vector<BYTE> value;
    for (index = 0; index < count; ++index) {
        if (ReadParam(message, CMSG_RECIPIENT_INFO_PARAM, index, value) &&
            IsNamed(*reinterpret_cast<const CERT_INFO*>(value.data()), name)) {
            return true;
        }
    }
    return false;
}

}  // namespace kestrel
