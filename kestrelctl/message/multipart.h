// The two parts of a multipart/signed entity (RFC 1847): what was signed, and the signature.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "platform/base/bytes.h"

namespace kestrelctl::message {

// Octets of a file.
struct Range {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
};

struct SignedParts {
    Range content;  // without the line break in front of the boundary
    Range signature;
};

// Faults of text around a message, the details of CRYPT_E_BAD_ENCODE.
struct TextFault {
    const char* english;
    const char* russian;
};
inline constexpr TextFault kNotTwoParts = {"a mail without exactly two whole parts",
                                           "в письме не ровно две целые части"};
inline constexpr TextFault kUnclearHeader = {
    "the header of a mail that tells no two readers the same",
    "заголовок письма, который разные программы поймут по-разному"};
inline constexpr TextFault kNoMessagePart = {"a mail of a type that holds no message",
                                             "письмо такого типа не содержит сообщения"};
inline constexpr TextFault kTextBehind = {"text behind", "за сообщением есть текст"};
inline constexpr TextFault kTextFaults[] = {kNotTwoParts, kUnclearHeader, kNoMessagePart,
                                            kTextBehind};

// Reads the file once; its parts lie from `body` on. Throws CRYPT_E_BAD_ENCODE when it has not
// exactly two parts and their end, or a line that only some readers take for a boundary, and what
// reading it throws.
SignedParts FindSignedParts(const std::string& file, const std::string& boundary,
                            std::uint64_t body);

// The part as it was signed: with the line ends of mail, whatever the file has (RFC 8551 3.1.1).
void FeedCanonical(const std::string& file, const Range& range,
                   const std::function<void(platform::ByteView)>& sink);

}  // namespace kestrelctl::message
