// The types of messages, and the rows of those that only kestrelctl reads.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "platform/cms/decoder_schema.h"

namespace kestrelctl::message {

enum class Kind : std::uint8_t {
    Unknown,
    Data,
    Signed,
    Enveloped,
    AuthEnveloped,
    Encrypted,
    Digested,
    Authenticated,
    Compressed,
    StampToken,     // signed data whose content is what a time-stamp service says
    StampResponse,  // the same in the answer of a service, or the refusal
    Certificates,   // signed data that nobody signed
};

// A type of ContentInfo, and the rows of what it wraps.
struct Shape {
    const char* oid;
    Kind kind;
    std::span<const platform::Field> wrapped;
};
// Null for a type that is not known.
const Shape* ShapeOf(std::string_view oid);

// The word for documents.
const char* NameOf(Kind kind);
// For people.
const char* KindWords(Kind kind, bool russian);

}  // namespace kestrelctl::message
