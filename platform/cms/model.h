// The records of CMS (RFC 5652) that stay in memory: everything but the content.
// They hold DER: what arrives in BER is normalised before it gets here.
#pragma once

#include "platform/base/ground.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/bytes.h"
#include "platform/der/der.h"
#include "platform/der/values.h"
#include "platform/providers/crypto.h"

namespace platform {

// SignerIdentifier and RecipientIdentifier: either issuer and serial number or a key
// identifier.
struct KeyHolder {
    Bytes issuer;  // DER Name
    Bytes serial;  // contents octets of the INTEGER, big-endian
    Bytes keyIdentifier;
    [[nodiscard]] bool ByKeyIdentifier() const { return issuer.empty(); }
};

struct SignerInfo {
    long version = 1;
    KeyHolder signer;
    Algorithm digest;
    // Each attribute is the DER of one Attribute, in the order in which it stands.
    std::optional<std::vector<Bytes>> signedAttributes;
    Algorithm signatureAlgorithm;
    Bytes signature;
    std::vector<Bytes> unsignedAttributes;
    // As received, empty for a signer that was made here: the whole element until its
    // unsigned attributes change, and the contents octets in front of them.
    Bytes received;
    Bytes receivedFront;
};

// Everything here stands in the order of the message. What makes a message puts it into the
// order of DER; what changes one leaves received parts in their places.
struct SignedRecords {
    long version = 1;
    std::vector<Algorithm> digests;
    std::string contentType = szOID_RSA_data;
    std::vector<Bytes> certificates;  // CertificateChoices, each the DER of one element
    std::vector<Bytes> crls;          // RevocationInfoChoices, the same
    std::vector<SignerInfo> signers;
};

// One recipient: a RecipientInfo, or one of the encrypted keys of a key agreement. Other kinds
// are kept, so that indexes stay true, and match nobody.
struct RecipientInfo {
    enum class Kind { KeyTransport, KeyAgreement, Other };
    Kind kind = Kind::Other;
    long version = 0;
    KeyHolder recipient;
    Algorithm keyEncryption;
    Bytes encryptedKey;
    std::shared_ptr<const KeyAgreement> agreement;  // with its algorithm; null for other kinds
};

// The unprotected attribute with the authentication code of a content cipher: one OCTET STRING.
inline constexpr const char* kContentCodeOid = "1.2.643.7.1.0.6.1.1";

struct EnvelopedRecords {
    long version = 0;
    std::vector<RecipientInfo> recipients;
    std::string contentType = szOID_RSA_data;
    Algorithm contentEncryption;
    Bytes code;  // that the content cipher makes, if any
};

// ---- DER of single records (der_records.cpp) -----------------------------------

Bytes EncodeSignerInfo(const SignerInfo& signer);
// Throws CRYPT_E_INVALID_MSG_TYPE for kinds other than key transport.
Bytes EncodeRecipientInfo(const RecipientInfo& recipient);
// The octets that the signature covers: the attributes under the SET tag, in the order
// in which the message has them (RFC 5652 5.4).
Bytes SignedAttributesForDigest(const std::vector<Bytes>& attributes);
// SignedData version by RFC 5652 5.1, from its content type, signers and choices.
long SignedDataVersion(const SignedRecords& records);
// Puts an element in front of the first one that DER sorts behind it, so that a sorted set
// stays sorted and the elements of any other keep their order among themselves.
void InsertInOrder(std::vector<Bytes>& elements, Bytes element);
// The same for the digest algorithms of a message; one that is listed is not listed twice.
void ListDigest(std::vector<Algorithm>& digests, const Algorithm& digest);

// A whole message with definite lengths around its content, which stays where it lies: a
// content of any size is copied once, to where the message is wanted.
struct EncodedParts {
    Bytes head;
    ByteView content;
    Bytes tail;
    [[nodiscard]] std::size_t Size() const { return head.size() + content.size() + tail.size(); }
    [[nodiscard]] Bytes Joined() const;
};
struct SignedContent {
    ByteView octets;
    std::uint8_t tag = der::kOctetString;
};
enum class Wrapping { ContentInfo, Bare };
// No content: a detached message. Both throw as CheckReadable does, with the attribute that
// is at fault as detail.
EncodedParts EncodeSignedMessage(const SignedRecords& records, std::optional<SignedContent> content,
                                 Wrapping wrapping = Wrapping::ContentInfo);
// The same unchecked, for who asks how large it will be.
EncodedParts LayOutSignedMessage(const SignedRecords& records, std::optional<SignedContent> content,
                                 Wrapping wrapping = Wrapping::ContentInfo);
EncodedParts EncodeEnvelopedMessage(const EnvelopedRecords& records, ByteView encryptedContent);

// What stands in SignedData before and behind EncapsulatedContentInfo.
Bytes EncodeSignedHead(const SignedRecords& records);
Bytes EncodeSignedTail(const SignedRecords& records);
// The same for EnvelopedData; the recipients stay in their order as well.
Bytes EncodeEnvelopedHead(const EnvelopedRecords& records);
Bytes EncodeEnvelopedTail(const EnvelopedRecords& records);

// ---- reading (parse_records.cpp). All throw CRYPT_E_ASN1_BADTAG, _CORRUPT or _EOD --

SignerInfo ParseSignerInfo(ByteView der);
// One, or of a key agreement as many as it has encrypted keys. Past kMostRecipients, which a
// message of many tiny ones would reach, throws CRYPT_E_ASN1_LARGE.
inline constexpr std::size_t kMostRecipients = std::size_t{1} << 18;
void ParseRecipientInfo(ByteView der, std::vector<RecipientInfo>& recipients);

// The authentication code, when the attribute holds one.
std::optional<Bytes> ParseContentCode(ByteView attribute);

// Attributes that stand among the signed ones or nowhere (RFC 5652 11.1 to 11.3).
bool MustBeSigned(std::string_view attribute);

// KeyHolder of a certificate record: the issuer-and-serial form.
KeyHolder HolderOf(const CERT_INFO& info);

}  // namespace platform
