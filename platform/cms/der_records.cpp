// The records in model.h written.
#include "platform/cms/model.h"

#include <algorithm>
#include <utility>

#include "platform/base/error.h"
#include "platform/cms/decoder_walker.h"
#include "platform/cms/readable.h"
#include "platform/der/der.h"

namespace platform {
namespace {

// Choices of certificates and CRLs by their tags (RFC 5652 10.2).
constexpr std::uint8_t kAttributeCertificateV1 = der::ContextConstructed(1);
constexpr std::uint8_t kAttributeCertificateV2 = der::ContextConstructed(2);
constexpr std::uint8_t kOtherCertificate = der::ContextConstructed(3);
constexpr std::uint8_t kOtherRevocationInfo = der::ContextConstructed(1);

bool Has(const std::vector<Bytes>& elements, std::uint8_t tag) {
    return std::any_of(elements.begin(), elements.end(),
                       [tag](const Bytes& e) { return !e.empty() && e[0] == tag; });
}

// `identifier` is [0] IMPLICIT OCTET STRING in both SignerIdentifier and
// RecipientIdentifier.
Bytes EncodeHolder(const KeyHolder& holder) {
    if (holder.ByKeyIdentifier()) return der::Element(der::Context(0), holder.keyIdentifier);
    return der::Element(der::kSequence,
                        {holder.issuer, der::Element(der::kInteger, holder.serial)});
}

// Elements one behind the other, in the order given.
Bytes EncodeDigests(const std::vector<Algorithm>& digests) {
    std::vector<Bytes> encoded;
    encoded.reserve(digests.size());
    for (const Algorithm& digest : digests) encoded.push_back(EncodeAlgorithm(digest));
    return Concatenate(der::kSet, encoded);
}

std::vector<Bytes> EncodeSigners(const std::vector<SignerInfo>& signers) {
    std::vector<Bytes> encoded;
    encoded.reserve(signers.size());
    for (const SignerInfo& signer : signers) encoded.push_back(EncodeSignerInfo(signer));
    return encoded;
}

// What stands in a SignerInfo before its unsigned attributes. The signature covers the
// signed ones as they stand, so they keep their order.
Bytes EncodeFrontOf(const SignerInfo& signer) {
    Bytes out = der::Integer(signer.version);
    der::Append(out, EncodeHolder(signer.signer));
    der::Append(out, EncodeAlgorithm(signer.digest));
    if (signer.signedAttributes) {
        der::Append(out, Concatenate(der::ContextConstructed(0), *signer.signedAttributes));
    }
    der::Append(out, EncodeAlgorithm(signer.signatureAlgorithm));
    der::Append(out, der::Element(der::kOctetString, signer.signature));
    return out;
}

// A constructed element whose contents are other elements and, somewhere inside, the
// content of the message: its lengths are added up without the content at hand.
class Nest {
  public:
    explicit Nest(std::size_t innermost) : length_(innermost) {}
    // Wraps what there is so far, with `before` and `behind` beside it.
    void Wrap(std::uint8_t tag, ByteView before, ByteView behind = {}) {
        const std::size_t length = before.size() + length_ + behind.size();
        Bytes head;
        der::AppendHeader(head, tag, length);
        der::Append(head, before);
        head_.insert(head_.begin(), head.begin(), head.end());
        der::Append(tail_, behind);
        length_ = der::HeaderSize(length) + length;
    }
    [[nodiscard]] EncodedParts Around(ByteView innermost) && {
        return {std::move(head_), innermost, std::move(tail_)};
    }

