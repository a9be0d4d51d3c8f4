// The texts that go to and fro between a client and an authority's pages: values of forms,
// requests in armour, BASE64, and characters of the pages' code page.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

#include "enroll/com_holders.h"

namespace kestrel {

using Octets = std::vector<BYTE>;

// As browsers post it: letters, digits and "_" stay, a blank is "+", the rest "%" and two digits.
std::string EncodeFormValue(std::string_view value);

inline constexpr std::string_view kRequestArmourBegin =
    "-----BEGIN NEW CERTIFICATE REQUEST-----\r\n";
inline constexpr std::string_view kRequestArmourEnd = "-----END NEW CERTIFICATE REQUEST-----\r\n";

std::string ArmourRequest(std::string_view text);
// Without these lines and without line ends.
std::string BareRequest(std::string_view text);

// In lines of 76 columns.
std::string EncodeBytes(const Octets& bytes);
// BASE64, armoured or not, or bytes that are none.
HRESULT DecodeText(std::string_view text, Octets& bytes);

// ---- code page 1251, the pages' own ----------------------------------------------

// Every byte is a character.
std::wstring WideOfPage(std::string_view text);
// In the code page of the program, to be shown.
std::string NarrowOfPage(std::string_view text);
// False with ERROR_NO_UNICODE_TRANSLATION for characters that pages cannot hold.
bool PageOfNarrow(std::string_view text, std::string& page);

// A text for the caller, who frees it: S_OK, or E_OUTOFMEMORY and null.
HRESULT HandOut(std::wstring_view text, BSTR* out);

}  // namespace kestrel
