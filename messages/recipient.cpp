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

bool IsNamedBy(const CMSG_CMS_RECIPIENT_INFO& recipient, const std::vector<BYTE>& identifier) {
    if (recipient.dwRecipientChoice != CMSG_KEY_TRANS_RECIPIENT) return false;
    const CERT_ID& id = recipient.pKeyTrans->RecipientId;
    return id.dwIdChoice == CERT_ID_KEY_IDENTIFIER &&
           std::equal(identifier.begin(), identifier.end(), id.KeyId.pbData,
                      id.KeyId.pbData + id.KeyId.cbData);
}

}  // namespace

bool FindRecipientByKey(HCRYPTMSG message, PCCERT_CONTEXT certificate, DWORD count, DWORD& index) {
    const std::vector<BYTE> identifier = KeyIdentifierOf(certificate);
    if (identifier.empty()) return false;
    std::vector<BYTE> value;
    for (index = 0; index < count; ++index) {
        if (ReadParam(message, CMSG_CMS_RECIPIENT_INFO_PARAM, index, value) &&
            IsNamedBy(*reinterpret_cast<const CMSG_CMS_RECIPIENT_INFO*>(value.data()),
                      identifier)) {
            return true;
        }
    }
    return false;
}

}  // namespace kestrel
