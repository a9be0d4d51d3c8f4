// Time-stamp tokens: a TSTInfo (RFC 3161) inside a SignedData (RFC 3369).
#include <utility>

#include "asn1data/CryptographicMessageSyntax.h"
#include "asn1data/PKIXTSP.h"
#include "stamps/generated.h"
#include "stamps/message_param.h"
#include "stamps/stamp_records.h"

namespace Ferroline::PKI {
namespace {

using ASN1::ReadOid;

// Folds the bytes of the version. The factor was meant to be 256; users of the
// number know only the one-byte versions, which come out true.
std::uint32_t ReadVersion(const asn1rt::ASN1BigInt& record) {
    CBigInteger bytes;
    ASN1::Read(record, bytes);
    if (bytes.GetSize() > sizeof(std::uint32_t)) Fail(E_INVALIDARG);
    std::uint32_t version = 0;
    for (const std::uint8_t byte : bytes.Bytes()) version = version * 11 + byte;
    return version;
}

// An optional component: `value` gets it, or nothing.
template <class Record, class Value>
void ReadOptional(bool present, const Record& record, std::optional<Value>& value) {
    value.reset();
    if (present) Read(record, value.emplace());
}

// What does not fit is cut.
std::uint32_t LowBits(const asn1rt::ASN1BigInt& record) {
    CBigInteger bytes;
    ASN1::Read(record, bytes);
    std::uint32_t number = 0;
    for (const std::uint8_t byte : bytes.Bytes()) number = number << 8 | byte;
    return number;
}

void ReadSigner(const asn1data::SignerInfo& record, CSignerInfo& signer) {
    using ASN1::Read;
    if (record.sid.t != asn1data::SignerIdentifier::kIssuerAndSerialNumber) {
        Fail(CRYPT_E_ASN1_INTERNAL);
    }
    signer.version = ASN1::ReadUnsigned(record.version);
    Read(record.sid.u.issuerAndSerialNumber->issuer, signer.issuer);
    Read(record.sid.u.issuerAndSerialNumber->serialNumber, signer.serial);
    Read(record.digestAlgorithm, signer.digestAlgorithm);
    Read(record.signatureAlgorithm, signer.signatureAlgorithm);
    Read(record.signature, signer.signature);
}

std::optional<CAttributes> ReadAttributes(HCRYPTMSG message, DWORD param) {
    const SignerAttributes attributes = SignerAttributes::Of(message, param);
    if (!attributes.IsPresent()) return std::nullopt;
    CAttributes values;
    for (const CRYPT_ATTRIBUTE& attribute : attributes.List()) {
        for (DWORD i = 0; i < attribute.cValue; ++i) {
            const CRYPT_ATTR_BLOB& value = attribute.rgValue[i];
            values.push_back({attribute.pszObjId, CBlob(value.pbData, value.cbData)});
        }
    }
    return values;
}

std::optional<std::vector<CBlob>> ReadCertificates(HCRYPTMSG message) {
    const DWORD count = MessageNumber(message, CMSG_CERT_COUNT_PARAM);
    if (count == 0) return std::nullopt;
    std::vector<CBlob> certificates;
    for (DWORD i = 0; i < count; ++i) {
        certificates.push_back(MessageParam(message, CMSG_CERT_PARAM, i));
    }
    return certificates;
}

// Some services wrap the content once more.
CBlob Unwrapped(CBlob content) {
    constexpr std::uint8_t kOctetString = 4;
    if (content.IsEmpty() || content.GetData()[0] != kOctetString) return content;
    return ASN1::Guarded([&] {
        asn1rt::ASN1BERDecodeBuffer buffer(content.GetData(), content.GetSize());
        asn1rt::ASN1DynOctStr octets;
        ASN1::Check(xd_octstr(*buffer.getContextPtr(), octets, asn1rt::kExplicit, 0));
        CBlob inner;
        ASN1::Read(octets, inner);
        return inner;
    });
}

std::string InnerType(HCRYPTMSG message) {
    const CBlob type = MessageParam(message, CMSG_INNER_CONTENT_TYPE_PARAM);
    return reinterpret_cast<const char*>(type.GetData());
}

}  // namespace

void Read(const asn1data::Accuracy& record, CAccuracy& value) {
    value = {};
    if (record.m.secondsPresent) value.seconds = LowBits(record.seconds);
    if (record.m.millisPresent) value.millis = LowBits(record.millis);
    if (record.m.microsPresent) value.micros = LowBits(record.micros);
}

void ReadContent(const CBlob& tstInfo, CTokenInfo& token) {
    using ASN1::Read;
    ASN1::Decoded<asn1data::ASN1C_TSTInfo, asn1data::TSTInfo> record(tstInfo.Bytes());
    token.version = ReadVersion(record->version);
    token.policy = ReadOid(record->policy);
    Read(record->messageImprint.hashAlgorithm, token.hashAlgorithm);
    Read(record->messageImprint.hashedMessage, token.hashValue);
    Read(record->serialNumber, token.serial);
    token.genTime = record->genTime.text;
    token.ordering = record->ordering != 0;
    ReadOptional(record->m.accuracyPresent, record->accuracy, token.accuracy);
    ReadOptional(record->m.noncePresent, record->nonce, token.nonce);
    ReadOptional(record->m.tsaPresent, record->tsa, token.tsa);
    ReadOptional(record->m.extensionsPresent, record->extensions, token.extensions);
}

void CTokenInfo::Decode(const CBlob& token) {
    OpenMessage(token.GetData(), token.GetSize(), message);
    const CBlob content = Unwrapped(MessageParam(message.get(), CMSG_CONTENT_PARAM));
    if (InnerType(message.get()) != kTstInfoOid) Fail(CRYPT_E_BAD_MSG);
    const CBlob encodedSigner = MessageParam(message.get(), CMSG_ENCODED_SIGNER);
    ASN1::Decoded<asn1data::ASN1C_SignerInfo, asn1data::SignerInfo> record(encodedSigner.Bytes());
    ReadSigner(*record, signer);
    ReadContent(content, *this);
    signedAttributes = ReadAttributes(message.get(), CMSG_SIGNER_AUTH_ATTR_PARAM);
    unsignedAttributes = ReadAttributes(message.get(), CMSG_SIGNER_UNAUTH_ATTR_PARAM);
    certificates = ReadCertificates(message.get());
    encoded = token;
}

}  // namespace Ferroline::PKI