  private:
    std::size_t length_;
    Bytes head_;
    Bytes tail_;
};

// The identifier of the attribute that takes most of the room, which a user can do without;
// empty when there is no such one.
std::string LargestAttribute(const SignedRecords& records) {
    ByteView largest;
    const auto look = [&largest](const std::vector<Bytes>& attributes) {
        for (const Bytes& one : attributes) {
            if (one.size() > largest.size()) largest = one;
        }
    };
    for (const SignerInfo& signer : records.signers) {
        if (signer.signedAttributes) look(*signer.signedAttributes);
        look(signer.unsignedAttributes);
    }
    if (largest.size() < DecodeLimits().kept / 2) return {};
    return der::Inside(largest, der::kSequence).OidText();
}

}  // namespace

Bytes EncodedParts::Joined() const {
    Bytes out;
    out.reserve(Size());
    der::Append(out, head);
    der::Append(out, content);
    der::Append(out, tail);
    return out;
}

Bytes SignedAttributesForDigest(const std::vector<Bytes>& attributes) {
    return Concatenate(der::kSet, attributes);
}

void InsertInOrder(std::vector<Bytes>& elements, Bytes element) {
    const auto behind = std::find_if(elements.begin(), elements.end(),
                                     [&](const Bytes& listed) { return listed > element; });
    elements.insert(behind, std::move(element));
}

void ListDigest(std::vector<Algorithm>& digests, const Algorithm& digest) {
    const auto same = [&](const Algorithm& listed) { return listed.oid == digest.oid; };
    if (std::any_of(digests.begin(), digests.end(), same)) return;
    const Bytes encoded = EncodeAlgorithm(digest);
    const auto behind = std::find_if(digests.begin(), digests.end(), [&](const Algorithm& listed) {
        return EncodeAlgorithm(listed) > encoded;
    });
    digests.insert(behind, digest);
}

Bytes EncodeSignerInfo(const SignerInfo& signer) {
    if (!signer.received.empty()) return signer.received;
    Bytes attributes;
    if (!signer.unsignedAttributes.empty()) {
        attributes = Concatenate(der::ContextConstructed(1), signer.unsignedAttributes);
    }
    const bool made = signer.receivedFront.empty();
    const Bytes front = made ? EncodeFrontOf(signer) : signer.receivedFront;
    return der::Element(der::kSequence, {front, attributes});
}

Bytes EncodeRecipientInfo(const RecipientInfo& recipient) {
    if (recipient.kind != RecipientInfo::Kind::KeyTransport) {
        throw Error(CRYPT_E_INVALID_MSG_TYPE);
    }
    return der::Element(der::kSequence,
                        {der::Integer(recipient.version), EncodeHolder(recipient.recipient),
                         EncodeAlgorithm(recipient.keyEncryption),
                         der::Element(der::kOctetString, recipient.encryptedKey)});
}

long SignedDataVersion(const SignedRecords& records) {
    if (Has(records.certificates, kOtherCertificate) || Has(records.crls, kOtherRevocationInfo)) {
        return 5;
    }
    if (Has(records.certificates, kAttributeCertificateV2)) return 4;
    const bool third = std::any_of(records.signers.begin(), records.signers.end(),
                                   [](const SignerInfo& s) { return s.version == 3; });
    if (third || Has(records.certificates, kAttributeCertificateV1) ||
        records.contentType != szOID_RSA_data) {
        return 3;
    }
    return 1;
}

Bytes EncodeSignedHead(const SignedRecords& records) {
    Bytes out = der::Integer(records.version);
    der::Append(out, EncodeDigests(records.digests));
    return out;
}

Bytes EncodeSignedTail(const SignedRecords& records) {
    Bytes out;
    if (!records.certificates.empty()) {
        out = Concatenate(der::ContextConstructed(0), records.certificates);
    }
    if (!records.crls.empty()) {
        der::Append(out, Concatenate(der::ContextConstructed(1), records.crls));
    }
    der::Append(out, Concatenate(der::kSet, EncodeSigners(records.signers)));
    return out;
}

EncodedParts LayOutSignedMessage(const SignedRecords& records, std::optional<SignedContent> content,
                                 Wrapping wrapping) {
    const ByteView inner = content ? content->octets : ByteView{};
    Nest nest(inner.size());
    if (content) {
        nest.Wrap(content->tag, {});
        nest.Wrap(der::ContextConstructed(0), {});
    }
    nest.Wrap(der::kSequence, der::Oid(records.contentType));
    nest.Wrap(der::kSequence, EncodeSignedHead(records), EncodeSignedTail(records));
    if (wrapping == Wrapping::ContentInfo) {
        nest.Wrap(der::ContextConstructed(0), {});
        nest.Wrap(der::kSequence, der::Oid(szOID_RSA_signedData));
    }
    return std::move(nest).Around(inner);
}

EncodedParts EncodeSignedMessage(const SignedRecords& records, std::optional<SignedContent> content,
                                 Wrapping wrapping) {
    EncodedParts parts = LayOutSignedMessage(records, content, wrapping);
    try {
        CheckReadable({parts.head, parts.content, parts.tail}, WrappedSigned());
    } catch (const Error& error) {
        throw Error(error.Code(), LargestAttribute(records));
    }
    return parts;
}

Bytes EncodeEnvelopedHead(const EnvelopedRecords& records) {
    std::vector<Bytes> recipients;
    recipients.reserve(records.recipients.size());
    for (const RecipientInfo& r : records.recipients) recipients.push_back(EncodeRecipientInfo(r));
    Bytes out = der::Integer(records.version);
    der::Append(out, Concatenate(der::kSet, recipients));
    return out;
}

Bytes EncodeEnvelopedTail(const EnvelopedRecords& records) {
    if (records.code.empty()) return {};
    const Bytes values = der::Element(der::kSet, der::Element(der::kOctetString, records.code));
    return der::Element(der::ContextConstructed(1),
                        der::Element(der::kSequence, {der::Oid(kContentCodeOid), values}));
}

EncodedParts EncodeEnvelopedMessage(const EnvelopedRecords& records, ByteView encryptedContent) {
    Bytes head = der::Oid(records.contentType);
    der::Append(head, EncodeAlgorithm(records.contentEncryption));
    Nest nest(encryptedContent.size());
    nest.Wrap(der::Context(0), {});
    nest.Wrap(der::kSequence, head);
    nest.Wrap(der::kSequence, EncodeEnvelopedHead(records), EncodeEnvelopedTail(records));
    nest.Wrap(der::ContextConstructed(0), {});
    nest.Wrap(der::kSequence, der::Oid(szOID_RSA_envelopedData));
    EncodedParts parts = std::move(nest).Around(encryptedContent);
    CheckReadable({parts.head, parts.content, parts.tail}, WrappedEnveloped());
    return parts;
}

}  // namespace platform
