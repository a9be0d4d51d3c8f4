// The rows of messages that are read.
#include "platform/cms/decoder_schema.h"

#include "platform/der/der.h"

namespace platform {
namespace {

using der::Context;
using der::ContextConstructed;

constexpr Field kContentInfo[] = {
    {der::kOid, Shape::Keep, Piece::Type},
    {ContextConstructed(0), Shape::Body},
};

constexpr Field kMessage[] = {{der::kSequence, Shape::Enter, Piece::None, false, kContentInfo}};

// An OCTET STRING, and in PKCS #7 v1.5 any element of the content type named before it.
constexpr Field kExplicitContent[] = {{kAnyTag, Shape::Content}};

constexpr Field kEncapsulated[] = {
    {der::kOid, Shape::Keep, Piece::ContentType},
    {ContextConstructed(0), Shape::Enter, Piece::None, true, kExplicitContent},
};

constexpr Field kSigned[] = {
    {der::kInteger, Shape::Keep, Piece::Version},
    {der::kSet, Shape::KeepEach, Piece::DigestAlgorithm},
    {der::kSequence, Shape::Enter, Piece::None, false, kEncapsulated},
    {ContextConstructed(0), Shape::KeepEach, Piece::Certificate, true},
    {ContextConstructed(1), Shape::KeepEach, Piece::Crl, true},
    {der::kSet, Shape::KeepEach, Piece::Signer},
};

constexpr Field kEncrypted[] = {
    {der::kOid, Shape::Keep, Piece::ContentType},
    {der::kSequence, Shape::Keep, Piece::ContentEncryption},
    {Context(0), Shape::Content, Piece::None, true},
};

constexpr Field kEnveloped[] = {
    {der::kInteger, Shape::Keep, Piece::Version},
    {ContextConstructed(0), Shape::Discard, Piece::None, true},  // originatorInfo
    {der::kSet, Shape::KeepEach, Piece::Recipient},
    {der::kSequence, Shape::Enter, Piece::None, false, kEncrypted},
    {ContextConstructed(1), Shape::KeepEach, Piece::UnprotectedAttribute, true},
};

// RFC 5652 4.
constexpr Field kWrappedData[] = {{der::kOctetString, Shape::Content}};
constexpr Field kWrappedSigned[] = {{der::kSequence, Shape::Enter, Piece::None, false, kSigned}};
constexpr Field kWrappedEnveloped[] = {
    {der::kSequence, Shape::Enter, Piece::None, false, kEnveloped}};

}  // namespace

std::span<const Field> MessageFields() { return kMessage; }
std::span<const Field> ContentInfoFields() { return kContentInfo; }
std::span<const Field> WrappedData() { return kWrappedData; }
std::span<const Field> WrappedSigned() { return kWrappedSigned; }
std::span<const Field> WrappedEnveloped() { return kWrappedEnveloped; }

}  // namespace platform
