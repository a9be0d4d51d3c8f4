// RFC 5652 for most types, RFC 5083 for authenticated envelopes, RFC 3274 for compressed data.
#include "kestrelctl/message/shapes.h"

#include <algorithm>
#include <array>

#include "platform/base/ground.h"
#include "platform/der/der.h"

namespace kestrelctl::message {
namespace {

using platform::Field;
using platform::Piece;
using Take = platform::Shape;
using platform::der::Context;
using platform::der::ContextConstructed;
namespace der = platform::der;

constexpr Field kAnyContent[] = {{platform::kAnyTag, Take::Content}};
constexpr Field kPlainPart[] = {
    {der::kOid, Take::Keep, Piece::ContentType},
    {ContextConstructed(0), Take::Enter, Piece::None, true, kAnyContent},
};
constexpr Field kSecretPart[] = {
    {der::kOid, Take::Keep, Piece::ContentType},
    {der::kSequence, Take::Keep, Piece::ContentEncryption},
    {Context(0), Take::Content, Piece::None, true},
};

constexpr Field kVersion = {der::kInteger, Take::Keep, Piece::Version};
constexpr Field kRecipients = {der::kSet, Take::KeepEach, Piece::Recipient};
constexpr Field kEncapsulated = {der::kSequence, Take::Enter, Piece::None, false, kPlainPart};
constexpr Field kSecret = {der::kSequence, Take::Enter, Piece::None, false, kSecretPart};
constexpr Field kCode = {der::kOctetString, Take::Discard};
constexpr Field Each(unsigned tag, Piece piece) {
    return {ContextConstructed(tag), Take::KeepEach, piece, true};
}
constexpr Field kOriginatorInfo[] = {Each(0, Piece::Certificate), Each(1, Piece::Crl)};
constexpr Field kOriginator = {ContextConstructed(0), Take::Enter, Piece::None, true,
                               kOriginatorInfo};
constexpr Field Protected(unsigned tag) { return Each(tag, Piece::ProtectedAttribute); }
constexpr Field Unprotected(unsigned tag) { return Each(tag, Piece::UnprotectedAttribute); }

constexpr Field kEnveloped[] = {kVersion, kOriginator, kRecipients, kSecret, Unprotected(1)};
constexpr Field kAuthEnveloped[] = {kVersion,     kOriginator, kRecipients,   kSecret,
                                    Protected(1), kCode,       Unprotected(2)};
constexpr Field kEncrypted[] = {kVersion, kSecret, Unprotected(1)};
constexpr Field kDigested[] = {
    kVersion, {der::kSequence, Take::Keep, Piece::DigestAlgorithm}, kEncapsulated, kCode};
constexpr Field kAuthenticated[] = {
    kVersion,
    kOriginator,
    kRecipients,
    {der::kSequence, Take::Keep, Piece::ContentEncryption},  // of the authentication code
    {ContextConstructed(1), Take::Keep, Piece::DigestAlgorithm, true},
    kEncapsulated,
    Protected(2),
    kCode,
    Unprotected(3)};
constexpr Field kCompressed[] = {
    kVersion, {der::kSequence, Take::Keep, Piece::ContentEncryption}, kEncapsulated};

template <std::size_t Count>
constexpr std::array<Field, 1> Wrapped(const Field (&fields)[Count]) {
    return {{{der::kSequence, Take::Enter, Piece::None, false, fields}}};
}
constexpr auto kWrappedEnveloped = Wrapped(kEnveloped);
constexpr auto kWrappedAuthEnveloped = Wrapped(kAuthEnveloped);
constexpr auto kWrappedEncrypted = Wrapped(kEncrypted);
constexpr auto kWrappedDigested = Wrapped(kDigested);
constexpr auto kWrappedAuthenticated = Wrapped(kAuthenticated);
constexpr auto kWrappedCompressed = Wrapped(kCompressed);

}  // namespace

const Shape* ShapeOf(std::string_view oid) {
    static const Shape kShapes[] = {
        {szOID_RSA_data, Kind::Data, platform::WrappedData()},
        {szOID_RSA_signedData, Kind::Signed, platform::WrappedSigned()},
        {szOID_RSA_envelopedData, Kind::Enveloped, kWrappedEnveloped},
        {"1.2.840.113549.1.7.5", Kind::Digested, kWrappedDigested},
        {"1.2.840.113549.1.7.6", Kind::Encrypted, kWrappedEncrypted},
        {"1.2.840.113549.1.9.16.1.2", Kind::Authenticated, kWrappedAuthenticated},
        {"1.2.840.113549.1.9.16.1.9", Kind::Compressed, kWrappedCompressed},
        {"1.2.840.113549.1.9.16.1.23", Kind::AuthEnveloped, kWrappedAuthEnveloped},
    };
    const auto* row = std::ranges::find(kShapes, oid, &Shape::oid);
    return row == std::end(kShapes) ? nullptr : row;
}

const char* NameOf(Kind kind) {
    constexpr const char* kNames[] = {"unknown",
                                      "data",
                                      "signed",
                                      "enveloped",
                                      "authenticated-enveloped",
                                      "encrypted",
                                      "digested",
                                      "authenticated",
                                      "compressed",
                                      "time-stamp-token",
                                      "time-stamp-response",
                                      "certificates"};
    return kNames[static_cast<std::size_t>(kind)];
}

const char* KindWords(Kind kind, bool russian) {
    constexpr const char* kWords[][2] = {
        {"unknown", "неизвестный вид"},
        {"data", "данные"},
        {"signed message", "подписанное сообщение"},
        {"encrypted for recipients", "зашифровано для получателей"},
        {"encrypted for recipients, with a code", "зашифровано для получателей, с имитовставкой"},
        {"encrypted with a shared key", "зашифровано на общем ключе"},
        {"data with its digest", "данные с хэш-значением"},
        {"data with an authentication code", "данные с имитовставкой"},
        {"compressed data", "сжатые данные"},
        {"time stamp", "штамп времени"},
        {"answer of a time-stamp service", "ответ службы штампов времени"},
        {"certificates", "сертификаты"}};
    return kWords[static_cast<std::size_t>(kind)][russian ? 1 : 0];
}

}  // namespace kestrelctl::message
