// Reading of the records in model.h. What arrives here is normalised: definite lengths
// and strings in one piece, except under implicit tags, which tell no type.
#include <algorithm>
#include <utility>

#include "platform/base/error.h"
#include "platform/cms/model.h"
#include "platform/der/ber_reader.h"
#include "platform/der/der.h"

namespace platform {
namespace {

constexpr std::uint8_t kContextConstructed = 0xA0;
constexpr std::uint8_t kClassAndForm = 0xE0;
constexpr std::uint8_t kKeyAgreement = 0xA1;

Algorithm ReadAlgorithm(der::Cursor& cursor) {
    return ParseAlgorithm(cursor.Expect(der::kSequence).whole);
}

// [0] IMPLICIT OCTET STRING in one piece, or in pieces that are octet strings.
Bytes KeyIdentifier(const der::Item& item) {
    if ((item.tag & der::kConstructed) == 0) return Copy(item.contents);
    Bytes joined;
    for (der::Cursor pieces(item.contents); !pieces.AtEnd();) {
        der::Append(joined, pieces.Expect(der::kOctetString).contents);
    }
    return joined;
}

KeyHolder ReadHolder(der::Cursor& cursor) {
    KeyHolder holder;
    if (!cursor.NextIs(der::kSequence)) {
        const bool split = cursor.NextIs(der::ContextConstructed(0));
        const der::Item item = cursor.Expect(split ? der::ContextConstructed(0) : der::Context(0));
        holder.keyIdentifier = KeyIdentifier(item);
        return holder;
    }
    der::Cursor inside(cursor.Next().contents);
    holder.issuer = Copy(inside.Expect(der::kSequence).whole);
    holder.serial = Copy(inside.Expect(der::kInteger).contents);
    if (holder.serial.empty()) throw Error(CRYPT_E_ASN1_CORRUPT);
    inside.ExpectEnd();
    return holder;
}

std::vector<Bytes> ReadAttributes(const der::Item& set) {
    std::vector<Bytes> attributes;
    for (der::Cursor cursor(set.contents); !cursor.AtEnd();) {
        attributes.push_back(Copy(cursor.Expect(der::kSequence).whole));
    }
    return attributes;
}

RecipientInfo ReadKeyTransport(der::Cursor cursor) {
    RecipientInfo recipient;
    recipient.kind = RecipientInfo::Kind::KeyTransport;
    recipient.version = cursor.SmallInteger();
    recipient.recipient = ReadHolder(cursor);
    recipient.keyEncryption = ReadAlgorithm(cursor);
    recipient.encryptedKey = Copy(cursor.Expect(der::kOctetString).contents);
    cursor.ExpectEnd();
    return recipient;
}

void Add(RecipientInfo recipient, std::vector<RecipientInfo>& recipients) {
    if (recipients.size() >= kMostRecipients) throw Error(CRYPT_E_ASN1_LARGE);
    recipients.push_back(std::move(recipient));
}

// KeyAgreeRecipientIdentifier; the date and other attributes of a key name nobody.
KeyHolder ReadAgreementHolder(der::Cursor& cursor) {
    if (cursor.NextIs(der::kSequence)) return ReadHolder(cursor);
    der::Cursor inside(cursor.Expect(der::ContextConstructed(0)).contents);
    KeyHolder holder;
    holder.keyIdentifier = Copy(inside.Expect(der::kOctetString).contents);
    return holder;
}

// OriginatorIdentifierOrKey: the key when it stands here.
Bytes ReadOriginatorKey(der::Cursor cursor) {
    if (!cursor.NextIs(der::ContextConstructed(1))) {
        cursor.Next();
        cursor.ExpectEnd();
        return {};
    }
    const ByteView contents = cursor.Next().contents;
    cursor.ExpectEnd();
    return der::Element(der::kSequence, contents);
}

void ReadKeyAgreement(der::Cursor cursor, std::vector<RecipientInfo>& recipients) {
    const long version = cursor.SmallInteger();
    KeyAgreement agreement;
    agreement.originatorKey =
        ReadOriginatorKey(der::Cursor(cursor.Expect(der::ContextConstructed(0)).contents));
    if (cursor.NextIs(der::ContextConstructed(1))) {
        der::Cursor ukm(cursor.Next().contents);
        agreement.ukm = Copy(ukm.Expect(der::kOctetString).contents);
        ukm.ExpectEnd();
    }
    agreement.keyEncryption = ReadAlgorithm(cursor);
    const auto shared = std::make_shared<const KeyAgreement>(std::move(agreement));
    for (der::Cursor keys(cursor.Expect(der::kSequence).contents); !keys.AtEnd();) {
        der::Cursor one(keys.Expect(der::kSequence).contents);
        RecipientInfo recipient;
        recipient.kind = RecipientInfo::Kind::KeyAgreement;
        recipient.version = version;
        recipient.agreement = shared;
        recipient.recipient = ReadAgreementHolder(one);
        recipient.encryptedKey = Copy(one.Expect(der::kOctetString).contents);
        one.ExpectEnd();
        Add(std::move(recipient), recipients);
    }
    cursor.ExpectEnd();
}

}  // namespace

SignerInfo ParseSignerInfo(ByteView der) {
    der::Cursor whole(der);
    const ByteView contents = whole.Expect(der::kSequence).contents;
    whole.ExpectEnd();
    der::Cursor cursor(contents);
    SignerInfo signer;
    signer.received = Copy(der);
    signer.version = cursor.SmallInteger();
    signer.signer = ReadHolder(cursor);
    signer.digest = ReadAlgorithm(cursor);
    if (cursor.NextIs(der::ContextConstructed(0))) {
        signer.signedAttributes = ReadAttributes(cursor.Next());
    }
    signer.signatureAlgorithm = ReadAlgorithm(cursor);
    const ByteView signature = cursor.Expect(der::kOctetString).contents;
    signer.signature = Copy(signature);
    signer.receivedFront.assign(contents.data(), signature.data() + signature.size());
    if (cursor.NextIs(der::ContextConstructed(1))) {
        signer.unsignedAttributes = ReadAttributes(cursor.Next());
    }
    cursor.ExpectEnd();
    return signer;
}

void ParseRecipientInfo(ByteView der, std::vector<RecipientInfo>& recipients) {
    const std::uint8_t tag = der::Cursor(der).Peek();
    if (tag == kKeyAgreement) return ReadKeyAgreement(der::Inside(der, tag), recipients);
    // Shared keys, passwords and others (RFC 5652 6.2) go by context tags.
    const bool other = (tag & kClassAndForm) == kContextConstructed;
    Add(other ? RecipientInfo{} : ReadKeyTransport(der::Inside(der, der::kSequence)), recipients);
}

// Other attributes may be anything: nobody reads them.
std::optional<Bytes> ParseContentCode(ByteView attribute) {
    der::Cursor whole(attribute);
    if (!whole.NextIs(der::kSequence)) return std::nullopt;
    der::Cursor cursor(whole.Next().contents);
    if (!cursor.NextIs(der::kOid) || cursor.OidText() != kContentCodeOid) return std::nullopt;
    der::Cursor values(cursor.Expect(der::kSet).contents);
    const ByteView code = values.Expect(der::kOctetString).contents;
    values.ExpectEnd();
    cursor.ExpectEnd();
    return Copy(code);
}

bool MustBeSigned(std::string_view attribute) {
    return attribute == szOID_RSA_contentType || attribute == szOID_RSA_messageDigest ||
           attribute == szOID_RSA_signingTime;
}

KeyHolder HolderOf(const CERT_INFO& info) {
    KeyHolder holder;
    holder.issuer = Copy(ViewOf(info.Issuer.pbData, info.Issuer.cbData));
    holder.serial = Copy(ViewOf(info.SerialNumber.pbData, info.SerialNumber.cbData));
    std::reverse(holder.serial.begin(), holder.serial.end());
    return holder;
}

}  // namespace platform
