// Names (RFC 5280 4.1.2.4) as text and back.
#pragma once

#include "platform/base/ground.h"

#include <optional>
#include <string>
#include <string_view>

#include "platform/base/bytes.h"
#include "platform/base/error.h"
#include "platform/der/der.h"

namespace platform {

// CRYPT_E_INVALID_X500_STRING, with the place in the text that is wrong.
class BadNameText : public Error {
  public:
    explicit BadNameText(std::size_t at) : Error(CRYPT_E_INVALID_X500_STRING), at_(at) {}
    [[nodiscard]] std::size_t At() const { return at_; }

  private:
    std::size_t at_;
};

// `type` is a CERT_*_NAME_STR value and flags. Values that are no text, or hold control
// characters, are written as "#" and the digits of their encoding. Throws E_INVALIDARG for an
// unknown type, CRYPT_E_ASN1_BADTAG, _EOD or _CORRUPT for a name that cannot be read.
std::string NameToText(ByteView name, DWORD type);
// UTF-8 text in the form of CERT_X500_NAME_STR; of `type` only the flags count. Throws
// BadNameText, and ERROR_NO_UNICODE_TRANSLATION for octets that are no UTF-8.
Bytes TextToName(std::string_view text, DWORD type);

// The characters of a string of any type that names know; none for anything else, and for
// octets that are no text of their type.
std::optional<std::wstring> ReadNameCharacters(const der::Item& value);
// X.680 41.4: a character of PrintableString.
bool IsPrintableOctet(std::uint8_t octet);

// True for one whole element, which "#" and its digits stand for in the text of a name.
bool IsOneElement(ByteView octets);

}  // namespace platform
