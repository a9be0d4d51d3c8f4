// The shape of a message (RFC 5652 3, 5.1, 6.1; PKCS #7 v1.5 for older ones) as rows: what
// is entered, what is kept, and where the content runs.
#pragma once

#include <cstdint>
#include <span>

namespace platform {

// What a kept element is.
enum class Piece : std::uint8_t {
    None,
    Type,  // of the ContentInfo
    Version,
    DigestAlgorithm,
    ContentType,
    Certificate,
    Crl,
    Signer,
    Recipient,
    ContentEncryption,
    UnprotectedAttribute,
    ProtectedAttribute,  // by the code over content and attributes
};

enum class Shape : std::uint8_t {
    Enter,     // constructed; its fields are the row's `inner`
    Body,      // the same; its fields depend on the message's type
    Keep,      // held whole
    KeepEach,  // constructed; every element inside is held
    Discard,   // counts against the limits, then goes
    Content,   // handed on, not held; either constructed or not
};

inline constexpr std::uint8_t kAnyTag = 0;

struct Field {
    std::uint8_t tag;
    Shape shape;
    Piece piece = Piece::None;
    bool optional = false;
    std::span<const Field> inner = {};
};

std::span<const Field> MessageFields();  // the outermost SEQUENCE
std::span<const Field> ContentInfoFields();
// What the ContentInfo of each type wraps: one element.
std::span<const Field> WrappedData();
std::span<const Field> WrappedSigned();
std::span<const Field> WrappedEnveloped();

}  // namespace platform
