// The header of a mail entity (RFC 5322 2.2, RFC 2045): what tells which octets people see.
#pragma once

#include <string>
#include <string_view>

namespace kestrelctl::message {

// In small letters, but for the boundary; empty: not told.
struct MailHeader {
    std::string type;  // "multipart/signed"
    std::string boundary;
    std::string encoding;  // "base64"
};

// Octets up to the empty line and with it; npos: there is none. The search begins at `from`.
std::size_t HeaderSize(std::string_view text, std::size_t from);

// Of whole lines up to the empty one. Throws CRYPT_E_BAD_ENCODE for one that two readers could
// read in two ways: lines that are no fields, fields or parameters that stand twice, comments.
MailHeader ReadMailHeader(std::string_view lines);

}  // namespace kestrelctl::message
