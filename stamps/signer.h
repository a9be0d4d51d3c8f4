// Who signed a token: the attributes by which it names a certificate (RFC 2634, RFC 5035,
// RFC 5126), and the search for it.
#pragma once

#include <windows.h>

#include <optional>
#include <span>
#include <string_view>

#include "stamps/cert_id.h"
#include "stamps/stamp.h"

namespace Ferroline::PKI {

using ASN1::COtherCertID;
using Attributes = std::span<const CRYPT_ATTRIBUTE>;

// Null without such an attribute. Throws ERROR_BAD_FORMAT as a result when there are two, or it
// has other than one value.
[[nodiscard]] const CRYPT_ATTRIBUTE* FindAttribute(Attributes attributes, std::string_view oid);

// The first identifier of each attribute. Throw CRYPT_E_ASN1_INTERNAL for a value that does not
// decode or names nobody.
[[nodiscard]] std::optional<COtherCertID> ReadSigningCertificate(Attributes attributes);
[[nodiscard]] std::optional<COtherCertID> ReadSigningCertificateV2(Attributes attributes);
[[nodiscard]] std::optional<COtherCertID> ReadOtherSigningCertificate(Attributes attributes);

// The one that counts. Throws CRYPT_E_NOT_FOUND without any, and ERROR_BAD_FORMAT as a result
// where the third form stands without the second or beside both others.
[[nodiscard]] COtherCertID ChooseCertId(Attributes attributes);

// Throws the platform's error for a hash that it does not know.
[[nodiscard]] bool MatchesSignerHash(const COtherCertID& id, PCCERT_CONTEXT certificate);
// Whether there is an attribute, and all that are there name the certificate.
[[nodiscard]] bool CheckSigningCertificateAttrs(Attributes attributes, PCCERT_CONTEXT certificate);

// Both find the signer among the stamp's certificates, then in the user's store "AddressBook",
// and put a copy of it into the stamp. 0, CRYPT_E_NOT_FOUND, or another failure as a result.
[[nodiscard]] HRESULT FindStampSigner(CStamp& stamp);
[[nodiscard]] HRESULT FindStampSignerById(CStamp& stamp);

// Whether the content type attribute says what the token holds, a TSTInfo.
[[nodiscard]] bool CheckContentType(HCRYPTMSG message);

// A certificate into the stamp's store.
[[nodiscard]] HRESULT AddCertificate(const ATL2::CStoreSet& store, const CBlob& encoded);
// The certificates that the token brings in its unsigned attributes (RFC 5126 6.3.3).
[[nodiscard]] HRESULT CollectCertValues(CStamp& stamp);

}  // namespace Ferroline::PKI
